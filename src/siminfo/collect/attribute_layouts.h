#pragma once

#include <string>

#include "siminfo/collect/collect_error.h"
#include "siminfo/collect/mad_fields.h"
#include "siminfo/snapshot/attribute_layouts.h"

namespace siminfo {

/// Reads the file. Throws a CollectError that says what is wrong with it.
inline AttributeLayouts readAttributeLayouts(const std::string& fileName) {
  AttributeLayouts layouts;
  const std::string fault = readAttributeLayouts(fileName, layouts);
  if (!fault.empty()) throw CollectError(CollectError::kBadFile, fault);
  return layouts;
}

/// The field's value in the attribute; 0 where nobody told where it is.
inline std::uint64_t toldValue(const AttributeLayouts& layouts, const Attribute& bytes, const Field& field) {
  const auto first = layouts.firstBits.find(&field);
  return first != layouts.firstBits.end() ? bitsOf(bytes, first->second, field.bits) : 0;
}

/// The record in an attribute's bytes.
template <class Record>
Record decode(const Attribute& bytes, const AttributeLayouts& layouts) {
  static_assert(decodersCoverRecord<Record>());
  Record record{};
  for (std::size_t i = 0; i < kFields<Record>.size(); ++i) {
    const Field& field = kFields<Record>[i];
    const MadField& place = kMadFields<Record>[i];
    if (place.isUnknown())
      field.set(&record, toldValue(layouts, bytes, field));
    else if (place.firstBit != 0)
      field.set(&record, bitsOf(bytes, place.firstBit, field.bits));
    else
      field.set(&record, madField(bytes, place.id));
  }
  return record;
}

}  // namespace siminfo
