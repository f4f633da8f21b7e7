#include "siminfo/verify/expectation.h"

#include <algorithm>
#include <array>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "siminfo/simulator/record_layout.h"
#include "siminfo/verify/plans.h"

namespace siminfo {
namespace {

using Images = std::vector<ExpectedImage>;

/// What the image of that name holds once it holds the record.
template <class Record>
ExpectedImage imageOf(std::string name, const Record& record, std::string place = {}) {
  ExpectedImage image{std::move(name), std::move(place), {}};
  for (const NumberLayout& number : recordLayout<Record>().numbers)
    image.numbers.push_back({number.path, number.bit, number.bits, number.valueIn(&record)});
  return image;
}

void dropField(ExpectedImage& image, std::string_view field) {
  std::erase_if(image.numbers, [&](const ExpectedNumber& number) { return number.field == field; });
}

std::string indexed(const std::string& member, std::size_t index) {
  return member + "[" + std::to_string(index) + "]";
}
std::string portPlace(std::size_t port) { return std::string("port ").append(std::to_string(port)); }

/// Which port's record the index of a generated loop gets.
const IBPort* sourceOf(const FramePlan& plan, std::size_t index) {
  if (index == 0) return plan.zero != nullptr ? plan.zero : plan.regular;
  const auto found = plan.special.find(static_cast<std::uint8_t>(index));
  return found != plan.special.end() ? found->second : plan.regular;
}

/// An image for every port index of the simulated node from `first` on.
template <class Record>
Images byPort(const Facts& facts, const FramePlan& plan, const std::string& member, std::size_t first) {
  Images images;
  for (std::size_t index = first; index <= facts.node.numPorts; ++index)
    images.push_back(
        imageOf(indexed(member, index), *facts.record<Record>(*sourceOf(plan, index)), portPlace(index)));
  return images;
}

/// The partition-key tables take the size that was restored.
Images nodeInfoImages(const Facts& facts, const FramePlan&) {
  const auto& record = *facts.record<SMP_NodeInfo>();
  Images images{imageOf("nodeInfo", record)};
  for (std::size_t index = 0; index <= facts.node.numPorts; ++index)
    images.push_back({indexed("portPkeyTables", index),
                      portPlace(index) + ", partition-key table",
                      {{"entries", 0, 32, record.PartitionCap}}});
  return images;
}

Images portInfoImages(const Facts& facts, const FramePlan& plan) {
  Images images = byPort<SMP_PortInfo>(facts, plan, "nodePortsInfo", 0);
  for (std::size_t index = 0; index < images.size(); ++index) {
    // No simulated port hosts a subnet manager.
    std::ranges::find(images[index].numbers, "CapMsk", &ExpectedNumber::field)->value &= 0xfffffffdU;
    const bool isOrdinary = index > 0 && !plan.special.contains(static_cast<std::uint8_t>(index));
    if (facts.isSwitch() && facts.node.orbelSwitch && isOrdinary) dropField(images[index], "LinkWidthSup");
  }
  return images;
}

Images extendedPortInfoImages(const Facts& facts, const FramePlan& plan) {
  return byPort<SMP_KrelExtPortInfo>(facts, plan, "nodeExtPortsInfo", 0);
}
Images portInfoExtendedImages(const Facts& facts, const FramePlan& plan) {
  return byPort<SMP_PortInfoExtended>(facts, plan, "nodePortsInfoExt", 0);
}
/// The reduction loops begin at port 1.
Images reductionPortInfoImages(const Facts& facts, const FramePlan& plan) {
  return byPort<ZYRReductionPortInfo>(facts, plan, "zyrReductionPortInfo", 1);
}

template <bool IsGMP>
Images maskImages(const Facts& facts, const FramePlan&) {
  const auto& words = facts.mask(IsGMP)->words;
  const GeneralInfoCapabilityMask mask{words[0], words[1], words[2], words[3]};
  return {imageOf(IsGMP ? "capMaskGMP" : "capMaskSMP", mask)};
}

Images firmwareImages(const Facts& facts, const FramePlan&) {
  return {imageOf("fwInfo", facts.record<VSGeneralInfo>()->FWInfo)};
}
Images hardwareImages(const Facts& facts, const FramePlan&) {
  return {imageOf("hwInfo", facts.record<VSGeneralInfo>()->HWInfo)};
}
Images softwareImages(const Facts& facts, const FramePlan&) {
  return {imageOf("swInfo", facts.record<VSGeneralInfo>()->SWInfo)};
}

/// Every set of a port under the port's own number; the ports without special sets share one port's.
Images reductionCountersImages(const Facts& facts, const FramePlan& plan) {
  Images images;
  const auto addSets = [&](const IBPort& port) {
    for (std::uint32_t set = 0; set < kCounterSets; ++set) {
      const auto* record = facts.records().getZYRReductionCounters(port.recordIndex, set);
      if (record == nullptr) continue;
      std::ostringstream name;
      std::ostringstream place;
      name << "counterSets[" << +port.num << ", " << set << ", 15]";
      place << portPlace(port.num) << ", counter set " << set;
      images.push_back(imageOf(name.str(), *record, place.str()));
    }
  };
  addSets(*plan.regular);
  for (const auto& [num, port] : plan.special) addSets(*port);
  return images;
}

/// Sets are stored by their headers, so of two ports with the same headers the later one's counters stay.
Images pushCountersImages(const Facts& facts, const FramePlan& plan) {
  std::map<std::string, ExpectedImage> images;
  for (std::size_t index = 1; index <= facts.node.numPorts; ++index) {
    const auto& record = *facts.record<ZYRPushReductionCounters>(*sourceOf(plan, index));
    const std::string key = std::to_string(record.header0) + ", " + std::to_string(record.header1);
    ExpectedImage image = imageOf("pushCounters[" + key + "]", record, "push counters of headers " + key);
    dropField(image, "header0");  // they are the key, and nothing stores them
    dropField(image, "header1");
    images[key] = std::move(image);
  }
  Images all;
  for (auto& [key, image] : images) all.push_back(std::move(image));
  return all;
}

struct Rule {
  std::string_view frame;
  std::string_view record;  ///< as snapshots name it; empty for the capability masks
  FramePlan (*plan)(const Facts&);
  std::function<Images(const Facts&, const FramePlan&)> images;  ///< of a frame that is carried
};

template <class Record, class MakeImages>
Rule rule(std::string_view frame, FramePlan (*plan)(const Facts&), MakeImages images) {
  return {frame, kRecordName<Record>, plan, images};
}
/// The frame of an attribute that a node has once, in an image that takes the record as it is.
template <class Record>
Rule ruleOfNode(std::string_view frame, FramePlan (*plan)(const Facts&), const char* image) {
  return rule<Record>(frame, plan, [image](const Facts& facts, const FramePlan&) -> Images {
    return {imageOf(image, *facts.record<Record>())};
  });
}

const std::array kRules{
    rule<SMP_NodeInfo>("setNodeInfo", planNodeInfo, nodeInfoImages),
    rule<SMP_PortInfo>("setPortInfo", planPortInfo, portInfoImages),
    Rule{"setGMPCapability", "", planGmpMask, maskImages<true>},
    Rule{"setSMPCapability", "", planSmpMask, maskImages<false>},
    rule<VSGeneralInfo>("setFWInfo", planGeneralInfo, firmwareImages),
    rule<VSGeneralInfo>("setHWInfo", planGeneralInfo, hardwareImages),
    rule<VSGeneralInfo>("setSWInfo", planGeneralInfo, softwareImages),
    rule<SMP_PortInfoExtended>("setPortInfoExtended", planPortInfoExtended, portInfoExtendedImages),
    ruleOfNode<ib_extended_node_info>("setExtendedNodeInfo", planExtendedNodeInfo, "extNodeInfo"),
    rule<SMP_KrelExtPortInfo>("setExtendedPortInfo", planExtendedPortInfo, extendedPortInfoImages),
    ruleOfNode<adaptive_routing_info>("setArInfo", planAdaptiveRouting, "AdaptiveRoutingInfo"),
    ruleOfNode<SMP_RouterInfo>("setRouterInfo", planRouterInfo, "routerInfo"),
    ruleOfNode<SMP_ExtendedSwitchInfo>("setExtendedSwitchInfo", planExtendedSwitchInfo, "extendedSwitchInfo"),
    ruleOfNode<SMP_SwitchInfo>("setSwitchInfo", planSwitchInfo, "switchInfo"),
    ruleOfNode<ib_private_lft_info>("setPrivateLftInfo", planPrivateLft, "plftInfo"),
    ruleOfNode<CC_EnhancedCongestionInfo>("setEnhancedCongestionInfo", planEnhancedCongestion,
                                          "enhancedCongestionInfo"),
    ruleOfNode<CC_CongestionSwitchGeneralSettings>("setCongestionSwitchGeneralSettings",
                                                   planCongestionSettings, "congSWGeneralInfo"),
    ruleOfNode<IB_ClassPortInfo>("setVSReductionManagerClassPortInfo", planReductionClassPortInfo,
                                 "zyr_rma_class_port_info"),
    rule<ZYRReductionPortInfo>("setZYRReductionPortInfo", planReductionPortInfo, reductionPortInfoImages),
    ruleOfNode<ZYRReductionInfo>("setZYRReductionInfo", planReductionInfo, "zyr_red_info"),
    rule<ZYRReductionCounters>("setZYRReductionCounters", planReductionCounters, reductionCountersImages),
    rule<ZYRPushReductionCounters>("setZYRPushReductionCounters", planPushCounters, pushCountersImages),
};

const Rule& ruleOf(std::string_view frame) {
  const auto* found = std::ranges::find(kRules, frame, &Rule::frame);
  if (found == kRules.end()) throw std::logic_error(std::string(frame) + ": has no rule to verify it by");
  return *found;
}

}  // namespace

std::string Expectation::nodeClass() const {
  switch (node_.type) {
    case kSwitch:
      return "SW";
    case kRouter:
      return "RTR";
    default:
      if (!node_.specialNodeType) return "HCA";
      return *node_.specialNodeType == 1 ? "AN" : "Unknown";
  }
}

FramePlan Expectation::plan(std::string_view frame) const { return ruleOf(frame).plan({snapshot_, node_}); }

std::vector<ExpectedImage> Expectation::images(std::string_view frame) const {
  const Rule& rule = ruleOf(frame);
  const Facts facts{snapshot_, node_};
  const FramePlan plan = rule.plan(facts);
  if (plan.carriage != Carriage::kCarried) return {};
  return rule.images(facts, plan);
}

std::string Expectation::absence(std::string_view frame) const {
  const std::string record(ruleOf(frame).record);
  const auto reasonIn = [&](const std::map<std::uint32_t, AbsentRecords>& absent, std::uint32_t index) {
    const auto of = absent.find(index);
    if (of == absent.end()) return std::string();
    const auto found = of->second.find(record);
    return found != of->second.end() ? found->second : std::string();
  };
  if (std::string reason = reasonIn(snapshot_.absentOnNodes, node_.recordIndex); !reason.empty())
    return reason;
  for (const IBPort* port : node_.ports) {
    if (port == nullptr) continue;
    const std::string reason = reasonIn(snapshot_.absentOnPorts, port->recordIndex);
    if (!reason.empty()) return portPlace(port->num) + ": " + reason;
  }
  return {};
}

std::vector<std::pair<unsigned, unsigned>> Expectation::pushKeys() const {
  std::vector<std::pair<unsigned, unsigned>> keys;
  const FramePlan ports = plan("setZYRPushReductionCounters");
  if (ports.carriage != Carriage::kCarried) return keys;
  const auto add = [&](const IBPort& port) {
    const auto* record = snapshot_.discovered.records.find<ZYRPushReductionCounters>(port.recordIndex);
    keys.emplace_back(record->header0, record->header1);
  };
  add(*ports.regular);
  for (const auto& [num, port] : ports.special) add(*port);
  return keys;
}

}  // namespace siminfo
