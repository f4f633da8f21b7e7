#include "siminfo/verify/plans.h"

namespace siminfo {
namespace {

FramePlan carriedIf(bool condition, Carriage otherwise) {
  return {condition ? Carriage::kCarried : otherwise, nullptr, nullptr, {}};
}

/// Sorts the ports above Down, of this sub-fabric and with a value, into special ones and the lowest other.
template <class HasValue>
FramePlan choosePorts(const Facts& facts, HasValue hasValue) {
  FramePlan plan;
  for (std::size_t num = 1; num < facts.node.ports.size(); ++num) {
    const IBPort* port = facts.node.ports[num];
    if (port == nullptr || port->portState < 2 || !port->inSubFabric || !hasValue(*port)) continue;
    if (port->special || port->fnm || port->fnm1)
      plan.special[port->num] = port;
    else if (plan.regular == nullptr)
      plan.regular = port;
  }
  return plan;
}
template <class Record>
FramePlan choosePorts(const Facts& facts) {
  return choosePorts(facts, [&](const IBPort& port) { return facts.record<Record>(port) != nullptr; });
}

FramePlan decide(FramePlan plan, bool carried, Carriage otherwise) {
  plan.carriage = carried ? Carriage::kCarried : otherwise;
  return plan;
}

template <class Record>
FramePlan ofSwitch(const Facts& facts) {
  return carriedIf(facts.isSwitch() && facts.record<Record>() != nullptr, Carriage::kOmitted);
}

bool reduces(const Facts& facts) { return facts.isSwitch() && facts.hasSMP(55); }

template <class Record>
FramePlan reductionOfNode(const Facts& facts) {
  return reduces(facts) ? carriedIf(facts.record<Record>() != nullptr, Carriage::kRefused) : FramePlan{};
}

/// Per-port reduction is refused without the class port info, and the counters without a special port too.
FramePlan reductionOfPorts(const Facts& facts, const FramePlan& ports, bool needsSpecial) {
  if (!reduces(facts)) return {};
  return decide(ports,
                facts.record<IB_ClassPortInfo>() != nullptr && ports.regular != nullptr &&
                    !(needsSpecial && ports.special.empty()),
                Carriage::kRefused);
}

bool hasMonitor(const Facts& facts, const IBPort& port, std::uint8_t monitor) {
  return facts.records().getZYRReductionConfigureMLIDMonitors(port.recordIndex, monitor) != nullptr;
}

}  // namespace

FramePlan planNodeInfo(const Facts& facts) {
  return carriedIf(facts.record<SMP_NodeInfo>() != nullptr, Carriage::kRefused);
}

FramePlan planSwitchInfo(const Facts& facts) { return ofSwitch<SMP_SwitchInfo>(facts); }
FramePlan planExtendedSwitchInfo(const Facts& facts) { return ofSwitch<SMP_ExtendedSwitchInfo>(facts); }

FramePlan planRouterInfo(const Facts& facts) {
  return carriedIf(facts.node.type == kRouter && facts.record<SMP_RouterInfo>() != nullptr,
                   Carriage::kOmitted);
}

FramePlan planGeneralInfo(const Facts& facts) {
  return carriedIf(!facts.node.specialNodeType && facts.record<VSGeneralInfo>() != nullptr,
                   Carriage::kOmitted);
}

FramePlan planSmpMask(const Facts& facts) {
  return carriedIf(facts.mask(false) != nullptr, Carriage::kRefused);
}
FramePlan planGmpMask(const Facts& facts) {
  if (facts.node.specialNodeType) return {};
  return carriedIf(facts.mask(true) != nullptr, Carriage::kRefused);
}

FramePlan planPortInfo(const Facts& facts) {
  FramePlan plan = choosePorts<SMP_PortInfo>(facts);
  if (!facts.isSwitch()) {
    plan.special.clear();
    return decide(plan, plan.regular != nullptr, Carriage::kRefused);
  }
  const IBPort* zero = facts.node.ports[0];
  if (zero != nullptr && facts.record<SMP_PortInfo>(*zero) != nullptr) plan.zero = zero;
  return decide(plan, plan.zero != nullptr && plan.regular != nullptr, Carriage::kRefused);
}

FramePlan planExtendedPortInfo(const Facts& facts) {
  if (!facts.hasSMP(9)) return {};
  const FramePlan plan = choosePorts<SMP_KrelExtPortInfo>(facts);
  return decide(plan, plan.regular != nullptr, Carriage::kOmitted);
}

/// Special or not, the lowest port with a record stands for every port.
FramePlan planPortInfoExtended(const Facts& facts) {
  const FramePlan ports = choosePorts<SMP_PortInfoExtended>(facts);
  FramePlan plan;
  plan.regular = ports.regular;
  if (!ports.special.empty() && (plan.regular == nullptr || ports.special.begin()->first < plan.regular->num))
    plan.regular = ports.special.begin()->second;
  return decide(plan, plan.regular != nullptr, Carriage::kOmitted);
}

FramePlan planExtendedNodeInfo(const Facts& facts) {
  return carriedIf(facts.hasSMP(13) && facts.record<ib_extended_node_info>() != nullptr, Carriage::kOmitted);
}

FramePlan planAdaptiveRouting(const Facts& facts) {
  if (!facts.isSwitch()) return {};
  return carriedIf(facts.hasSMP(2) && facts.record<adaptive_routing_info>() != nullptr, Carriage::kRefused);
}

FramePlan planPrivateLft(const Facts& facts) {
  if (!facts.isSwitch()) return {};
  return carriedIf(facts.hasSMP(0) && facts.hasSMP(12) && facts.record<ib_private_lft_info>() != nullptr,
                   Carriage::kRefused);
}

FramePlan planEnhancedCongestion(const Facts& facts) {
  if (facts.node.specialNodeType) return {};
  return carriedIf(facts.hasSMP(44) && facts.record<CC_EnhancedCongestionInfo>() != nullptr,
                   Carriage::kRefused);
}

FramePlan planCongestionSettings(const Facts& facts) {
  if (!facts.isSwitch()) return {};
  const auto* versions = facts.record<CC_EnhancedCongestionInfo>();
  return carriedIf(versions != nullptr && versions->ver0 != 0 &&
                       facts.record<CC_CongestionSwitchGeneralSettings>() != nullptr,
                   Carriage::kRefused);
}

FramePlan planReductionClassPortInfo(const Facts& facts) { return reductionOfNode<IB_ClassPortInfo>(facts); }
FramePlan planReductionInfo(const Facts& facts) { return reductionOfNode<ZYRReductionInfo>(facts); }

FramePlan planReductionPortInfo(const Facts& facts) {
  return reductionOfPorts(facts, choosePorts<ZYRReductionPortInfo>(facts), false);
}

FramePlan planReductionCounters(const Facts& facts) {
  const auto hasSets = [&](const IBPort& port) {
    bool any = false;
    for (std::uint32_t set = 0; set < kCounterSets; ++set)
      any = any || facts.records().getZYRReductionCounters(port.recordIndex, set) != nullptr;
    return any && hasMonitor(facts, port, 0);
  };
  return reductionOfPorts(facts, choosePorts(facts, hasSets), true);
}

FramePlan planPushCounters(const Facts& facts) {
  const auto hasSet = [&](const IBPort& port) {
    return facts.record<ZYRPushReductionCounters>(port) != nullptr && hasMonitor(facts, port, 1);
  };
  return reductionOfPorts(facts, choosePorts(facts, hasSet), true);
}

}  // namespace siminfo
