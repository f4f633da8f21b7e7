#include "siminfo/snapshot/record_parser.h"

#include <charconv>

namespace siminfo {
namespace {

std::vector<KeyTable::Key> keysOf(std::span<const Field> fields) {
  std::vector<KeyTable::Key> keys;
  for (const Field& field : fields) keys.push_back({field.name, true});
  return keys;
}

/// Exactly `field.count` numbers, or at most that many where zeros may follow.
void parseNumbers(const Place& place, json::value value, const Field& field, void* to) {
  const bool mayBeShort = field.form == FieldForm::kText;
  const std::size_t length = readElements(place, value, [&](json::value number, const Place& at) {
    if (at.index >= field.count)
      refuse(at, "is one too many; expected " + std::to_string(field.count) + " numbers");
    field.set(to, readInteger(at, number, {0, field.maximum()}), at.index);
  });
  if (length < field.count && !mayBeShort)
    refuse(place, "has " + std::to_string(length) + " numbers; expected " + std::to_string(field.count));
}

void parseBytesText(const Place& place, json::value value, const Field& field, void* to) {
  const std::string_view text = readText(place, value);
  if (text.size() > field.count)
    refuse(place,
           "has " + std::to_string(text.size()) + " bytes; expected at most " + std::to_string(field.count));
  for (std::size_t i = 0; i < text.size(); ++i) field.set(to, static_cast<unsigned char>(text[i]), i);
}

void parseHexText(const Place& place, json::value value, const Field& field, void* to) {
  const std::string_view text = readText(place, value);
  const bool isLong = text.size() == 2U * field.count;
  for (std::size_t i = 0; isLong && i < field.count; ++i) {
    std::uint8_t byte = 0;
    const char* from = text.data() + 2 * i;
    if (std::from_chars(from, from + 2, byte, 16).ptr != from + 2)
      refuse(place, "contains a character that is not a hexadecimal digit");
    field.set(to, byte, i);
  }
  if (!isLong)
    refuse(place,
           "has " + std::to_string(text.size()) + " digits; expected " + std::to_string(2 * field.count));
}

}  // namespace

RecordParser::RecordParser(const std::string& name, std::span<const Field> fields)
    : fields_(fields), keys_(name, keysOf(fields)), written_(fields) {
  for (const Field& field : fields) inner_.emplace_back(std::string(field.name), field.members);
}

void RecordParser::parse(const Place& place, json::value value, void* to) const {
  // The parser goes past a value that was not asked for by itself.
  if (written_.read(value.raw_json_token().data(), to)) return;
  readMembers(place, value, keys_, [&](std::size_t index, json::value member, const Place& at) {
    const Field& field = fields_[index];
    if (field.isNumber())
      field.set(to, readInteger(at, member, {0, field.maximum()}));
    else
      parseField(at, member, index, to);
  });
}

void RecordParser::parseField(const Place& place, json::value value, std::size_t index, void* to) const {
  const Field& field = fields_[index];
  if (field.form == FieldForm::kRecords && field.count == 1) {
    inner_[index].parse(place, value, field.inner(to, 0));
  } else if (field.form == FieldForm::kRecords) {
    const std::size_t length = readElements(place, value, [&](json::value element, const Place& at) {
      if (at.index >= field.count)
        refuse(at, "is one too many; expected exactly " + std::to_string(field.count) + " objects");
      inner_[index].parse(at, element, field.inner(to, at.index));
    });
    if (length < field.count)
      refuse(place,
             "has " + std::to_string(length) + " objects; expected exactly " + std::to_string(field.count));
  } else if (field.form == FieldForm::kNumber || !isString(value)) {
    parseNumbers(place, value, field, to);
  } else if (field.form == FieldForm::kText) {
    parseBytesText(place, value, field, to);
  } else {
    parseHexText(place, value, field, to);
  }
}

}  // namespace siminfo
