#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"

namespace siminfo {
namespace {

/// The record, or null after the comment that says why the node's block is not written. `attribute` is how
/// the caller spells the attribute's name to a special node.
const VSGeneralInfo* findGeneralInfo(std::ostream& os, const KvormExtendedInfo& records, const IBNode& node,
                                     std::string_view attribute) {
  if (node.isSpecialNode()) {
    BlockEmitter(os) << "// The node=" << node.name << " is special and it should not support VS "
                     << attribute << " mad.";
    return nullptr;
  }
  const VSGeneralInfo* record = records.getVSGeneralInfo(node.recordIndex);
  if (record == nullptr) BlockEmitter(os) << "// Failed to get VS GeneralInfo mad for the node=" << node.name;
  return record;
}

constexpr std::array<AssignmentHead, 16> kPSIDBytes{
    "PSID.PSID[0]",  "PSID.PSID[1]",  "PSID.PSID[2]",  "PSID.PSID[3]",  "PSID.PSID[4]",  "PSID.PSID[5]",
    "PSID.PSID[6]",  "PSID.PSID[7]",  "PSID.PSID[8]",  "PSID.PSID[9]",  "PSID.PSID[10]", "PSID.PSID[11]",
    "PSID.PSID[12]", "PSID.PSID[13]", "PSID.PSID[14]", "PSID.PSID[15]",
};

/// All sixteen bytes, whatever the text's length, so that the simulated node keeps none of its own.
void assignPSID(BlockEmitter& out, const std::array<std::uint8_t, 16>& psid) {
  for (std::size_t i = 0; i < psid.size(); ++i) {
    if (i > 0) out << "\n";
    out.assign(4, kPSIDBytes[i], psid[i]);
  }
}

}  // namespace

void SimInfoDumpCPP::GenerateSWInfo(std::ostream& os, const IBNode& node) const {
  const VSGeneralInfo* record = findGeneralInfo(os, Records(), node, "GeneralInfo");
  if (record == nullptr) return;
  BlockEmitter(os).block("&m_node->swInfo", record->SWInfo);
}

void SimInfoDumpCPP::GenerateHWInfo(std::ostream& os, const IBNode& node) const {
  const VSGeneralInfo* record = findGeneralInfo(os, Records(), node, "General Info");
  if (record == nullptr) return;
  BlockEmitter(os).block("&m_node->hwInfo", record->HWInfo);
}

void SimInfoDumpCPP::GenerateFWInfo(std::ostream& os, const IBNode& node) const {
  const VSGeneralInfo* record = findGeneralInfo(os, Records(), node, "General Info");
  if (record == nullptr) return;

  BlockEmitter out(os);
  out.block("&m_node->fwInfo", record->FWInfo, [&](const Field&) { assignPSID(out, record->FWInfo.PSID); });
}

}  // namespace siminfo
