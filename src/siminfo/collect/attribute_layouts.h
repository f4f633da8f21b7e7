#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "siminfo/collect/mad_fields.h"

namespace siminfo {

/// Where attributes hold the fields that libibmad has no decoders for. The user knows it from the manuals of
/// the devices; nothing is assumed where nobody told.
struct AttributeLayouts {
  std::optional<std::uint16_t> routerInfo;        ///< the number by which routers are asked for RouterInfo
  std::map<const Field*, std::size_t> firstBits;  ///< by the row of the record's table

  /// The field's value in the attribute; 0 where nobody told where it is.
  std::uint64_t value(const Attribute& bytes, const Field& field) const;
};

/// Reads a file of two kinds of lines:
///   SMP_RouterInfo attribute NUMBER
///   RECORD.FIELD bit NUMBER
/// Bit 0 is the top bit of the attribute's first byte, and a field is as wide as its record's table says.
/// Throws a CollectError for whatever else stands there, a RouterInfo that was told by half included.
AttributeLayouts readAttributeLayouts(const std::string& fileName);

/// The record in an attribute's bytes.
template <class Record>
Record decode(const Attribute& bytes, const AttributeLayouts& layouts) {
  static_assert(decodersCoverRecord<Record>());
  Record record{};
  for (std::size_t i = 0; i < kFields<Record>.size(); ++i) {
    const Field& field = kFields<Record>[i];
    const MadField& place = kMadFields<Record>[i];
    if (place.isUnknown())
      field.set(&record, layouts.value(bytes, field));
    else if (place.firstBit != 0)
      field.set(&record, bitsOf(bytes, place.firstBit, field.bits));
    else
      field.set(&record, madField(bytes, place.id));
  }
  return record;
}

}  // namespace siminfo
