#include <algorithm>
#include <bit>

#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/node/sim_info_data.h"
#include "siminfo/generators/port/port_selection.h"
#include "siminfo/generators/refusals.h"

namespace siminfo {
namespace {

constexpr std::string_view kLoopHead =
    "    for (size_t i = 0; i < m_node->nodePortsInfo.size(); i++) {\n"
    "        SMP_PortInfo mad_buffer = {0};\n"
    "        SMP_PortInfo_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodePortsInfo[i]));\n";

constexpr std::string_view kLoopEnd =
    "\n"
    "        SMP_PortInfo_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodePortsInfo[i]));\n"
    "    }";

// Fields that are told apart: the masks, which may be listed, the link width, which may be left out, and the
// first of those behind it.
constexpr std::size_t kMask = fieldIndex<SMP_PortInfo>("CapMsk");
constexpr std::size_t kSecondMask = fieldIndex<SMP_PortInfo>("CapMsk2");
constexpr std::size_t kLinkWidth = fieldIndex<SMP_PortInfo>("LinkWidthSup");
constexpr std::size_t kSpeeds = fieldIndex<SMP_PortInfo>("LinkSpeedExtSup2");

/// The record as it is restored: a simulated port never claims to host a subnet manager, whatever the
/// discovered one said.
SMP_PortInfo withoutIsSM(SMP_PortInfo record) {
  constexpr std::uint32_t kIsSM = 1U << 1U;
  record.CapMsk &= ~kIsSM;
  return record;
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
  GeneratePortInfoSW(os, record, 8, true, true);
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
  const SMP_PortInfo restored = withoutIsSM(*record);
  for (std::size_t i = 0; i < kFields<SMP_PortInfo>.size(); ++i) {
    if (i == kLinkWidth && !link_width) continue;
    const std::uint64_t value = kFields<SMP_PortInfo>[i].get(&restored);
    const bool isSecondMask = i == kSecondMask;
    const bool isListed = capability_comments && (i == kMask || isSecondMask);
    const bool standsApart = i == kLinkWidth || i == kSpeeds || (isListed && isSecondMask);
    if (standsApart) out << "\n";
    if (isListed) PrintCapabilityMask(indent, os, static_cast<std::uint32_t>(value), isSecondMask);
    out << "\n";
    out.assign(indent, kAssignmentHeads<SMP_PortInfo>[i], value);
  }
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
