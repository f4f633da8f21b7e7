#pragma once

#include <algorithm>
#include <random>
#include <string>

#include "siminfo/core/in_memory/in_memory_drovik.h"
#include "siminfo/simulator/record_layout.h"

namespace siminfo {

/// A node whose every property is drawn: what a frame asks about is there as often as it is missing.
class DrawnNode {
 public:
  /// Of one seed they are the same but for the name.
  DrawnNode(DiscoveredFabric& discovered, const std::string& name, unsigned seed)
      : discovered_(discovered), draws_(seed) {
    node_ = discovered.fabric.addNode(name, static_cast<std::uint8_t>(below(6)));
    node_->guid = draws_();
    node_->alternativeName = "alt";
    node_->type = below(4) == 0 ? static_cast<int>(below(5)) : kSwitch;
    if (below(4) == 0) node_->specialNodeType = below(3);
    node_->orbelSwitch = below(2) == 0;
    for (const bool isGMP : {false, true}) {
      if (below(8) > 0) drawMask(isGMP);
    }
#define GIVE(Record, getter) \
  if (below(4) > 0) discovered.records.set(node_->recordIndex, drawn<Record>());
    SIMINFO_NODE_RECORDS(GIVE)
#undef GIVE
    for (std::uint8_t num = 0; num <= node_->numPorts; ++num) {
      if (below(8) > 0) drawPort(num);
    }
  }

  const IBNode& node() const { return *node_; }

 private:
  unsigned below(unsigned bound) { return static_cast<unsigned>(draws_() % bound); }

  void drawMask(bool isGMP) {
    CapabilityAnswer answer{below(8) == 0 ? -22 : 0, {}};
    // Often all bits, since some frames ask for several at once.
    for (std::uint32_t& word : answer.mask.words)
      word = below(2) == 0 ? ~0U : static_cast<std::uint32_t>(draws_());
    if (answer.error != 0) answer.mask = {};
    discovered_.capabilities.setAnswer(node_->recordIndex, isGMP, answer);
  }

  void drawPort(std::uint8_t num) {
    IBPort& port = *discovered_.fabric.addPort(*node_, num);
    port.portState = static_cast<int>(below(8) == 0 ? below(3) : 4);
    port.inSubFabric = below(8) > 0;
    port.special = below(4) == 0;
    port.fnm = below(8) == 0;
    port.fnm1 = below(8) == 0;
    InMemoryExtendedInfo& records = discovered_.records;
#define GIVE(Record, getter) \
  if (below(4) > 0) records.set(port.recordIndex, drawn<Record>());
    SIMINFO_PORT_RECORDS(GIVE)
#undef GIVE
    for (std::uint8_t monitor = 0; monitor < 2; ++monitor) {
      if (below(4) > 0) records.setMonitor(port.recordIndex, monitor);
    }
    for (unsigned sets = below(3); sets > 0; --sets)
      records.setCounters(port.recordIndex, below(InMemoryExtendedInfo::kCounterSets),
                          drawn<ZYRReductionCounters>());
  }

  /// Values that fit on the wire, where some fields are narrower than their members.
  template <class Record>
  Record drawn() {
    Record record{};
    for (const Field& field : kFields<Record>) {
      if (field.form == FieldForm::kRecords) continue;
      const auto& numbers = recordLayout<Record>().numbers;
      const auto wire = std::ranges::find(numbers, &field, &NumberLayout::field);
      for (std::size_t i = 0; i < field.count; ++i)
        field.set(&record, below(3) == 0 ? 0 : draws_() & (~std::uint64_t{0} >> (64 - wire->bits)), i);
    }
    return record;
  }

  DiscoveredFabric& discovered_;
  std::mt19937_64 draws_;
  IBNode* node_;
};

}  // namespace siminfo
