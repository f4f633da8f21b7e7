#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/refusals.h"

namespace siminfo {
namespace {

/// All four modes, however many tables the switch has, so that the simulated node keeps none of its own.
void assignModes(BlockEmitter& out, const std::array<PLFT_Description_Mode, 4>& modes) {
  for (std::size_t i = 0; i < modes.size(); ++i) {
    for (const Field& field : kFields<PLFT_Description_Mode>) {
      const bool isFirst = i == 0 && &field == kFields<PLFT_Description_Mode>.data();
      out << (isFirst ? "" : "\n") << "    mad_buffer.Description_Mode[" << i << "]." << field.name << " = 0x"
          << Hex{field.get(&modes[i])} << ";";
    }
  }
}

}  // namespace

void SimInfoDumpCPP::GeneratePrivateLFTInfo(std::ostream& os, const IBNode& node) const {
  if (RefusesNonSwitch(os, node)) return;
  BlockEmitter out(os);
  if (!IsSupported(node, kIsPrivateLinearForwardingSupported) ||
      !IsSupported(node, kIsPortSLToPrivateLFTMapSupported)) {
    out << "#error \"The node=" << node.name << " does not support Private LFT\"";
    return;
  }
  const ib_private_lft_info* record = Records().getPLFTInfo(node.recordIndex);
  if (record == nullptr) {
    out << "#error \"Failed to get PrivateLFTInfo mad for the node=" << node.name;
    return;
  }
  out.block("&m_node->plftInfo", *record, [&](const Field&) { assignModes(out, record->Description_Mode); });
}

}  // namespace siminfo
