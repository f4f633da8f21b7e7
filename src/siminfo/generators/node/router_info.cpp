#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"

namespace siminfo {

void SimInfoDumpCPP::GenerateRouterInfo(std::ostream& os, const IBNode& node) const {
  BlockEmitter out(os);
  if (node.type != kRouter) {
    out << "// The node=" << node.name << " is not a router";
    return;
  }
  const SMP_RouterInfo* record = Records().getSMPRouterInfo(node.recordIndex);
  if (record == nullptr) {
    out << "// Failed to get RouterInfo mad for the node=" << node.name;
    return;
  }
  out.block("&m_node->routerInfo", *record);
}

}  // namespace siminfo
