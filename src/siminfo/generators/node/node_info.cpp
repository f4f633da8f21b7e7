#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"

namespace siminfo {

void SimInfoDumpCPP::GenerateNodeInfo(std::ostream& os, const IBNode& node) const {
  BlockEmitter out(os);
  const SMP_NodeInfo* record = Records().getSMPNodeInfo(node.recordIndex);
  if (record == nullptr) {
    out << "#error \"Failed to get NodeInfo mad for the node=" << node.name << "\"";
    return;
  }
  out.block("&m_node->nodeInfo", *record);
  // The simulated node sizes its table from what was just restored.
  out << "\n"
         "\n"
         "    m_node->resizePortPkeyTable(mad_buffer.PartitionCap);";
}

}  // namespace siminfo
