#include "siminfo/verify/rules.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include "siminfo/verify/chosen_ports.h"
#include "siminfo/verify/expected_comments.h"
#include "siminfo/verify/expected_images.h"

namespace siminfo {
namespace {

template <class Record>
Requirement collected(std::string_view otherwise) {
  return {[](const Facts& facts, const FramePlan&) { return facts.record<Record>() != nullptr; }, otherwise};
}
/// Capabilities go by their bits here and not by the generators' names for them, so that a wrong one shows.
Requirement capable(std::uint8_t bit, std::string_view otherwise) {
  return {[bit](const Facts& facts, const FramePlan&) { return facts.hasSMP(bit); }, otherwise};
}
Requirement maskAnswered(bool isGMP, std::string_view otherwise) {
  return {[isGMP](const Facts& facts, const FramePlan&) { return facts.mask(isGMP) != nullptr; }, otherwise};
}
Requirement notSpecial(std::string_view otherwise) {
  return {[](const Facts& facts, const FramePlan&) { return !facts.isSpecial(); }, otherwise};
}
Requirement regularPort(std::string_view otherwise) {
  return {[](const Facts&, const FramePlan& ports) { return ports.regular != nullptr; }, otherwise};
}
Requirement specialPort(std::string_view otherwise) {
  return {[](const Facts&, const FramePlan& ports) { return !ports.special.empty(); }, otherwise};
}

const Requirement kIsSwitch{[](const Facts& facts, const FramePlan&) { return facts.isSwitch(); },
                            "// The node=<node> is not a switch"};
const Requirement kIsRouter{[](const Facts& facts, const FramePlan&) { return facts.node.type == kRouter; },
                            "// The node=<node> is not a router"};
const Requirement kReduces = capable(55, "// The node=<node> does not support ZYR Reduction Management");
/// What is held per port is refused without the class port info, of which nothing else matters.
const Requirement kHasReductionClass =
    collected<IB_ClassPortInfo>(R"(#error "Failed to get ZYRClassPortInfo mad for the node=<node>)");
const Requirement kGeneralInfo =
    collected<VSGeneralInfo>("// Failed to get VS GeneralInfo mad for the node=<node>");

/// The frame of an attribute that a node has once, in an image that takes the record as it is.
template <class Record>
Rule ofNode(std::string_view frame, const char* image, std::vector<Requirement> requirements) {
  return {frame, kRecordName<Record>, std::move(requirements), [image](const Facts& facts, const FramePlan&) {
            return std::vector{imageOf(image, *facts.record<Record>())};
          }};
}

/// The frame of a block of the general information, which snapshots hold as one record.
template <class Block>
Rule ofGeneralInfo(std::string_view frame, const char* image, Block VSGeneralInfo::*block,
                   std::string_view ofSpecialNode) {
  return {frame,
          kRecordName<VSGeneralInfo>,
          {notSpecial(ofSpecialNode), kGeneralInfo},
          [=](const Facts& facts, const FramePlan&) {
            return std::vector{imageOf(image, facts.record<VSGeneralInfo>()->*block)};
          }};
}

/// The frame of an attribute that ports have, in a loop over the simulated node's images from index `first`
/// on that gives special ports their own records and all others that of the lowest.
template <class Record>
Rule ofPorts(std::string_view frame, const char* images, std::size_t first,
             std::vector<Requirement> requirements) {
  return {frame, kRecordName<Record>, std::move(requirements),
          [=](const Facts& facts, const FramePlan& ports) {
            return imagesByPort<Record>(facts, ports, images, first);
          },
          choosePorts<Record>};
}

// The frames in the order in which they are written. Some of the #error lines end with the node's name and
// without a quotation mark: that is how they are written.
// clang-format off
const std::array kBook{
    Rule{"setNodeInfo", kRecordName<SMP_NodeInfo>,
         {collected<SMP_NodeInfo>(R"(#error "Failed to get NodeInfo mad for the node=<node>")")},
         nodeInfoImages},
    Rule{"setPortInfo", kRecordName<SMP_PortInfo>,
         {{[](const Facts& facts, const FramePlan& ports) { return facts.isSwitch() || ports.regular != nullptr; },
           R"(#error "Failed to dump PortInfo MAD. Null pointer is provided.")"},
          {[](const Facts& facts, const FramePlan& ports) {
             return !facts.isSwitch() || (ports.zero != nullptr && ports.regular != nullptr);
           },
           R"(#error "Failed to dump PortInfo MAD. Zero and a regular ports must be provided.")"}},
         portInfoImages, choosePortInfoPorts, portInfoComments},
    Rule{"setGMPCapability", "",
         {notSpecial("// The node=<node> is special and it should not support GMP capabilities."),
          maskAnswered(true, R"(#error "Failed to get GMP capabilites for the node=<node> with rc=<GMP rc>")")},
         maskImages<true>, nullptr, maskComments<true>},
    Rule{"setSMPCapability", "",
         {maskAnswered(false, R"(#error "Failed to get SMP capabilites for the node=<node> with rc=<SMP rc>")")},
         maskImages<false>, nullptr, maskComments<false>},
    ofGeneralInfo("setFWInfo", "fwInfo", &VSGeneralInfo::FWInfo,
                  "// The node=<node> is special and it should not support VS General Info mad."),
    ofGeneralInfo("setHWInfo", "hwInfo", &VSGeneralInfo::HWInfo,
                  "// The node=<node> is special and it should not support VS General Info mad."),
    ofGeneralInfo("setSWInfo", "swInfo", &VSGeneralInfo::SWInfo,
                  "// The node=<node> is special and it should not support VS GeneralInfo mad."),
    Rule{"setPortInfoExtended", kRecordName<SMP_PortInfoExtended>,
         {regularPort("// Failed to dump PortInfoExtended MAD. Null pointer is provided.")},
         portInfoExtendedImages, choosePortInfoExtendedPort},
    ofNode<ib_extended_node_info>("setExtendedNodeInfo", "extNodeInfo",
        {capable(13, "// The ExtendedNodeInfo mad is not supported on the node=<node>"),
         collected<ib_extended_node_info>("// Failed to get VS ExtendedNodeInfo mad for the node=<node>")}),
    ofPorts<SMP_KrelExtPortInfo>("setExtendedPortInfo", "nodeExtPortsInfo", 0,
        {capable(9, "// The ExtendedPortInfo mad is not supported on the node=<node>"),
         regularPort("// Failed to dump ExtendedPortInfo MAD. Null pointer is provided.")}),
    ofNode<adaptive_routing_info>("setArInfo", "AdaptiveRoutingInfo",
        {kIsSwitch, capable(2, R"(#error "The node=<node> does not support AR")"),
         collected<adaptive_routing_info>(R"(#error "Failed to get VS ArInfo mad for the node=<node>)")}),
    ofNode<SMP_RouterInfo>("setRouterInfo", "routerInfo",
        {kIsRouter, collected<SMP_RouterInfo>("// Failed to get RouterInfo mad for the node=<node>")}),
    ofNode<SMP_ExtendedSwitchInfo>("setExtendedSwitchInfo", "extendedSwitchInfo",
        {kIsSwitch,
         collected<SMP_ExtendedSwitchInfo>("// Failed to get VS ExtendedSwitchInfo mad for the node=<node>")}),
    ofNode<SMP_SwitchInfo>("setSwitchInfo", "switchInfo",
        {kIsSwitch, collected<SMP_SwitchInfo>("// Failed to get SwitchInfo mad for the node=<node>")}),
    ofNode<ib_private_lft_info>("setPrivateLftInfo", "plftInfo",
        {kIsSwitch, capable(0, R"(#error "The node=<node> does not support Private LFT")"),
         capable(12, R"(#error "The node=<node> does not support Private LFT")"),
         collected<ib_private_lft_info>(R"(#error "Failed to get PrivateLFTInfo mad for the node=<node>)")}),
    ofNode<CC_EnhancedCongestionInfo>("setEnhancedCongestionInfo", "enhancedCongestionInfo",
        {notSpecial("// The node=<node> is special and it should not support Enhanced Congestion Control"),
         capable(44, R"(#error "The node=<node> does not support Enhanced Congestion Control")"),
         collected<CC_EnhancedCongestionInfo>(
             R"(#error "Failed to get CC_EnhancedCongestionInfo mad for the node=<node>)")}),
    ofNode<CC_CongestionSwitchGeneralSettings>("setCongestionSwitchGeneralSettings", "congSWGeneralInfo",
        {kIsSwitch,
         collected<CC_EnhancedCongestionInfo>(
             R"(#error "Failed to get CC_EnhancedCongestionInfo mad for the node=<node>. )"
             "Cannot check supported version of Congestion Control attributes"),
         {[](const Facts& facts, const FramePlan&) { return facts.record<CC_EnhancedCongestionInfo>()->ver0 != 0; },
          R"(#error "The node=<node> does not support any version of Congestion Control attributes")"},
         collected<CC_CongestionSwitchGeneralSettings>(
             R"(#error "Failed to get CC_CongestionSwitchGeneralSettings mad for the node=<node>)")}),
    ofNode<IB_ClassPortInfo>("setVSReductionManagerClassPortInfo", "zyr_rma_class_port_info",
        {kIsSwitch, kReduces,
         collected<IB_ClassPortInfo>(R"(#error "Failed to get VS IB_ClassPortInfo mad for the node=<node>)")}),
    ofPorts<ZYRReductionPortInfo>("setZYRReductionPortInfo", "zyrReductionPortInfo", 1,
        {kIsSwitch, kReduces, kHasReductionClass,
         regularPort(R"(#error "Failed to dump ZYRReductionPortInfo MAD. Null pointer is provided.")")}),
    ofNode<ZYRReductionInfo>("setZYRReductionInfo", "zyr_red_info",
        {kIsSwitch, kReduces,
         collected<ZYRReductionInfo>(R"(#error "Failed to get ZYRReductionInfo mad for the node=<node>)")}),
    Rule{"setZYRReductionCounters", kRecordName<ZYRReductionCounters>,
         {kIsSwitch, kReduces, kHasReductionClass,
          regularPort(R"(#error "Failed to dump ZYRReductionCountersInfo MAD. Normal port data is not provided.")"),
          specialPort(R"(#error "Failed to dump ZYRReductionCountersInfo MAD. Special port data is not provided.")")},
         reductionCountersImages, chooseCounterPorts},
    Rule{"setZYRPushReductionCounters", kRecordName<ZYRPushReductionCounters>,
         {kIsSwitch, kReduces, kHasReductionClass,
          regularPort(R"(#error "Failed to dump ZYRPushReductionCountersInfo MAD. Null pointer is provided.")"),
          specialPort(R"(#error "Failed to dump ZYRPushReductionCountersInfo MAD. Special port data is not provided.")")},
         pushCountersImages, choosePushCounterPorts},
};
// clang-format on

void fillIn(std::string& line, std::string_view mark, const std::string& words) {
  if (const std::size_t at = line.find(mark); at != std::string::npos) line.replace(at, mark.size(), words);
}

}  // namespace

std::span<const Rule> rules() { return kBook; }

std::size_t placeOfRule(std::string_view frame) {
  const auto* found = std::ranges::find(kBook, frame, &Rule::frame);
  if (found == kBook.end()) throw std::logic_error(std::string(frame) + ": has no rule to verify it by");
  return static_cast<std::size_t>(found - kBook.begin());
}

const Rule& ruleOf(std::string_view frame) { return kBook.at(placeOfRule(frame)); }

FramePlan planOf(const Rule& rule, const Facts& facts) {
  FramePlan plan = rule.choosePorts != nullptr ? rule.choosePorts(facts) : FramePlan{};
  const auto failed = std::ranges::find_if_not(rule.requirements,
                                               [&](const Requirement& of) { return of.isMet(facts, plan); });
  if (failed == rule.requirements.end()) {
    plan.carriage = Carriage::kCarried;
    return plan;
  }
  std::string line(failed->otherwise);
  fillIn(line, "<SMP rc>", std::to_string(facts.maskError(false)));
  fillIn(line, "<GMP rc>", std::to_string(facts.maskError(true)));
  fillIn(line, "<node>",
         std::string(facts.calledAs));  // the last, so that nothing in a name is taken for a mark
  return {line.starts_with("#error") ? Carriage::kRefused : Carriage::kOmitted, nullptr, nullptr, {}, line};
}

}  // namespace siminfo
