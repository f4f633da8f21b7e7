#pragma once

#include <bitset>
#include <cstdint>

#include "siminfo/core/in_memory/record_column.h"
#include "siminfo/core/kvorm_extended_info.h"

namespace siminfo {

/// The record store in memory: one column a record type, keyed by recordIndex.
class InMemoryExtendedInfo final : public KvormExtendedInfo {
 public:
  static constexpr std::uint32_t kCounterSets = 8;

  template <class Record>
  const Record* find(std::uint32_t recordIndex) const {
    return static_cast<const RecordColumn<Record>&>(columns_).find(recordIndex);
  }
  template <class Record>
  void set(std::uint32_t recordIndex, const Record& record) {
    static_cast<RecordColumn<Record>&>(columns_).set(recordIndex, record);
  }

  /// `counterIndex` is below kCounterSets.
  void setCounters(std::uint32_t portIndex, std::uint32_t counterIndex, const ZYRReductionCounters& record) {
    counters_.set(portIndex * kCounterSets + counterIndex, record);
  }
  using Monitors = std::bitset<256>;
  /// The port's monitors that were found.
  Monitors monitors(std::uint32_t portIndex) const {
    const Monitors* found = monitors_.find(portIndex);
    return found != nullptr ? *found : Monitors{};
  }
  void setMonitor(std::uint32_t portIndex, std::uint8_t monitor) {
    Monitors found = monitors(portIndex);
    monitors_.set(portIndex, found.set(monitor));
  }

#define SIMINFO_GETTER(Record, getter) const Record* getter(std::uint32_t recordIndex) const override;
  SIMINFO_NODE_RECORDS(SIMINFO_GETTER)
  SIMINFO_PORT_RECORDS(SIMINFO_GETTER)
#undef SIMINFO_GETTER

  const ZYRReductionCounters* getZYRReductionCounters(std::uint32_t portIndex,
                                                      std::uint32_t counterIndex) const override;
  const ZYRReductionConfigureMLIDMonitors* getZYRReductionConfigureMLIDMonitors(
      std::uint32_t portIndex, std::uint8_t monitor) const override;

 private:
#define SIMINFO_COLUMN(Record, getter) RecordColumn<Record>,
  struct Nothing {};
  // Bases and not a tuple, and made and destroyed in the store's own source: every other source that knows
  // the store would take a second longer to compile.
  struct Columns : SIMINFO_NODE_RECORDS(SIMINFO_COLUMN) SIMINFO_PORT_RECORDS(SIMINFO_COLUMN) Nothing {
    Columns();
    Columns(Columns&& other) noexcept;
    Columns& operator=(Columns&& other) noexcept;
    ~Columns();
  };
#undef SIMINFO_COLUMN
  Columns columns_;
  RecordColumn<ZYRReductionCounters> counters_;  // keyed by port and set
  RecordColumn<Monitors> monitors_;
};

// Compiled once, in the store's own source.
#define SIMINFO_COLUMN(Record, getter) extern template class RecordColumn<Record>;
SIMINFO_NODE_RECORDS(SIMINFO_COLUMN)
SIMINFO_PORT_RECORDS(SIMINFO_COLUMN)
#undef SIMINFO_COLUMN

}  // namespace siminfo
