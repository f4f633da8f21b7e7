#pragma once

#include <vector>

namespace siminfo {

/// Names of capability bits, by bit number; null where a bit has no name. In the output a name is a comment,
/// and its place in the table is what counts.
struct SimInfoData {
  static const std::vector<const char*> SMPCapMaskBits;        ///< SMP capability mask, bits 0 to 89
  static const std::vector<const char*> GMPCapMaskBits;        ///< GMP capability mask, bits 0 to 48
  static const std::vector<const char*> PortInfoCapMaskBits;   ///< PortInfo CapabilityMask
  static const std::vector<const char*> PortInfoCapMask2Bits;  ///< PortInfo CapabilityMask2
};

}  // namespace siminfo
