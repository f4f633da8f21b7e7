#pragma once

#include <simdjson.h>

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/text/number_text.h"

namespace siminfo {

namespace json = simdjson::ondemand;

/// Where a value stands in its document: a chain from the value up to the document, which costs nothing until
/// it is asked for its path.
struct Place {
  const Place* parent = nullptr;  // null for the document itself
  std::string_view key;           // of a member; empty for an element
  std::size_t index = 0;          // of an element
  const char* at = nullptr;       // in the document's text

  Place member(std::string_view name) const { return {this, name, 0, at}; }
  /// "ports[3].records.SMP_PortInfo.CapMsk"; empty for the document.
  std::string path() const;
};

/// A document that is refused.
struct Refusal {
  std::string path;
  std::string what;
  const char* at;  ///< in the document's text, or null for the place where the parser stopped
};

[[noreturn]] void refuse(const Place& place, const std::string& what);
/// What the parser means by an error that no getter's expectation explains.
std::string malformedWords(simdjson::error_code error);
/// Refuses a value for what the parser said of it: malformed, or not of the expected kind.
[[noreturn]] void refuse(const Place& place, simdjson::error_code error, json::value* value,
                         std::string_view expected);

/// Takes the result of a getter, or refuses the value.
template <class T>
T take(const Place& place, simdjson::simdjson_result<T> result, json::value& value,
       std::string_view expected) {
  T taken;
  if (const auto error = std::move(result).get(taken); error != simdjson::SUCCESS)
    refuse(place, error, &value, expected);
  return taken;
}

/// The keys that an object may have, at most 64 of them.
class KeyTable {
 public:
  struct Key {
    std::string_view name;
    bool isRequired = false;
  };
  static constexpr std::size_t kNone = ~std::size_t{0};

  /// `owner` says in messages what has these keys.
  KeyTable(std::string owner, std::vector<Key> keys);

  std::string_view name(std::size_t index) const { return keys_[index].name; }
  std::size_t find(std::string_view key) const;
  /// Whether the key that begins at `raw`, behind its opening quote, is the one of that number. Documents
  /// have their keys in the writer's order as a rule, and then no key is looked up at all.
  bool matches(std::size_t index, const char* raw) const {
    if (index >= keys_.size()) return false;
    const std::string_view name = keys_[index].name;
    return std::char_traits<char>::compare(raw, name.data(), name.size()) == 0 && raw[name.size()] == '"';
  }

  [[noreturn]] void refuseUnknown(const Place& place) const;
  void requireAll(const Place& place, std::uint64_t seen) const {
    if (const std::uint64_t missing = required_ & ~seen; missing != 0) refuseMissing(place, missing);
  }

 private:
  [[noreturn]] void refuseMissing(const Place& place, std::uint64_t missing) const;

  std::string owner_;
  std::vector<Key> keys_;
  std::uint64_t required_ = 0;
};

/// The key of a member, unescaped when need be.
std::string_view keyText(const Place& place, json::field& field);

/// Calls `visit(index, value, place)` for every member of the object, `index` being the key's number in the
/// table. Refuses unknown keys, keys given twice and missing keys.
template <class Visit>
void readMembers(const Place& place, json::object object, const KeyTable& keys, Visit visit) {
  std::uint64_t seen = 0;
  std::size_t expected = 0;
  for (simdjson::simdjson_result<json::field> result : object) {
    if (result.error() != simdjson::SUCCESS) refuse(place, result.error(), nullptr, {});
    json::field field = result.value_unsafe();
    const char* raw = field.key().raw();
    std::size_t index = expected;
    if (!keys.matches(expected, raw)) {
      const std::string_view key = keyText({&place, {}, 0, raw}, field);
      index = keys.find(key);
      if (index == KeyTable::kNone) keys.refuseUnknown({&place, key, 0, raw});
    }
    const Place member{&place, keys.name(index), 0, raw};
    if ((seen >> index & 1U) != 0) refuse(member, "is given twice");
    seen |= std::uint64_t{1} << index;
    expected = index + 1;
    visit(index, field.value(), member);
  }
  keys.requireAll(place, seen);
}

template <class Visit>
void readMembers(const Place& place, json::value value, const KeyTable& keys, Visit visit) {
  readMembers(place, take(place, value.get_object(), value, "an object"), keys, visit);
}

/// No list of a snapshot is longer: there are as many ports, and monitors of a port.
inline constexpr std::size_t kLongestList = 256;

/// Calls `visit(value, place)` for every element of the array and returns their number.
template <class Visit>
std::size_t readElements(const Place& place, json::value value, Visit visit) {
  std::size_t index = 0;
  for (simdjson::simdjson_result<json::value> result : take(place, value.get_array(), value, "an array")) {
    if (result.error() != simdjson::SUCCESS) refuse(place, result.error(), nullptr, {});
    json::value element = result.value_unsafe();
    const Place at{&place, {}, index++, element.raw_json_token().data()};
    if (index > kLongestList) refuse(at, "is one too many; expected at most 256 elements");
    visit(element, at);
  }
  return index;
}

/// Reads what readInteger finds to be no plain number of the place.
std::uint64_t readSpelledInteger(const Place& place, json::value value, const IntegerForm& form);
/// An integer: a number, or a string that parseInteger takes. All integers of the form must fit an `Int`. It
/// is inline so that no form is made where the value is a plain number, as nearly all are.
template <std::integral Int = std::uint64_t>
inline Int readInteger(const Place& place, json::value value, const IntegerForm& form) {
  std::uint64_t number = 0;
  if (value.get_uint64().get(number) != simdjson::SUCCESS || number > form.highest)
    number = readSpelledInteger(place, value, form);
  return static_cast<Int>(number);
}
bool readBool(const Place& place, json::value value);
/// The text is valid until the next document is parsed.
std::string_view readText(const Place& place, json::value value);
/// A text that may stand on a line of generated source.
std::string_view readLineText(const Place& place, json::value value);
/// The name of a node.
std::string_view readName(const Place& place, json::value value);

bool isString(json::value value);

}  // namespace siminfo
