#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"

namespace siminfo {

void SimInfoDumpCPP::GenerateExtendedNodeInfo(std::ostream& os, const IBNode& node) const {
  BlockEmitter out(os);
  if (!IsSupported(node, kIsExtendedNodeInfoSupported)) {
    out << "// The ExtendedNodeInfo mad is not supported on the node=" << node.name;
    return;
  }
  const ib_extended_node_info* record = Records().getSMPExtNodeInfo(node.recordIndex);
  if (record == nullptr) {
    out << "// Failed to get VS ExtendedNodeInfo mad for the node=" << node.name;
    return;
  }
  out.block("&m_node->extNodeInfo", *record);
}

}  // namespace siminfo
