#include <bit>

#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/node/sim_info_data.h"

namespace siminfo {
namespace {

/// What tells the SMP mask from the GMP mask.
struct MaskFamily {
  std::string_view name;
  bool isGMP;
  const std::vector<const char*>& bitNames;
  bool (CapabilityModule::*isSupported)(const IBNode* node, std::uint8_t bit) const;
  std::string_view image;
};

void restoreMask(BlockEmitter& out, CapabilityModule& capabilities, const IBNode& node,
                 const MaskFamily& family) {
  capability_mask mask;
  // The service takes a node that it may change, but asking for a mask changes nothing in it.
  if (const int rc = capabilities.GetCapability(const_cast<IBNode*>(&node), family.isGMP, mask); rc != 0) {
    out << "#error \"Failed to get " << family.name << " capabilites for the node=" << node.name
        << " with rc=" << rc << "\"";
    return;
  }
  out << "    // ---------- " << family.name << " Caps ----------";
  for (std::size_t bit = 0; bit < family.bitNames.size(); ++bit) {
    const char* name = family.bitNames[bit];
    if (name != nullptr && (capabilities.*family.isSupported)(&node, static_cast<std::uint8_t>(bit)))
      out << "\n    // " << name;
  }
  out << "\n\n";
  out.block(family.image, std::bit_cast<GeneralInfoCapabilityMask>(mask));
}

}  // namespace

void SimInfoDumpCPP::GenerateSMPCapabilityMask(std::ostream& os, const IBNode& node) const {
  BlockEmitter out(os);
  restoreMask(out, drovik_->capabilityModule(), node,
              {"SMP", false, SimInfoData::SMPCapMaskBits, &CapabilityModule::IsSupportedSMPCapability,
               "&m_node->capMaskSMP"});
}

void SimInfoDumpCPP::GenerateGMPCapabilityMask(std::ostream& os, const IBNode& node) const {
  BlockEmitter out(os);
  if (node.isSpecialNode()) {
    out << "// The node=" << node.name << " is special and it should not support GMP capabilities.";
    return;
  }
  restoreMask(out, drovik_->capabilityModule(), node,
              {"GMP", true, SimInfoData::GMPCapMaskBits, &CapabilityModule::IsSupportedGMPCapability,
               "&m_node->capMaskGMP"});
}

}  // namespace siminfo
