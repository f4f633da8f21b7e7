#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/refusals.h"

namespace siminfo {

void SimInfoDumpCPP::GenerateEnhancedCongestionInfo(std::ostream& os, const IBNode& node) const {
  BlockEmitter out(os);
  if (node.isSpecialNode()) {
    out << "// The node=" << node.name << " is special and it should not support Enhanced Congestion Control";
    return;
  }
  if (!IsSupported(node, kIsDCQCNSupported)) {
    out << "#error \"The node=" << node.name << " does not support Enhanced Congestion Control\"";
    return;
  }
  const CC_EnhancedCongestionInfo* record = Records().getCCEnhancedCongestionInfo(node.recordIndex);
  if (record == nullptr) {
    out << "#error \"Failed to get CC_EnhancedCongestionInfo mad for the node=" << node.name;
    return;
  }
  out.block("&m_node->enhancedCongestionInfo", *record);
}

void SimInfoDumpCPP::GenerateCongestionSwitchGeneralSettings(std::ostream& os, const IBNode& node) const {
  if (RefusesNonSwitch(os, node)) return;
  BlockEmitter out(os);
  const CC_EnhancedCongestionInfo* versions = Records().getCCEnhancedCongestionInfo(node.recordIndex);
  if (versions == nullptr) {
    out << "#error \"Failed to get CC_EnhancedCongestionInfo mad for the node=" << node.name
        << ". Cannot check supported version of Congestion Control attributes";
    return;
  }
  // The settings exist since version 0; a switch that has a later version alone is refused as well.
  if (versions->ver0 == 0) {
    out << "#error \"The node=" << node.name
        << " does not support any version of Congestion Control attributes\"";
    return;
  }
  const CC_CongestionSwitchGeneralSettings* record = Records().getCCSwitchGeneralSettings(node.recordIndex);
  if (record == nullptr) {
    out << "#error \"Failed to get CC_CongestionSwitchGeneralSettings mad for the node=" << node.name;
    return;
  }
  out.block("&m_node->congSWGeneralInfo", *record);
}

}  // namespace siminfo
