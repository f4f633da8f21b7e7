#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/refusals.h"

namespace siminfo {

void SimInfoDumpCPP::GenerateARInfo(std::ostream& os, const IBNode& node) const {
  if (RefusesNonSwitch(os, node)) return;
  BlockEmitter out(os);
  if (!IsSupported(node, kIsAdaptiveRoutingRev1Supported)) {
    out << "#error \"The node=" << node.name << " does not support AR\"";
    return;
  }
  const adaptive_routing_info* record = Records().getARInfo(node.recordIndex);
  if (record == nullptr) {
    out << "#error \"Failed to get VS ArInfo mad for the node=" << node.name;
    return;
  }
  out.block("&m_node->AdaptiveRoutingInfo", *record);
}

}  // namespace siminfo
