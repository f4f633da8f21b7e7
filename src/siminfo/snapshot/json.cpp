#include "siminfo/snapshot/json.h"

#include <algorithm>

#include "siminfo/text/number_text.h"
#include "siminfo/text/quoting.h"
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
      return "a truth value";
    case json::json_type::null:
      return "null";
  }
  return "something else";
}

std::string listed(const std::vector<std::string_view>& names) {
  std::string list;
  for (const std::string_view name : names) list.append(list.empty() ? "" : ", ").append(name);
  return list;
}

std::string range(std::uint64_t maximum) {
  return "expected an integer from 0 to " + std::to_string(maximum);
}

/// The value's text as it stands in the document, without the quotes of a string. Numbers in strings are read
/// from here: nothing that a number is made of needs an escape.
std::string_view tokenText(json::value& value) {
  std::string_view token = value.raw_json_token();
  token = token.substr(0, token.find_last_not_of(" \t\r\n") + 1);
  if (token.size() >= 2 && token.front() == '"') token = token.substr(1, token.size() - 2);
  return token;
}

std::uint64_t readUnsignedString(const Place& place, json::value& value, std::uint64_t maximum) {
  std::string_view text = tokenText(value);
  const bool isEscaped = text.find('\\') != std::string_view::npos;
  if (isEscaped)
    text = take(place, value.get_string(), value, "a string");
  else
    take(place, value.get_raw_json_string(), value, "a string");
  const std::optional<std::uint64_t> number = parseUnsigned(text);
  if (!number || *number > maximum)
    refuse(place,
           inQuotes(text) + " does not fit; " + range(maximum) + ", as a number or a string like \"0x2c9\"");
  return *number;
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
  return path.empty() ? std::string(key) : path + "." + std::string(key);
}

std::string malformedWords(simdjson::error_code error) {
  switch (error) {
    case simdjson::UTF8_ERROR:
      return "is not UTF-8";
    case simdjson::UNESCAPED_CHARS:
      return "malformed JSON: a control character in a string; expected it escaped";
    case simdjson::STRING_ERROR:
      return "malformed JSON: a string with an escape that is none";
    case simdjson::UNCLOSED_STRING:
      return "malformed JSON: a string without its closing quote";
    case simdjson::INCOMPLETE_ARRAY_OR_OBJECT:
      return "malformed JSON: a closing bracket is missing";
    case simdjson::TAPE_ERROR:
      return "malformed JSON: a comma, colon, quote or bracket is missing, or there is one too many";
    case simdjson::EMPTY:
      return "malformed JSON: there is nothing; expected an object";
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

KeyTable::KeyTable(std::string owner, std::vector<std::string_view> names, std::size_t required)
    : owner_(std::move(owner)),
      names_(std::move(names)),
      required_(required == 0 ? 0 : ~std::uint64_t{0} >> (64 - required)) {
  slots_.fill(0xff);
  for (std::size_t index = 0; index < names_.size(); ++index) {
    std::size_t slot = slotOf(names_[index]);
    while (slots_[slot] != 0xff) slot = (slot + 1) % kSlots;
    slots_[slot] = static_cast<std::uint8_t>(index);
  }
}

std::size_t KeyTable::slotOf(std::string_view key) {
  std::uint32_t hash = 2166136261U;  // FNV-1a
  for (const char character : key) hash = (hash ^ static_cast<unsigned char>(character)) * 16777619U;
  return (hash ^ hash >> 15U) % kSlots;
}

std::size_t KeyTable::find(std::string_view key) const {
  for (std::size_t slot = slotOf(key); slots_[slot] != 0xff; slot = (slot + 1) % kSlots) {
    if (names_[slots_[slot]] == key) return slots_[slot];
  }
  return kNone;
}

void KeyTable::refuseUnknown(const Place& place) const {
  refuse(place, "is unknown; " + owner_ + " has " + listed(names_));
}

void KeyTable::refuseMissing(const Place& place, std::uint64_t missing) const {
  refuse(place.member(names_[static_cast<std::size_t>(std::countr_zero(missing))]),
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

std::uint64_t readUnsigned(const Place& place, json::value value, std::uint64_t maximum) {
  std::uint64_t number = 0;
  const auto error = value.get_uint64().get(number);
  if (error == simdjson::SUCCESS && number <= maximum) return number;
  if (error == simdjson::SUCCESS) refuse(place, std::to_string(number) + " does not fit; " + range(maximum));
  if (isString(value)) return readUnsignedString(place, value, maximum);
  if (kindOf(value) == "a number")
    refuse(place, printable(tokenText(value)) + " does not fit; " + range(maximum));
  refuse(place, "is " + std::string(kindOf(value)) + "; " + range(maximum));
}

int readSigned(const Place& place, json::value value) {
  constexpr std::int64_t kLowest = std::numeric_limits<int>::min();
  constexpr std::int64_t kHighest = std::numeric_limits<int>::max();
  std::int64_t number = 0;
  if (value.get_int64().get(number) == simdjson::SUCCESS) {
    if (number < kLowest || number > kHighest)
      refuse(place, std::to_string(number) + " does not fit; expected an integer of 32 bits");
    return static_cast<int>(number);
  }
  return static_cast<int>(readUnsigned(place, value, static_cast<std::uint64_t>(kHighest)));
}

bool readBool(const Place& place, json::value value) {
  return take(place, value.get_bool(), value, "true or false");
}

std::string_view readText(const Place& place, json::value value) {
  return take(place, value.get_string(), value, "a string");
}

std::string_view readLineText(const Place& place, json::value value) {
  const std::string_view text = readText(place, value);
  if (const std::string fault = textFault(text); !fault.empty())
    refuse(place, fault + "; such a text could leave its line in the generated source");
  return text;
}

bool isString(json::value value) {
  json::json_type type{};
  return value.type().get(type) == simdjson::SUCCESS && type == json::json_type::string;
}

}  // namespace siminfo
