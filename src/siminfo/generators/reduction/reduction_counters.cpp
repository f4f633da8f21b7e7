#include <algorithm>

#include "siminfo/core/block_emitter.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/generators/port/port_selection.h"
#include "siminfo/generators/refusals.h"

namespace siminfo {
namespace {

using CounterSets = std::map<std::uint32_t, const ZYRReductionCounters*>;

// A port without this monitor has no counters that mean anything.
constexpr std::uint8_t kMulticastMonitor = 0;
constexpr std::uint32_t kSetsPerPort = 8;

CounterSets findSets(const KvormExtendedInfo& records, const IBPort& port) {
  CounterSets sets;
  if (records.getZYRReductionConfigureMLIDMonitors(port.recordIndex, kMulticastMonitor) == nullptr)
    return sets;
  for (std::uint32_t index = 0; index < kSetsPerPort; ++index) {
    if (const ZYRReductionCounters* record = records.getZYRReductionCounters(port.recordIndex, index))
      sets[index] = record;
  }
  return sets;
}

}  // namespace

void SimInfoDumpCPP::GenerateZYRReductionCounters(std::ostream& out, const IBNode& node) const {
  if (RefusesPortReduction(out, node)) return;
  std::map<std::uint8_t, CounterSets> normal;
  std::map<std::uint8_t, CounterSets> special;
  VisitPorts(node, [&](const IBPort& port) {
    CounterSets sets = findSets(Records(), port);
    if (sets.empty()) return true;
    if (IsSpecial(port))
      special[port.num] = std::move(sets);
    else if (normal.empty())
      normal[port.num] = std::move(sets);
    return true;
  });
  GenerateZYRReductionCounters(out, normal, special);
}

void SimInfoDumpCPP::GenerateZYRReductionCounters(std::ostream& os,
                                                  const std::map<std::uint8_t, CounterSets>& normal,
                                                  const std::map<std::uint8_t, CounterSets>& special) const {
  BlockEmitter out(os);
  if (normal.empty()) {
    out << "#error \"Failed to dump ZYRReductionCountersInfo MAD. Normal port data is not provided.\"";
    return;
  }
  if (special.empty()) {
    out << "#error \"Failed to dump ZYRReductionCountersInfo MAD. Special port data is not provided.\"";
    return;
  }
  // Beside port and counter index, a simulated node finds a set by its lean pipe. Discovered sets are those
  // of this one; what the pipes are is between device and simulator.
  // clang-format off
  out << "\n"
         "    const u_int8_t lean_pipe = 0x0F;\n"
         "    for (phys_port_t i = 1; i < m_node->numPorts; i++) {\n"
         "        switch (i) {";
  for (const auto& [num, sets] : special) {
    out << "\n"
           "            case " << num << ":";
    GenerateZYRReductionCounters(os, 12, num, sets);
    out << "\n"
           "            break;";
  }
  out << "\n"
         "        default:";
  // Every other port reads and writes the counters of this one port.
  const auto& [num, sets] = *normal.begin();
  GenerateZYRReductionCounters(os, 12, num, sets);
  out << "\n"
         "        }\n"
         "    }";
  // clang-format on
}

void SimInfoDumpCPP::GenerateZYRReductionCounters(std::ostream& os, int indent, std::uint8_t port,
                                                  const CounterSets& counters) const {
  BlockEmitter out(os);
  const Spaces in{std::max(indent, 0)};
  for (const auto& [index, record] : counters) {
    if (record == nullptr) continue;
    // The record's type has a name of its own in simulators, while its functions go by the attribute's name.
    // clang-format off
    out << "\n" << in << "{"
           "\n" << in << "ZYRReductCounters mad_buffer = {0};"
           "\n" << in << "const ib_zyr_reduction_counters_t *p_ctr = m_node->getZyrReductionCounters("
                      << port << ", " << index << ", lean_pipe);"
           "\n" << in << "if (p_ctr) {"
           "\n" << in << "    ib_zyr_reduction_counters_t ctr = *p_ctr;"
           "\n" << in << "    ZYRReductionCounters_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(&ctr));"
           "\n";
    GenerateZYRReductionCounters(os, in.count + 4, record);
    out << "\n"
           "\n" << in << "    ZYRReductionCounters_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&ctr));"
           "\n" << in << "    m_node->setZyrReductionCounters(" << port << ", " << index << ", lean_pipe, &ctr);"
           "\n" << in << "}"
           "\n" << in << "}";
    // clang-format on
  }
}

void SimInfoDumpCPP::GenerateZYRReductionCounters(std::ostream& os, int indent,
                                                  const ZYRReductionCounters* record) const {
  if (RefusesNull(os, record)) return;
  BlockEmitter out(os);
  constexpr std::size_t kCount = kFields<ZYRReductionCounters>.size();
  for (std::size_t i = 0; i < kCount; ++i) {
    // The format writes this counter twice: with its like, and again in front of its data counter, the last.
    if (i + 1 == kCount) {
      out << "\n";
      out.assign(indent, "generated_mc_read_resp_pkt", record->generated_mc_read_resp_pkt);
    }
    out << "\n";
    out.assign(indent, kAssignmentHeads<ZYRReductionCounters>[i],
               kFields<ZYRReductionCounters>[i].get(record));
  }
}

}  // namespace siminfo
