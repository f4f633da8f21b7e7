#include "siminfo/core/in_memory/in_memory_extended_info.h"

namespace siminfo {

#define SIMINFO_COLUMN(Record, getter)                                          \
  template class RecordColumn<Record>;                                          \
  const Record* InMemoryExtendedInfo::getter(std::uint32_t recordIndex) const { \
    return find<Record>(recordIndex);                                           \
  }
SIMINFO_NODE_RECORDS(SIMINFO_COLUMN)
SIMINFO_PORT_RECORDS(SIMINFO_COLUMN)
#undef SIMINFO_COLUMN

InMemoryExtendedInfo::Columns::Columns() = default;
InMemoryExtendedInfo::Columns::Columns(Columns&& other) noexcept = default;
InMemoryExtendedInfo::Columns& InMemoryExtendedInfo::Columns::operator=(Columns&& other) noexcept = default;
InMemoryExtendedInfo::Columns::~Columns() = default;

const ZYRReductionCounters* InMemoryExtendedInfo::getZYRReductionCounters(std::uint32_t portIndex,
                                                                          std::uint32_t counterIndex) const {
  return counterIndex < kCounterSets ? counters_.find(portIndex * kCounterSets + counterIndex) : nullptr;
}

const ZYRReductionConfigureMLIDMonitors* InMemoryExtendedInfo::getZYRReductionConfigureMLIDMonitors(
    std::uint32_t portIndex, std::uint8_t monitor) const {
  static constexpr ZYRReductionConfigureMLIDMonitors kFound;
  return monitors(portIndex).test(monitor) ? &kFound : nullptr;
}

}  // namespace siminfo
