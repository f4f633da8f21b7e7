#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/refusals.h"

namespace siminfo {

void SimInfoDumpCPP::GenerateSwitchInfo(std::ostream& os, const IBNode& node) const {
  if (RefusesNonSwitch(os, node)) return;
  BlockEmitter out(os);
  const SMP_SwitchInfo* record = Records().getSMPSwitchInfo(node.recordIndex);
  if (record == nullptr) {
    out << "// Failed to get SwitchInfo mad for the node=" << node.name;
    return;
  }
  out.block("&m_node->switchInfo", *record);
}

void SimInfoDumpCPP::GenerateExtendedSwitchInfo(std::ostream& os, const IBNode& node) const {
  if (RefusesNonSwitch(os, node)) return;
  BlockEmitter out(os);
  const SMP_ExtendedSwitchInfo* record = Records().getSMP_ExtendedSwitchInfo(node.recordIndex);
  if (record == nullptr) {
    out << "// Failed to get VS ExtendedSwitchInfo mad for the node=" << node.name;
    return;
  }
  // The simulated node keeps this attribute behind an accessor that already returns its address.
  out.block("m_node->getExtendedSwitchInfo()", *record);
}

}  // namespace siminfo
