#include "siminfo/inspect/explanations.h"

#include <algorithm>
#include <array>
#include <set>

#include "siminfo/snapshot/format.h"

namespace siminfo {
namespace {

constexpr bool kLacks = true;
constexpr bool kDoesNotApply = false;

// Longer pieces stand before those that they hold.
constexpr std::array kExplanations{
    Explanation{"Failed to get NodeInfo mad", kLacks, "SMP_NodeInfo", "",
                "collect again, or add SMP_NodeInfo to the node's records"},
    Explanation{
        "Zero and a regular ports must be provided", kLacks, "", "SMP_PortInfo",
        "collect again, or give SMP_PortInfo to port 0 and to an ordinary port that is above Down and "
        "in the sub-fabric"},
    Explanation{"Failed to dump PortInfo MAD.", kLacks, "", "SMP_PortInfo",
                "collect again, or give SMP_PortInfo to an ordinary port that is above Down and in the "
                "sub-fabric"},
    Explanation{"Failed to get GMP capabilites", kLacks, "", "",
                "add the mask as \"gmp\" to the node's \"capabilities\"; collect does not ask for it"},
    Explanation{"Failed to get SMP capabilites", kLacks, "", "",
                "add the mask as \"smp\" to the node's \"capabilities\"; collect does not ask for it"},
    Explanation{"Failed to get VS GeneralInfo", kLacks, "VSGeneralInfo", "",
                "add VSGeneralInfo to the node's records; collect does not ask for it"},
    Explanation{
        "Failed to dump PortInfoExtended MAD.", kLacks, "", "SMP_PortInfoExtended",
        "collect again, or give SMP_PortInfoExtended to a port that is above Down, if the node has it"},
    Explanation{"Failed to get VS ExtendedNodeInfo", kLacks, "ib_extended_node_info", "",
                "add ib_extended_node_info to the node's records; collect does not ask for it"},
    Explanation{"ExtendedNodeInfo mad is not supported", kDoesNotApply, "", "",
                "if the node has it, set bit 13 of its SMP mask"},
    Explanation{
        "Failed to dump ExtendedPortInfo MAD.", kLacks, "", "SMP_KrelExtPortInfo",
        "give SMP_KrelExtPortInfo to an ordinary port that is above Down; collect does not ask for it"},
    Explanation{"ExtendedPortInfo mad is not supported", kDoesNotApply, "", "",
                "if the node has it, set bit 9 of its SMP mask"},
    Explanation{
        "does not support AR", kLacks, "", "",
        "if the node has it, set bit 2 of its SMP mask; else leave it to the simulator with --missing "
        "comment"},
    Explanation{"Failed to get VS ArInfo", kLacks, "adaptive_routing_info", "",
                "add adaptive_routing_info to the node's records; collect does not ask for it"},
    Explanation{"Failed to get RouterInfo", kLacks, "SMP_RouterInfo", "",
                "collect with --attribute-layouts, or add SMP_RouterInfo to the node's records"},
    Explanation{"Failed to get VS ExtendedSwitchInfo", kLacks, "SMP_ExtendedSwitchInfo", "",
                "add SMP_ExtendedSwitchInfo to the node's records; collect does not ask for it"},
    Explanation{"Failed to get SwitchInfo", kLacks, "SMP_SwitchInfo", "",
                "collect again, or add SMP_SwitchInfo to the node's records"},
    Explanation{"does not support Private LFT", kLacks, "", "",
                "if the node has it, set bits 0 and 12 of its SMP mask; else leave it to the simulator with "
                "--missing comment"},
    Explanation{"Failed to get PrivateLFTInfo", kLacks, "ib_private_lft_info", "",
                "add ib_private_lft_info to the node's records; collect does not ask for it"},
    Explanation{
        "does not support Enhanced Congestion Control", kLacks, "", "",
        "if the node has it, set bit 44 of its SMP mask; else leave it to the simulator with --missing "
        "comment"},
    Explanation{"Failed to get CC_EnhancedCongestionInfo", kLacks, "CC_EnhancedCongestionInfo", "",
                "add CC_EnhancedCongestionInfo to the node's records; collect does not ask for it"},
    Explanation{
        "does not support any version of Congestion Control", kLacks, "", "",
        "ver0 of its CC_EnhancedCongestionInfo is 0; leave it to the simulator with --missing comment"},
    Explanation{"Failed to get CC_CongestionSwitchGeneralSettings", kLacks,
                "CC_CongestionSwitchGeneralSettings", "",
                "add CC_CongestionSwitchGeneralSettings to the node's records; collect does not ask for it"},
    Explanation{"does not support ZYR Reduction Management", kDoesNotApply, "", "",
                "if the node has it, set bit 55 of its SMP mask"},
    Explanation{"Failed to get VS IB_ClassPortInfo", kLacks, "IB_ClassPortInfo", "",
                "add IB_ClassPortInfo to the node's records; collect does not ask for it"},
    Explanation{"Failed to get ZYRClassPortInfo", kLacks, "IB_ClassPortInfo", "",
                "add IB_ClassPortInfo to the node's records; collect does not ask for it"},
    Explanation{"Failed to get ZYRReductionInfo", kLacks, "ZYRReductionInfo", "",
                "add ZYRReductionInfo to the node's records; collect does not ask for it"},
    Explanation{
        "Failed to dump ZYRReductionPortInfo MAD.", kLacks, "", "ZYRReductionPortInfo",
        "give ZYRReductionPortInfo to an ordinary port that is above Down; collect does not ask for it"},
    Explanation{
        "ZYRReductionCountersInfo MAD. Normal port", kLacks, "", "ZYRReductionCounters",
        "give counter sets and monitor 0 to an ordinary port that is above Down; collect does not ask "
        "for them"},
    Explanation{"ZYRReductionCountersInfo MAD. Special port", kLacks, "", "ZYRReductionCounters",
                "give counter sets and monitor 0 to a special port that is above Down, or, where ports "
                "differ, restore every one with --models --exact-ports"},
    Explanation{"ZYRPushReductionCountersInfo MAD. Null", kLacks, "", "ZYRPushReductionCounters",
                "give ZYRPushReductionCounters and monitor 1 to an ordinary port that is above Down; collect "
                "does not ask for them"},
    Explanation{"ZYRPushReductionCountersInfo MAD. Special port", kLacks, "", "ZYRPushReductionCounters",
                "give ZYRPushReductionCounters and monitor 1 to a special port that is above Down, or, where "
                "ports differ, restore every one with --models --exact-ports"},
    Explanation{"is special and it should not support", kDoesNotApply, "", "", ""},
    Explanation{"is not a switch", kDoesNotApply, "", "", ""},
    Explanation{"is not a router", kDoesNotApply, "", "", ""},
};
constexpr Explanation kUnknown{"", kLacks, "", "", ""};

/// A reason of either monitors or counters explains that there are no counters.
bool explains(std::string_view record, std::string_view lacked) {
  return record == lacked || (record == kMonitorsName && lacked.ends_with("ReductionCounters"));
}

void addReasons(const std::map<std::uint32_t, AbsentRecords>& absent, std::uint32_t index,
                std::string_view lacked, std::set<std::string>& reasons) {
  const auto found = absent.find(index);
  if (lacked.empty() || found == absent.end()) return;
  for (const auto& [record, reason] : found->second) {
    if (explains(record, lacked)) reasons.insert(std::string(record).append(": ").append(reason));
  }
}

}  // namespace

const Explanation& explanationOf(std::string_view words) {
  const auto* found = std::ranges::find_if(kExplanations, [&](const Explanation& each) {
    return words.find(each.piece) != std::string_view::npos;
  });
  return found != kExplanations.end() ? *found : kUnknown;
}

void addReasons(const Snapshot& snapshot, const IBNode& node, const Explanation& explanation,
                ReasonCounts& reasons) {
  std::set<std::string> found;
  addReasons(snapshot.absentOnNodes, node.recordIndex, explanation.nodeRecord, found);
  for (const IBPort* port : node.ports) {
    if (port != nullptr) addReasons(snapshot.absentOnPorts, port->recordIndex, explanation.portRecord, found);
  }
  for (const std::string& reason : found) ++reasons[reason];
}

}  // namespace siminfo
