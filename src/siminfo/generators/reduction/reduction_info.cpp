#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/port/port_selection.h"
#include "siminfo/generators/refusals.h"

namespace siminfo {

void SimInfoDumpCPP::GenerateZYRReductionInfo(std::ostream& os, const IBNode& node) const {
  if (RefusesReduction(os, node)) return;
  BlockEmitter out(os);
  const ZYRReductionInfo* record = Records().getZYRReductionInfo(node.recordIndex);
  if (record == nullptr) {
    out << "#error \"Failed to get ZYRReductionInfo mad for the node=" << node.name;
    return;
  }
  out.block("&m_node->zyr_red_info", *record);
}

void SimInfoDumpCPP::GenerateZYRReductionPortInfo(std::ostream& out, const IBNode& node) const {
  if (RefusesPortReduction(out, node)) return;
  const auto [normal, special] = ChoosePorts<ZYRReductionPortInfo>(
      node, [this](const IBPort& port) { return Records().getZYRReductionPortInfo(port.recordIndex); });
  GenerateZYRReductionPortInfo(out, normal, special);
}

void SimInfoDumpCPP::GenerateZYRReductionPortInfo(
    std::ostream& os, const ZYRReductionPortInfo* normal,
    const std::map<std::uint8_t, const ZYRReductionPortInfo*>& special) const {
  BlockEmitter out(os);
  if (normal == nullptr) {
    out << "#error \"Failed to dump ZYRReductionPortInfo MAD. Null pointer is provided.\"";
    return;
  }
  // clang-format off
  out << "    for (phys_port_t i = 1; i < m_node->numPorts; i++) {\n"
         "        ZYRReductionPortInfo mad_buffer = {0};\n"
         "        ZYRReductionPortInfo_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->zyrReductionPortInfo[i]));\n"
         "\n"
         "        switch (i) {";
  for (const auto& [num, record] : special) {
    if (record == nullptr) continue;
    out << "\n"
           "        case " << num << ":";
    GenerateZYRReductionPortInfo(os, 12, record);
    out << "\n"
           "            break;";
  }
  out << "\n"
         "        default:";
  GenerateZYRReductionPortInfo(os, 12, normal);
  out << "\n"
         "        }\n"
         "\n"
         "        ZYRReductionPortInfo_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->zyrReductionPortInfo[i]));\n"
         "    }";
  // clang-format on
}

void SimInfoDumpCPP::GenerateZYRReductionPortInfo(std::ostream& os, int indent,
                                                  const ZYRReductionPortInfo* record) const {
  if (RefusesNull(os, record)) return;
  BlockEmitter out(os);
  out << "\n";
  out.assignAll(indent, *record);
}

}  // namespace siminfo
