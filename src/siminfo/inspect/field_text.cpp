#include "siminfo/inspect/field_text.h"

#include "siminfo/text/quoting.h"

namespace siminfo {

std::string fieldText(const Field& field, const void* record, std::size_t index) {
  std::string bytes;
  switch (field.form) {
    case FieldForm::kText:
      for (std::size_t i = 0; i < field.count; ++i) bytes += static_cast<char>(field.get(record, i));
      bytes.erase(bytes.find_last_not_of('\0') + 1);
      return inQuotes(bytes);
    case FieldForm::kHexBytes:
      for (std::size_t i = 0; i < field.count; ++i) bytes += hexDigits(field.get(record, i), 2);
      return bytes;
    default:
      return hexText(field.get(record, index));
  }
}

}  // namespace siminfo
