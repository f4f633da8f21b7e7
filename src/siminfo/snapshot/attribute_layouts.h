#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "siminfo/core/records/records.h"

namespace siminfo {

/// Where attributes hold the fields that libibmad has no decoders for. The user knows it from the manuals of
/// the devices; nothing is assumed where nobody told.
struct AttributeLayouts {
  std::optional<std::uint16_t> routerInfo;        ///< the number by which routers are asked for RouterInfo
  std::map<const Field*, std::size_t> firstBits;  ///< by the row of the record's table
};

/// Whether libibmad has no decoder for the field, so that a user may tell its place.
template <class Record>
constexpr bool isUndecoded(std::string_view field) {
  if constexpr (kRecordName<Record> == kRecordName<SMP_RouterInfo>)
    return !field.empty();
  else
    return kRecordName<Record> == kRecordName<SMP_PortInfo> && field == "LinkSpeedExtSup2";
}

/// Reads a file of two kinds of lines:
///   SMP_RouterInfo attribute NUMBER
///   RECORD.FIELD bit NUMBER
/// Bit 0 is the top bit of the attribute's first byte, and a field is as wide as its record's table says.
/// Returns what is wrong with whatever else stands there, a RouterInfo that was told by half included; empty
/// when all is well.
std::string readAttributeLayouts(const std::string& fileName, AttributeLayouts& layouts);

}  // namespace siminfo
