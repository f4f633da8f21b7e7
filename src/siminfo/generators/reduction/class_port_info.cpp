#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/refusals.h"

namespace siminfo {
namespace {

constexpr std::string_view kImage = "&m_node->zyr_rma_class_port_info";

}  // namespace

bool SimInfoDumpCPP::RefusesReduction(std::ostream& os, const IBNode& node) const {
  if (RefusesNonSwitch(os, node)) return true;
  if (IsSupported(node, kIsZYRReductionManagementSupported)) return false;
  BlockEmitter(os) << "// The node=" << node.name << " does not support ZYR Reduction Management";
  return true;
}

bool SimInfoDumpCPP::RefusesPortReduction(std::ostream& os, const IBNode& node) const {
  if (RefusesReduction(os, node)) return true;
  if (Records().getZYRClassPortInfo(node.recordIndex) != nullptr) return false;
  BlockEmitter(os) << "#error \"Failed to get ZYRClassPortInfo mad for the node=" << node.name;
  return true;
}

const IB_ClassPortInfo* SimInfoDumpCPP::FindReductionClassPortInfo(std::ostream& os,
                                                                   const IBNode& node) const {
  if (RefusesReduction(os, node)) return nullptr;
  const IB_ClassPortInfo* record = Records().getZYRClassPortInfo(node.recordIndex);
  if (record == nullptr)
    BlockEmitter(os) << "#error \"Failed to get VS IB_ClassPortInfo mad for the node=" << node.name;
  return record;
}

void SimInfoDumpCPP::GenerateVSReductionManagerClassPortInfo(std::ostream& os, const IBNode& node) const {
  const IB_ClassPortInfo* record = FindReductionClassPortInfo(os, node);
  if (record == nullptr) return;
  BlockEmitter out(os);
  out.block(kImage, *record, [&](const Field&) {
    // The format has the address of the discovered GID here, and a second "0x" before it; the bytes of the
    // GID are not in the file.
    const auto address = reinterpret_cast<std::uintptr_t>(record->RedirectGID.data());
    out << "    mad_buffer.RedirectGID = 0x0x" << Hex{address} << ";";
  });
}

/// The GID byte by byte.
void SimInfoDumpCPP::GenerateBuildableClassPortInfo(std::ostream& os, const IBNode& node) const {
  const IB_ClassPortInfo* record = FindReductionClassPortInfo(os, node);
  if (record == nullptr) return;
  BlockEmitter out(os);
  out.block(kImage, *record, [&](const Field& gid) { out.assignElements(4, gid, record); });
}

}  // namespace siminfo
