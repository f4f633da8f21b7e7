#pragma once

#include <cstdint>

#include "siminfo/core/capability_module.h"
#include "siminfo/core/in_memory/record_column.h"

namespace siminfo {

/// What a node answered when it was asked for a capability mask.
struct CapabilityAnswer {
  int error = 0;  ///< 0 when the mask was answered
  capability_mask mask;
};

/// Capability masks in memory, keyed by the node's recordIndex. A capability is supported when the node's
/// mask has its bit.
class InMemoryCapabilities final : public CapabilityModule {
 public:
  /// Null when the node was not asked.
  const CapabilityAnswer* find(std::uint32_t recordIndex, bool isGMP) const {
    return (isGMP ? gmp_ : smp_).find(recordIndex);
  }
  /// The mask of an answer that is an error is empty.
  void setAnswer(std::uint32_t recordIndex, bool isGMP, const CapabilityAnswer& answer) {
    (isGMP ? gmp_ : smp_).set(recordIndex, answer);
  }

  int GetCapability(IBNode* node, bool isGMP, capability_mask& mask) override {
    const CapabilityAnswer* found = find(node->recordIndex, isGMP);
    if (found == nullptr) return kNeverAsked;
    if (found->error == 0) mask = found->mask;
    return found->error;
  }
  bool IsSupportedSMPCapability(const IBNode* node, std::uint8_t bit) const override {
    return isSet(smp_.find(node->recordIndex), bit);
  }
  bool IsSupportedGMPCapability(const IBNode* node, std::uint8_t bit) const override {
    return isSet(gmp_.find(node->recordIndex), bit);
  }

 private:
  static constexpr int kNeverAsked = 1;

  static bool isSet(const CapabilityAnswer* found, std::uint8_t bit) {
    return found != nullptr && bit < 128 && (found->mask.words[bit / 32U] >> (bit % 32U) & 1U) != 0;
  }

  RecordColumn<CapabilityAnswer> smp_;
  RecordColumn<CapabilityAnswer> gmp_;
};

}  // namespace siminfo
