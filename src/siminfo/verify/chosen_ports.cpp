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

/// A switch's port 0 takes part whatever its state. Other nodes do not tell ports apart.
FramePlan choosePortInfoPorts(const Facts& facts) {
  FramePlan plan = choosePorts<SMP_PortInfo>(facts);
  if (!facts.isSwitch()) {
    plan.special.clear();
    return plan;
  }
  const IBPort* zero = facts.node.ports[0];
  if (zero != nullptr && facts.record<SMP_PortInfo>(*zero) != nullptr) plan.zero = zero;
  return plan;
}

/// Special or not, the lowest port with a record stands for every port.
FramePlan choosePortInfoExtendedPort(const Facts& facts) {
  const FramePlan ports = choosePorts<SMP_PortInfoExtended>(facts);
  FramePlan plan;
  plan.regular = ports.regular;
  if (!ports.special.empty() && (plan.regular == nullptr || ports.special.begin()->first < plan.regular->num))
    plan.regular = ports.special.begin()->second;
  return plan;
}

FramePlan chooseCounterPorts(const Facts& facts) {
  return choosePorts(facts, [&](const IBPort& port) {
    bool any = false;
    for (std::uint32_t set = 0; set < kCounterSets; ++set)
      any = any || facts.records().getZYRReductionCounters(port.recordIndex, set) != nullptr;
    return any && hasMonitor(facts, port, 0);
  });
}

FramePlan choosePushCounterPorts(const Facts& facts) {
  return choosePorts(facts, [&](const IBPort& port) {
    return facts.record<ZYRPushReductionCounters>(port) != nullptr && hasMonitor(facts, port, 1);
  });
}

}  // namespace siminfo
