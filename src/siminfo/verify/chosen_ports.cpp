#include "siminfo/verify/chosen_ports.h"

namespace siminfo {
namespace {

bool hasMonitor(const Facts& facts, const IBPort& port, std::uint8_t monitor) {
  return facts.records().getZYRReductionConfigureMLIDMonitors(port.recordIndex, monitor) != nullptr;
}

}  // namespace

FramePlan choosePorts(const Facts& facts, const std::function<bool(const IBPort&)>& hasValue) {
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

void addExactPorts(FramePlan& plan, const Facts& facts, const std::function<bool(const IBPort&)>& hasValue,
                   const std::function<bool(const IBPort& one, const IBPort& other)>& isSame) {
  if (!facts.exactPorts) return;
  for (std::size_t num = 1; num < facts.node.ports.size(); ++num) {
    const IBPort* port = facts.node.ports[num];
    if (port == nullptr || !port->inSubFabric || !hasValue(*port)) continue;
    const bool isShared = port->portState >= 2 && plan.regular != nullptr &&
                          (port == plan.regular || isSame(*plan.regular, *port));
    if (!isShared) plan.special.try_emplace(port->num, port);
  }
}

/// A switch's port 0 takes part whatever its state. Other nodes do not tell ports apart.
FramePlan choosePortInfoPorts(const Facts& facts) {
  const auto hasValue = [&](const IBPort& port) { return facts.record<SMP_PortInfo>(port) != nullptr; };
  FramePlan plan = choosePorts(facts, hasValue);
  if (!facts.isSwitch()) {
    plan.special.clear();
    return plan;
  }
  const auto written = [&](const IBPort& port) {
    SMP_PortInfo record = *facts.record<SMP_PortInfo>(port);
    record.CapMsk &= 0xfffffffdU;                         // no simulated port hosts a subnet manager
    if (facts.node.orbelSwitch) record.LinkWidthSup = 0;  // ordinary ports keep theirs
    return record;
  };
  addExactPorts(plan, facts, hasValue,
                [&](const IBPort& one, const IBPort& other) { return written(one) == written(other); });
  const IBPort* zero = facts.node.ports[0];
  if (zero != nullptr && facts.record<SMP_PortInfo>(*zero) != nullptr) plan.zero = zero;
  return plan;
}

/// Special or not, the lowest port with a record stands for every port.
FramePlan choosePortInfoExtendedPort(const Facts& facts) {
  const FramePlan ports = choosePorts(
      facts, [&](const IBPort& port) { return facts.record<SMP_PortInfoExtended>(port) != nullptr; });
  FramePlan plan;
  plan.regular = ports.regular;
  if (!ports.special.empty() && (plan.regular == nullptr || ports.special.begin()->first < plan.regular->num))
    plan.regular = ports.special.begin()->second;
  return plan;
}

/// Counter sets stand under their port's number, so no port's are another one's.
FramePlan chooseCounterPorts(const Facts& facts) {
  const auto hasValue = [&](const IBPort& port) {
    bool any = false;
    for (std::uint32_t set = 0; set < kCounterSets; ++set)
      any = any || facts.records().getZYRReductionCounters(port.recordIndex, set) != nullptr;
    return any && hasMonitor(facts, port, 0);
  };
  FramePlan plan = choosePorts(facts, hasValue);
  addExactPorts(plan, facts, hasValue, [](const IBPort&, const IBPort&) { return false; });
  return plan;
}

FramePlan choosePushCounterPorts(const Facts& facts) {
  using Counters = ZYRPushReductionCounters;
  const auto hasValue = [&](const IBPort& port) {
    return facts.record<Counters>(port) != nullptr && hasMonitor(facts, port, 1);
  };
  FramePlan plan = choosePorts(facts, hasValue);
  addExactPorts(plan, facts, hasValue, [&](const IBPort& one, const IBPort& other) {
    return *facts.record<Counters>(one) == *facts.record<Counters>(other);
  });
  return plan;
}

}  // namespace siminfo
