#pragma once

#include <array>
#include <cstdint>

#include "siminfo/core/fabric.h"

namespace siminfo {

/// A node's mask of vendor-specific capabilities, one for subnet management (SMP) and one for general
/// management (GMP); bit 0 of word 0 is capability 0. SimInfoData has the names.
struct capability_mask {
  std::array<std::uint32_t, 4> words{};
  bool operator==(const capability_mask&) const = default;
};

/// Capability bits of the SMP mask that decide whether a frame is written.
enum SMPCapability : std::uint8_t {
  kIsPrivateLinearForwardingSupported = 0,
  kIsAdaptiveRoutingRev1Supported = 2,
  kIsExtendedPortInfoSupported = 9,
  kIsPortSLToPrivateLFTMapSupported = 12,
  kIsExtendedNodeInfoSupported = 13,
  kIsDCQCNSupported = 44,
  kIsZYRReductionManagementSupported = 55,
};

/// Answers what a node is capable of.
class CapabilityModule {
 public:
  virtual ~CapabilityModule() = default;

  /// Fills the node's SMP mask, or its GMP mask. Returns 0, or the error that kept it from doing so.
  virtual int GetCapability(IBNode* node, bool isGMP, capability_mask& mask) = 0;
  virtual bool IsSupportedSMPCapability(const IBNode* node, std::uint8_t bit) const = 0;
  virtual bool IsSupportedGMPCapability(const IBNode* node, std::uint8_t bit) const = 0;
};

}  // namespace siminfo
