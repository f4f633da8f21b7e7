#pragma once

#include <random>
#include <string>

#include "siminfo/core/in_memory/in_memory_drovik.h"

namespace siminfo {

/// Nodes of every kind with records, ports and capabilities as they come, a few values each.
class RandomFabric {
 public:
  RandomFabric(DiscoveredFabric& discovered, unsigned seed) : discovered_(discovered), random_(seed) {}

  void addNode(const std::string& name) {
    const auto numPorts = static_cast<std::uint8_t>(pick(5));
    IBNode& node = *discovered_.fabric.addNode(name, numPorts);
    node.type = static_cast<int>(pick(4));
    if (pick(4) == 0) node.specialNodeType = static_cast<int>(pick(3));
    node.orbelSwitch = pick(2) == 0;
    for (const bool isGMP : {false, true}) {
      CapabilityAnswer answer;
      for (std::uint32_t& word : answer.mask.words) word = pick(2) == 0 ? ~0U : 0U;
      if (pick(4) == 0) answer = {static_cast<int>(1 + pick(3)), {}};
      discovered_.capabilities.setAnswer(node.recordIndex, isGMP, answer);
    }
#define SIMINFO_GIVE(Record, getter) give<Record>(index);
    const std::uint32_t index = node.recordIndex;
    SIMINFO_NODE_RECORDS(SIMINFO_GIVE)
    for (std::uint8_t num = node.type == kSwitch ? 0 : 1; num <= numPorts; ++num) addPort(node, num);
  }

 private:
  std::uint32_t pick(std::uint32_t below) { return static_cast<std::uint32_t>(random_() % below); }

  void addPort(IBNode& node, std::uint8_t num) {
    if (pick(8) == 0 && num > 0) return;
    IBPort& port = *discovered_.fabric.addPort(node, num);
    port.portState = pick(4) == 0 ? 1 : 4;
    port.inSubFabric = pick(8) != 0;
    const std::uint32_t index = port.recordIndex;
    (pick(2) == 0 ? port.special : port.fnm) = pick(3) == 0;
    SIMINFO_PORT_RECORDS(SIMINFO_GIVE)
    for (const std::uint8_t monitor : {std::uint8_t{0}, std::uint8_t{1}})
      if (pick(4) != 0) discovered_.records.setMonitor(port.recordIndex, monitor);
    if (pick(2) == 0)
      discovered_.records.setCounters(port.recordIndex, pick(8), record<ZYRReductionCounters>());
  }
#undef SIMINFO_GIVE

  template <class Record>
  Record record() {
    Record record{};
    for (const Field& field : kFields<Record>) {
      for (std::size_t i = 0; field.form != FieldForm::kRecords && i < field.count; ++i)
        field.set(&record, pick(2), i);
    }
    return record;
  }
  template <class Record>
  void give(std::uint32_t index) {
    if (pick(4) != 0) discovered_.records.set(index, record<Record>());
  }

  DiscoveredFabric& discovered_;
  std::mt19937 random_;
};

}  // namespace siminfo
