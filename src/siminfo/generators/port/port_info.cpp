#include <algorithm>
#include <bit>

#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/node/sim_info_data.h"
#include "siminfo/generators/port/port_selection.h"
#include "siminfo/generators/refusals.h"

namespace siminfo {
namespace {

/// A simulated port never claims to host a subnet manager, whatever the discovered one said.
std::uint32_t withoutIsSM(std::uint32_t capMsk) { return capMsk & ~std::uint32_t{2}; }

constexpr std::string_view kLoopHead =
    "    for (size_t i = 0; i < m_node->nodePortsInfo.size(); i++) {\n"
    "        SMP_PortInfo mad_buffer = {0};\n"
    "        SMP_PortInfo_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodePortsInfo[i]));\n";

constexpr std::string_view kLoopEnd =
    "\n"
    "        SMP_PortInfo_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodePortsInfo[i]));\n"
    "    }";

/// The lines that follow the masks and the link width, the last one left open.
void assignSpeedsAndMTU(BlockEmitter& out, int indent, const SMP_PortInfo& record) {
  out.assign(indent, "LinkSpeedExtSup2", record.LinkSpeedExtSup2);
  out << "\n";
  out.assign(indent, "LinkSpeedExtSup", record.LinkSpeedExtSup);
  out << "\n";
  out.assign(indent, "LinkSpeedSup", record.LinkSpeedSup);
  out << "\n";
  out.assign(indent, "MTUCap", record.MTUCap);
}

}  // namespace

void SimInfoDumpCPP::GeneratePortInfo(std::ostream& out, const IBNode& node) const {
  const auto find = [this](const IBPort& port) { return Records().getSMPPortInfo(port.recordIndex); };
  // A switch's management port always takes part: it has no link whose state could say otherwise.
  const IBPort* portZero = PortAt(node, 0);
  const SMP_PortInfo* zero = portZero != nullptr ? find(*portZero) : nullptr;
  const auto [regular, special] = ChoosePorts<SMP_PortInfo>(node, find);
  if (node.type == kSwitch)
    GeneratePortInfoSW(node, out, zero, regular, special);
  else
    GeneratePortInfoCA(out, regular);
}

void SimInfoDumpCPP::GeneratePortInfoCA(std::ostream& os, const SMP_PortInfo* record) const {
  BlockEmitter out(os);
  if (record == nullptr) {
    out << "#error \"Failed to dump PortInfo MAD. Null pointer is provided.\"";
    return;
  }
  out << kLoopHead;
  PrintCapabilityMask(8, os, withoutIsSM(record->CapMsk), false);
  out << "\n";
  out.assign(8, "CapMsk", withoutIsSM(record->CapMsk));
  out << "\n";
  PrintCapabilityMask(8, os, record->CapMsk2, true);
  out << "\n";
  out.assign(8, "CapMsk2", record->CapMsk2);
  out << "\n\n";
  out.assign(8, "LinkWidthSup", record->LinkWidthSup);
  out << "\n\n";
  assignSpeedsAndMTU(out, 8, *record);
  out << "\n" << kLoopEnd;
}

void SimInfoDumpCPP::GeneratePortInfoSW(const IBNode& node, std::ostream& os, const SMP_PortInfo* zero,
                                        const SMP_PortInfo* regular,
                                        const std::map<unsigned char, SMP_PortInfo const*>& special) const {
  BlockEmitter out(os);
  if (zero == nullptr || regular == nullptr) {
    out << "#error \"Failed to dump PortInfo MAD. Zero and a regular ports must be provided.\"";
    return;
  }
  out << kLoopHead << "\n        if (!i) {";
  GeneratePortInfoSW(os, zero, 12, true, true);
  for (const auto& [num, record] : special) {
    if (record == nullptr) continue;
    out << "\n        } else if (i == " << num << ") {";
    GeneratePortInfoSW(os, record, 12, false, true);
  }
  out << "\n        } else {";
  GeneratePortInfoSW(os, regular, 12, false, !node.isOrbelSwitch());
  out << "\n        }\n" << kLoopEnd;
}

void SimInfoDumpCPP::GeneratePortInfoSW(std::ostream& os, const SMP_PortInfo* record, int indent,
                                        bool capability_comments, bool link_width) const {
  if (RefusesNull(os, record)) return;
  BlockEmitter out(os);
  if (capability_comments) PrintCapabilityMask(indent, os, withoutIsSM(record->CapMsk), false);
  out << "\n";
  out.assign(indent, "CapMsk", withoutIsSM(record->CapMsk));
  if (capability_comments) {
    out << "\n";
    PrintCapabilityMask(indent, os, record->CapMsk2, true);
  }
  out << "\n";
  out.assign(indent, "CapMsk2", record->CapMsk2);
  out << "\n";
  if (link_width) {
    out << "\n";
    out.assign(indent, "LinkWidthSup", record->LinkWidthSup);
    out << "\n";
  }
  out << "\n";
  assignSpeedsAndMTU(out, indent, *record);
}

void SimInfoDumpCPP::PrintCapabilityMask(int indent, std::ostream& os, unsigned int mask,
                                         bool second_mask) const {
  constexpr int kWidth = 50;  // of a name with " = 1" at its right edge
  constexpr std::string_view kSet = " = 1";
  const auto& names = second_mask ? SimInfoData::PortInfoCapMask2Bits : SimInfoData::PortInfoCapMaskBits;
  BlockEmitter out(os);
  out << "\n" << Spaces{indent} << "// ---------- CapMask" << (second_mask ? "2" : "");
  for (; mask != 0; mask &= mask - 1) {  // from the lowest set bit to the highest
    const auto bit = static_cast<std::size_t>(std::countr_zero(mask));
    if (bit >= names.size() || names[bit] == nullptr) continue;
    const std::string_view name = names[bit];
    const int used = static_cast<int>(name.size() + kSet.size());
    out << "\n" << Spaces{indent} << "// " << name << Spaces{std::max(kWidth - used, 0)} << kSet;
  }
}

}  // namespace siminfo
