#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/port/port_selection.h"
#include "siminfo/generators/refusals.h"

namespace siminfo {

void SimInfoDumpCPP::GenerateExtendedPortInfo(std::ostream& out, const IBNode& node) const {
  if (!IsSupported(node, kIsExtendedPortInfoSupported)) {
    BlockEmitter(out) << "// The ExtendedPortInfo mad is not supported on the node=" << node.name;
    return;
  }
  const auto [regular, special] = ChoosePorts<SMP_KrelExtPortInfo>(
      node, [this](const IBPort& port) { return Records().getSMPKrelExtPortInfo(port.recordIndex); });
  GenerateExtendedPortInfo(out, regular, special);
}

void SimInfoDumpCPP::GenerateExtendedPortInfo(
    std::ostream& os, const SMP_KrelExtPortInfo* regular,
    const std::map<unsigned char, SMP_KrelExtPortInfo const*>& special) const {
  BlockEmitter out(os);
  if (regular == nullptr) {
    out << "// Failed to dump ExtendedPortInfo MAD. Null pointer is provided.";
    return;
  }
  // clang-format off
  out << "    for (size_t i = 0; i < m_node->nodeExtPortsInfo.size(); i++) {\n"
         "        SMP_KrelExtPortInfo mad_buffer = {0};\n"
         "        SMP_KrelExtPortInfo_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodeExtPortsInfo[i]));\n"
         "\n"
         "        switch (i) {";
  for (const auto& [num, record] : special) {
    if (record == nullptr) continue;
    out << "\n"
           "        case " << num << ":";
    GenerateExtendedPortInfo(os, 12, record);
    out << "\n"
           "            break;";
  }
  out << "\n"
         "        default:";
  GenerateExtendedPortInfo(os, 12, regular);
  out << "\n"
         "        }\n"
         "\n"
         "        SMP_KrelExtPortInfo_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodeExtPortsInfo[i]));\n"
         "    }";
  // clang-format on
}

void SimInfoDumpCPP::GenerateExtendedPortInfo(std::ostream& os, int indent,
                                              const SMP_KrelExtPortInfo* record) const {
  if (RefusesNull(os, record)) return;
  BlockEmitter out(os);
  out << "\n";
  out.assignAll(indent, *record);
}

}  // namespace siminfo
