#pragma once

#include <cstdint>
#include <functional>

#include "siminfo/verify/expectation.h"
#include "siminfo/verify/facts.h"

namespace siminfo {

inline constexpr std::uint32_t kCounterSets = 8;  // per port

/// Sorts the ports above Down, of this sub-fabric and with a value, into special ones and the lowest other.
FramePlan choosePorts(const Facts& facts, const std::function<bool(const IBPort&)>& hasValue);

/// Where ports with values of their own have branches: adds to the special ports every other port of this
/// sub-fabric that has a value, a Down one too, but for those whose value is that of the lowest.
void addExactPorts(FramePlan& plan, const Facts& facts, const std::function<bool(const IBPort&)>& hasValue,
                   const std::function<bool(const IBPort& one, const IBPort& other)>& isSame);

template <class Record>
FramePlan choosePorts(const Facts& facts) {
  const auto hasValue = [&](const IBPort& port) { return facts.record<Record>(port) != nullptr; };
  FramePlan plan = choosePorts(facts, hasValue);
  addExactPorts(plan, facts, hasValue, [&](const IBPort& one, const IBPort& other) {
    return *facts.record<Record>(one) == *facts.record<Record>(other);
  });
  return plan;
}

FramePlan choosePortInfoPorts(const Facts& facts);
FramePlan choosePortInfoExtendedPort(const Facts& facts);
FramePlan chooseCounterPorts(const Facts& facts);
FramePlan choosePushCounterPorts(const Facts& facts);

}  // namespace siminfo
