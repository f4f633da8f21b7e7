#pragma once

#include <cstdint>
#include <string_view>

#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// A node and what is known of it, as the rules ask for it.
struct Facts {
  const Snapshot& snapshot;
  const IBNode& node;
  std::string_view calledAs;  ///< in texts: the node's name, or that of a model which the node is of
  /// Every port with values of its own has a branch of its own, instead of those that are special alone.
  bool exactPorts = false;
  /// Images of one ordinary port stand for those of all, which say the same.
  bool isBrief = false;

  const InMemoryExtendedInfo& records() const { return snapshot.discovered.records; }
  bool isSwitch() const { return node.type == kSwitch; }
  bool isSpecial() const { return node.specialNodeType.has_value(); }

  /// What came of the query for the node's mask: 0, or its error; 1 when the node was not asked.
  int maskError(bool isGMP) const {
    const CapabilityAnswer* found = snapshot.discovered.capabilities.find(node.recordIndex, isGMP);
    return found != nullptr ? found->error : 1;
  }
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

}  // namespace siminfo
