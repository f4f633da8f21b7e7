#include "siminfo/snapshot/json.h"

#include <algorithm>
#include <bit>
#include <new>

#include "siminfo/text/quoting.h"
#include "siminfo/text/spelling.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

std::string_view kindOf(json::value& value) {
  json::json_type type{};
  if (value.type().get(type) != simdjson::SUCCESS) return "something malformed";
  switch (type) {
    case json::json_type::array:
      return "an array";
    case json::json_type::object:
      return "an object";
    case json::json_type::number:
      return "a number";
    case json::json_type::string:
      return "a string";
    case json::json_type::boolean:
      return "a boolean";
    case json::json_type::null:
      return "null";
  }
  return "something else";
}

/// A number as it stands in the document.
std::string_view tokenText(json::value& value) {
  const std::string_view token = value.raw_json_token();
  return token.substr(0, token.find_last_not_of(" \t\r\n") + 1);
}

}  // namespace

std::string Place::path() const {
  if (parent == nullptr) return {};
  std::string path = parent->path();
  if (key.data() == nullptr) return path + "[" + std::to_string(index) + "]";
  const bool isPlain = !key.empty() && std::ranges::all_of(key, [](char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_';
  });
  if (!isPlain) return path + "[" + inQuotes(key) + "]";
  return (path.empty() ? path : path + ".") + shortened(key);
}

std::string malformedWords(simdjson::error_code error) {
  switch (error) {
    case simdjson::MEMALLOC:  // which says nothing about the text
      throw std::bad_alloc();
    case simdjson::UTF8_ERROR:
      return "is not UTF-8";
    case simdjson::UNESCAPED_CHARS:
      return "malformed JSON: a control character in a string; expected an escape sequence";
    case simdjson::STRING_ERROR:
      return "malformed JSON: a string with an invalid escape sequence";
    case simdjson::UNCLOSED_STRING:
      return "malformed JSON: a string without its closing quote";
    case simdjson::INCOMPLETE_ARRAY_OR_OBJECT:
      return "malformed JSON: a closing bracket is missing";
    case simdjson::TAPE_ERROR:
      return "malformed JSON: a comma, colon, quote or bracket is missing, or there is one too many";
    case simdjson::EMPTY:
      return "malformed JSON: the document is empty; expected an object";
    default:
      return std::string("malformed JSON: ") + simdjson::error_message(error);
  }
}

void refuse(const Place& place, const std::string& what) { throw Refusal{place.path(), what, place.at}; }

void refuse(const Place& place, simdjson::error_code error, json::value* value, std::string_view expected) {
  if (error == simdjson::INCORRECT_TYPE && value != nullptr)
    refuse(place, "is " + std::string(kindOf(*value)) + "; expected " + std::string(expected));
  throw Refusal{place.path(), malformedWords(error), nullptr};
}

KeyTable::KeyTable(std::string owner, std::vector<Key> keys)
    : owner_(std::move(owner)), keys_(std::move(keys)) {
  for (std::size_t index = 0; index < keys_.size(); ++index)
    required_ |= std::uint64_t{keys_[index].isRequired} << index;
}

std::size_t KeyTable::find(std::string_view key) const {
  const auto found = std::ranges::find(keys_, key, &Key::name);
  return found != keys_.end() ? static_cast<std::size_t>(found - keys_.begin()) : kNone;
}

void KeyTable::refuseUnknown(const Place& place) const {
  std::vector<std::string> names;
  for (const Key& key : keys_) names.emplace_back(key.name);
  refuse(place, "is unknown; " + expectedOneOf(names, place.key));
}

void KeyTable::refuseMissing(const Place& place, std::uint64_t missing) const {
  refuse(place.member(name(static_cast<std::size_t>(std::countr_zero(missing)))),
         "is missing; " + owner_ + " must have it");
}

std::string_view keyText(const Place& place, json::field& field) {
  const char* raw = field.key().raw();
  const char* end = raw;
  while (*end != '"' && *end != '\\') ++end;
  if (*end == '"') return {raw, static_cast<std::size_t>(end - raw)};
  std::string_view key;
  if (const auto error = field.unescaped_key().get(key); error != simdjson::SUCCESS)
    refuse(*place.parent, error, nullptr, {});
  return key;
}

std::uint64_t readSpelledInteger(const Place& place, json::value value, const IntegerForm& form) {
  const bool isText = isString(value);
  const std::string_view text = isText ? readText(place, value) : tokenText(value);
  // A string may hold any spelling; whether JSON spells a number so, the parser knows.
  const bool isInteger = isText || value.get_int64().error() == simdjson::SUCCESS;
  if (const auto number = parseInteger(text, form); isInteger && number) return *number;
  const std::string_view kind = kindOf(value);
  std::string fault = "is " + std::string(kind);
  if (isText) fault = inQuotes(text) + " does not fit";
  if (kind == "a number") fault = printable(shortened(text)) + " does not fit";
  refuse(place, fault + "; expected " + integerWords(form));
}

bool readBool(const Place& place, json::value value) {
  return take(place, value.get_bool(), value, "true or false");
}

std::string_view readText(const Place& place, json::value value) {
  return take(place, value.get_string(), value, "a string");
}

namespace {

std::string_view judged(const Place& place, std::string_view text, std::string (*faultOf)(std::string_view)) {
  if (const std::string fault = lengthFault(text); !fault.empty()) refuse(place, fault);
  if (const std::string fault = faultOf(text); !fault.empty())
    refuse(place, fault + "; such a text could break out of its line in the generated source");
  return text;
}

}  // namespace

std::string_view readLineText(const Place& place, json::value value) {
  const std::string_view text = readText(place, value);
  return judged(place, text, textFault);
}

std::string_view readName(const Place& place, json::value value) {
  const std::string_view text = readText(place, value);
  return judged(place, text, nameFault);
}

bool isString(json::value value) {
  json::json_type type{};
  return value.type().get(type) == simdjson::SUCCESS && type == json::json_type::string;
}

}  // namespace siminfo
