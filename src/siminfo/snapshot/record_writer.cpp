#include "siminfo/snapshot/record_writer.h"

#include <algorithm>

namespace siminfo {
namespace {

void writeNumber(JsonLine& line, const Field& field, const void* record, std::size_t index) {
  if (field.bits > 32)
    line.wide(field.get(record, index));
  else
    line.number(field.get(record, index));
}

void writeNumbers(JsonLine& line, const Field& field, const void* record) {
  line.open('[');
  for (std::size_t i = 0; i < field.count; ++i) writeNumber(line, field, record, i);
  line.close(']');
}

/// Text when that says the same, and numbers otherwise.
void writeBytesAsText(JsonLine& line, const Field& field, const void* record) {
  std::string text;
  for (std::size_t i = 0; i < field.count; ++i) text += static_cast<char>(field.get(record, i));
  text.erase(text.find_last_not_of('\0') + 1);
  if (std::ranges::all_of(text, [](char character) { return ' ' <= character && character <= '~'; }))
    return line.string(text);
  writeNumbers(line, field, record);
}

void writeBytesAsHex(JsonLine& line, const Field& field, const void* record) {
  std::string text;
  for (std::size_t i = 0; i < field.count; ++i) text += hexDigits(field.get(record, i), 2);
  line.string(text);
}

void writeField(JsonLine& line, const Field& field, const void* record) {
  switch (field.form) {
    case FieldForm::kNumber:
      if (field.isNumber())
        writeNumber(line, field, record, 0);
      else
        writeNumbers(line, field, record);
      break;
    case FieldForm::kText:
      writeBytesAsText(line, field, record);
      break;
    case FieldForm::kHexBytes:
      writeBytesAsHex(line, field, record);
      break;
    case FieldForm::kRecords:
      if (field.count > 1) line.open('[');
      for (std::size_t i = 0; i < field.count; ++i) writeRecord(line, field.members, field.inner(record, i));
      if (field.count > 1) line.close(']');
      break;
  }
}

}  // namespace

void writeRecord(JsonLine& line, std::span<const Field> fields, const void* record) {
  line.open('{');
  for (const Field& field : fields) writeField(line.key(field.name), field, record);
  line.close('}');
}

}  // namespace siminfo
