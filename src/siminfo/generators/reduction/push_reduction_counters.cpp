#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/port/port_selection.h"
#include "siminfo/generators/refusals.h"

namespace siminfo {
namespace {

// Push counters hang on another monitor than the multicast counters do.
constexpr std::uint8_t kPushMonitor = 1;
constexpr std::size_t kHeaderFields = 2;

/// How the branches of the loop stand. To the letter of the format they share one scope, in which each
/// declares the same names, and the loop ends with packing a record that is not there; whoever has to build
/// the frame asks for a scope for each branch and for no such line.
struct LoopForm {
  std::string_view branchOpen;
  std::string_view branchClose;
  std::string_view pack;
};
constexpr LoopForm kExact{"", "",
                          "        SMP_KrelExtPortInfo_pack(&mad_buffer, "
                          "reinterpret_cast<u_int8_t*>(&m_node->nodeExtPortsInfo[i]));\n"};
constexpr LoopForm kBuildable{" {", "\n        }", ""};

using PushCounters = ZYRPushReductionCounters;

PortChoice<const PushCounters*> choosePorts(const KvormExtendedInfo& records, const IBNode& node) {
  return ChoosePorts<PushCounters>(node, [&](const IBPort& port) -> const PushCounters* {
    if (records.getZYRReductionConfigureMLIDMonitors(port.recordIndex, kPushMonitor) == nullptr)
      return nullptr;
    return records.getZYRPushReductionCounters(port.recordIndex);
  });
}

void writeLoop(const SimInfoDumpCPP& generator, std::ostream& os, const PushCounters* normal,
               const std::map<std::uint8_t, const PushCounters*>& special, const LoopForm& form) {
  BlockEmitter out(os);
  if (normal == nullptr) {
    out << "#error \"Failed to dump ZYRPushReductionCountersInfo MAD. Null pointer is provided.\"";
    return;
  }
  if (special.empty()) {
    out << "#error \"Failed to dump ZYRPushReductionCountersInfo MAD. Special port data is not provided.\"";
    return;
  }
  // clang-format off
  out << "    for (phys_port_t i = 1; i < m_node->numPorts; i++) {\n"
         "        switch (i) {";
  for (const auto& [num, record] : special) {
    if (record == nullptr) continue;
    out << "\n"
           "        case " << num << ":" << form.branchOpen;
    generator.GenerateZYRPushReductionCounters(os, 12, record);
    out << "\n"
           "            break;" << form.branchClose;
  }
  out << "\n"
         "        default:" << form.branchOpen;
  generator.GenerateZYRPushReductionCounters(os, 12, normal);
  out << form.branchClose << "\n"
         "        }\n"
         "\n"
      << form.pack <<
         "    }";
  // clang-format on
}

}  // namespace

void SimInfoDumpCPP::GenerateZYRPushReductionCounters(std::ostream& out, const IBNode& node) const {
  if (RefusesPortReduction(out, node)) return;
  const auto [normal, special] = choosePorts(Records(), node);
  writeLoop(*this, out, normal, special, kExact);
}

void SimInfoDumpCPP::GenerateBuildablePushCounters(std::ostream& out, const IBNode& node) const {
  if (RefusesPortReduction(out, node)) return;
  const auto [normal, special] = choosePorts(Records(), node);
  writeLoop(*this, out, normal, special, kBuildable);
}

void SimInfoDumpCPP::GenerateZYRPushReductionCounters(
    std::ostream& out, const ZYRPushReductionCounters* normal,
    const std::map<std::uint8_t, const ZYRPushReductionCounters*>& special) const {
  writeLoop(*this, out, normal, special, kExact);
}

void SimInfoDumpCPP::GenerateZYRPushReductionCounters(std::ostream& os, int indent,
                                                      const ZYRPushReductionCounters* record) const {
  if (RefusesNull(os, record)) return;
  BlockEmitter out(os);
  const Spaces in{indent};
  // clang-format off
  out << "\n" << in << "ZYRPushReductionCounters mad_buffer = {0};"
         "\n" << in << "const ZYRPushReductionCounters_view_t *p_ctr = m_node->getZyrPushReductionCounters("
                    << record->header0 << ", " << record->header1 << ");"
         "\n" << in << "if (p_ctr) {"
         "\n" << in << "    ZYRPushReductionCounters_view_t wrapper = *p_ctr;";
  for (const Field& field : std::span(kFields<ZYRPushReductionCounters>).subspan<kHeaderFields>())
    out << "\n" << in << "    wrapper.set_" << field.name << "(0x" << Hex{field.get(record)} << ");";
  // Stored back through the call that the multicast counters use; there is none of its own.
  out << "\n"
         "\n" << in << "    m_node->setZyrReductionCounters(" << record->header0 << ", " << record->header1
                    << ", &wrapper);"
         "\n" << in << "}";
  // clang-format on
}

}  // namespace siminfo
