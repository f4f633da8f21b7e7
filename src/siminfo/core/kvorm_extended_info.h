#pragma once

#include <cstdint>

#include "siminfo/core/records/records.h"

namespace siminfo {

/// The discovered records. Every getter takes a node's or a port's recordIndex and returns the record, which
/// the store keeps and owns, or null when that record was not collected.
class KvormExtendedInfo {
 public:
  virtual ~KvormExtendedInfo() = default;

#define SIMINFO_GETTER(Record, getter) virtual const Record* getter(std::uint32_t recordIndex) const = 0;
  SIMINFO_NODE_RECORDS(SIMINFO_GETTER)
  SIMINFO_PORT_RECORDS(SIMINFO_GETTER)
#undef SIMINFO_GETTER

  /// A port's counter set number `counterIndex`; sets 0 to 7 are asked for.
  virtual const ZYRReductionCounters* getZYRReductionCounters(std::uint32_t portIndex,
                                                              std::uint32_t counterIndex) const = 0;
  /// A port's monitor of that number; asked for to know whether the port's counters mean anything.
  virtual const ZYRReductionConfigureMLIDMonitors* getZYRReductionConfigureMLIDMonitors(
      std::uint32_t portIndex, std::uint8_t monitor) const = 0;
};

}  // namespace siminfo
