#pragma once

#include <cstdint>
#include <string>

#include "siminfo/core/in_memory/in_memory_extended_info.h"

namespace siminfo {

/// What a loader made of a snapshot: enough to see that two of them read the same.
struct Loaded {
  std::size_t records = 0;
  std::uint64_t sum = 0;  ///< over all fields of all records

  void add(std::uint64_t value) { sum = sum * 31 + value; }
  bool operator==(const Loaded&) const = default;
};

/// Yardsticks: the records of a snapshot that has one document a line, in structs of their types, without a
/// check of anything. Both read by the field tables, in their order.
Loaded loadWithNlohmann(const std::string& fileName);
Loaded loadWithSimdjson(const std::string& fileName);

}  // namespace siminfo
