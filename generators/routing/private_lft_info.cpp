#include "core/block_emitter.h"
#include "core/drovik_sim_info_dump.h"
#include "generators/refusals.h"

namespace siminfo {

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
  const BlockTarget target{"ib_private_lft_info", "&m_node->plftInfo"};
  out.open(target);
  for (const Field& field : kFields<ib_private_lft_info>) {
    if (!field.isNumber()) continue;
    out.assign(4, field.name, field.get(record));
    out << "\n";
  }
  for (std::size_t i = 0; i < record->Description_Mode.size(); ++i) {
    for (const Field& field : kFields<PLFT_Description_Mode>)
      out << "    mad_buffer.Description_Mode[" << i << "]." << field.name << " = 0x"
          << Hex{field.get(&record->Description_Mode[i])} << ";\n";
  }
  out.close(target);
}

}  // namespace siminfo
