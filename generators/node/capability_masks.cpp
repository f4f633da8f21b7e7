#include "core/block_emitter.h"
#include "core/drovik_sim_info_dump.h"
#include "generators/node/sim_info_data.h"

namespace siminfo {
namespace {

int queryMask(CapabilityModule& capabilities, const IBNode& node, bool isGMP, capability_mask& mask) {
  // The service takes a node that it may change, but asking for a mask changes nothing in it.
  return capabilities.GetCapability(const_cast<IBNode*>(&node), isGMP, mask);
}

/// The names of the supported bits, one comment a line; the last line is left open.
template <class IsSupported>
void listNames(BlockEmitter& out, const std::vector<const char*>& names, IsSupported isSupported) {
  for (std::size_t bit = 0; bit < names.size(); ++bit) {
    if (names[bit] != nullptr && isSupported(static_cast<std::uint8_t>(bit)))
      out << "\n    // " << names[bit];
  }
}

void restoreMask(BlockEmitter& out, std::string_view image, const capability_mask& mask) {
  const BlockTarget target{"GeneralInfoCapabilityMask", image};
  out << "\n\n";
  out.open(target);
  for (std::size_t i = 0; i < mask.words.size(); ++i)
    out << (i > 0 ? "\n" : "") << "    mad_buffer.capability" << i << " = 0x" << Hex{mask.words[i]} << ";";
  out.close(target);
}

}  // namespace

void SimInfoDumpCPP::GenerateSMPCapabilityMask(std::ostream& os, const IBNode& node) const {
  BlockEmitter out(os);
  CapabilityModule& capabilities = drovik_->capabilityModule();
  capability_mask mask;
  if (const int rc = queryMask(capabilities, node, false, mask); rc != 0) {
    out << "#error \"Failed to get SMP capabilites for the node=" << node.name << " with rc=" << rc << "\"";
    return;
  }
  out << "    // ---------- SMP Caps ----------";
  listNames(out, SimInfoData::SMPCapMaskBits,
            [&](std::uint8_t bit) { return capabilities.IsSupportedSMPCapability(&node, bit); });
  restoreMask(out, "&m_node->capMaskSMP", mask);
}

void SimInfoDumpCPP::GenerateGMPCapabilityMask(std::ostream& os, const IBNode& node) const {
  BlockEmitter out(os);
  if (node.isSpecialNode()) {
    out << "// The node=" << node.name << " is special and it should not support GMP capabilities.";
    return;
  }
  CapabilityModule& capabilities = drovik_->capabilityModule();
  capability_mask mask;
  if (const int rc = queryMask(capabilities, node, true, mask); rc != 0) {
    out << "#error \"Failed to get GMP capabilites for the node=" << node.name << " with rc=" << rc << "\"";
    return;
  }
  out << "    // ---------- GMP Caps ----------";
  listNames(out, SimInfoData::GMPCapMaskBits,
            [&](std::uint8_t bit) { return capabilities.IsSupportedGMPCapability(&node, bit); });
  restoreMask(out, "&m_node->capMaskGMP", mask);
}

}  // namespace siminfo
