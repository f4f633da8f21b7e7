#pragma once

#include <cstdint>

#include "siminfo/verify/expectation.h"

namespace siminfo {

inline constexpr std::uint32_t kCounterSets = 8;  // per port

/// A node and what is known of it, as the rules ask for it.
struct Facts {
  const Snapshot& snapshot;
  const IBNode& node;

  const InMemoryExtendedInfo& records() const { return snapshot.discovered.records; }
  bool isSwitch() const { return node.type == kSwitch; }
  /// Null when the node did not answer with one.
  const capability_mask* mask(bool isGMP) const {
    const CapabilityAnswer* found = snapshot.discovered.capabilities.find(node.recordIndex, isGMP);
    return found != nullptr && found->error == 0 ? &found->mask : nullptr;
  }
  bool hasSMP(std::uint8_t bit) const {
    const capability_mask* smp = mask(false);
    return smp != nullptr && (smp->words[bit / 32U] >> bit % 32U & 1U) != 0;
  }
  template <class Record>
  const Record* record() const {
    return records().find<Record>(node.recordIndex);
  }
  template <class Record>
  const Record* record(const IBPort& port) const {
    return records().find<Record>(port.recordIndex);
  }
};

// The rules, one for each frame (the general information has one for its three), that say whether a node
// carries the frame's attribute, and with which ports' records.
FramePlan planNodeInfo(const Facts& facts);
FramePlan planPortInfo(const Facts& facts);
FramePlan planGmpMask(const Facts& facts);
FramePlan planSmpMask(const Facts& facts);
FramePlan planGeneralInfo(const Facts& facts);
FramePlan planPortInfoExtended(const Facts& facts);
FramePlan planExtendedNodeInfo(const Facts& facts);
FramePlan planExtendedPortInfo(const Facts& facts);
FramePlan planAdaptiveRouting(const Facts& facts);
FramePlan planRouterInfo(const Facts& facts);
FramePlan planExtendedSwitchInfo(const Facts& facts);
FramePlan planSwitchInfo(const Facts& facts);
FramePlan planPrivateLft(const Facts& facts);
FramePlan planEnhancedCongestion(const Facts& facts);
FramePlan planCongestionSettings(const Facts& facts);
FramePlan planReductionClassPortInfo(const Facts& facts);
FramePlan planReductionPortInfo(const Facts& facts);
FramePlan planReductionInfo(const Facts& facts);
FramePlan planReductionCounters(const Facts& facts);
FramePlan planPushCounters(const Facts& facts);

}  // namespace siminfo
