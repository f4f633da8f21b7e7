#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/core/records/field.h"

namespace siminfo {

/// Where one number of a record lies in the packed image. Bit 0 is the top bit of the first byte.
struct NumberLayout {
  std::string path;  ///< as generated source names it: "VendorID", "PSID.PSID[3]"
  std::size_t bit;
  std::size_t bits;
  const Field* field;
  std::size_t element;  ///< of the field, when it has several
  const Field* inner;   ///< the field of the inner record, or null

  const Field& leaf() const { return inner != nullptr ? *inner : *field; }
  /// The number in a discovered record of the layout's type.
  std::uint64_t valueIn(const void* record) const {
    return inner != nullptr ? inner->get(field->inner(record, element)) : field->get(record, element);
  }
};

/// The reference simulator's form of a record.
struct RecordLayout {
  std::string type;       ///< of the record: "ZYRReductCounters"
  std::string functions;  ///< what _unpack and _pack are appended to: "ZYRReductionCounters"
  std::string image;      ///< type of the packed image
  bool isStandard;        ///< the InfiniBand architecture's wire layout; else the simulator's own
  std::size_t bytes;      ///< of the packed image
  std::vector<NumberLayout> numbers;
  std::span<const Field> fields;
};

/// Every record that generated source names, from the lists of records. Standard attributes lie as the
/// InfiniBand architecture has them on the wire. All others lie in a layout of the simulator's own: the
/// fields in the order of the record's table, each in whole bytes, with nothing in between, and a reserved
/// byte behind them.
const std::vector<RecordLayout>& recordLayouts();

/// The layout of the record whose functions are named so; there must be one.
const RecordLayout& recordLayout(std::string_view functions);
template <class Record>
const RecordLayout& recordLayout() {
  static const RecordLayout& kLayout = recordLayout(kRecordName<Record>);
  return kLayout;
}

}  // namespace siminfo
