#pragma once

#include <cstdint>

#include "core/capability_module.h"
#include "core/in_memory/record_column.h"

namespace siminfo {

/// What a node answered when it was asked for a capability mask.
struct CapabilityAnswer {
  int error = 1;  ///< 0 when the mask was answered. A node that was never asked fails with 1.
  capability_mask mask;
};

/// Capability masks in memory, keyed by the node's recordIndex. A bit is supported when the node's mask has
/// it.
class InMemoryCapabilities final : public CapabilityModule {
 public:
  const CapabilityAnswer& answer(std::uint32_t recordIndex, bool isGMP) const {
    static const CapabilityAnswer kNever;
    const CapabilityAnswer* found = (isGMP ? gmp_ : smp_).find(recordIndex);
    return found != nullptr ? *found : kNever;
  }
  void setAnswer(std::uint32_t recordIndex, bool isGMP, const CapabilityAnswer& answer) {
    (isGMP ? gmp_ : smp_).set(recordIndex, answer);
  }
  bool wasAsked(std::uint32_t recordIndex, bool isGMP) const {
    return (isGMP ? gmp_ : smp_).find(recordIndex) != nullptr;
  }

  int GetCapability(IBNode* node, bool isGMP, capability_mask& mask) override {
    const CapabilityAnswer& found = answer(node->recordIndex, isGMP);
    if (found.error == 0) mask = found.mask;
    return found.error;
  }
  bool IsSupportedSMPCapability(const IBNode* node, std::uint8_t bit) const override {
    return isSet(answer(node->recordIndex, false), bit);
  }
  bool IsSupportedGMPCapability(const IBNode* node, std::uint8_t bit) const override {
    return isSet(answer(node->recordIndex, true), bit);
  }

 private:
  static bool isSet(const CapabilityAnswer& answer, std::uint8_t bit) {
    return answer.error == 0 && bit / 32U < answer.mask.words.size() &&
           (answer.mask.words[bit / 32U] >> (bit % 32U) & 1U) != 0;
  }

  RecordColumn<CapabilityAnswer> smp_;
  RecordColumn<CapabilityAnswer> gmp_;
};

}  // namespace siminfo
