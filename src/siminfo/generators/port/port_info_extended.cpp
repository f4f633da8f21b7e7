#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/port/port_selection.h"

namespace siminfo {

void SimInfoDumpCPP::GeneratePortInfoExtended(std::ostream& out, const IBNode& node) const {
  // The first port with a record stands for all of them, be it special or not.
  const SMP_PortInfoExtended* record = nullptr;
  VisitPorts(node, [&](const IBPort& port) {
    record = Records().getSMPPortInfoExtended(port.recordIndex);
    return record == nullptr;
  });
  GeneratePortInfoExtended(out, record);
}

void SimInfoDumpCPP::GeneratePortInfoExtended(std::ostream& os, const SMP_PortInfoExtended* record) const {
  BlockEmitter out(os);
  if (record == nullptr) {
    out << "// Failed to dump PortInfoExtended MAD. Null pointer is provided.";
    return;
  }
  // clang-format off
  out << "    for (size_t i = 0; i < m_node->nodePortsInfoExt.size(); i++) {\n"
         "        SMP_PortInfoExtended mad_buffer = {0};\n"
         "        SMP_PortInfoExtended_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodePortsInfoExt[i]));\n"
         "\n";
  out.assignAll(8, *record);
  out << "\n"
         "\n"
         "        SMP_PortInfoExtended_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodePortsInfoExt[i]));\n"
         "    }";
  // clang-format on
}

}  // namespace siminfo
