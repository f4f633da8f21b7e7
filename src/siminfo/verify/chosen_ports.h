#pragma once

#include <cstdint>
#include <functional>

#include "siminfo/verify/expectation.h"
#include "siminfo/verify/facts.h"

namespace siminfo {

inline constexpr std::uint32_t kCounterSets = 8;  // per port

/// Sorts the ports above Down, of this sub-fabric and with a value, into special ones and the lowest other.
FramePlan choosePorts(const Facts& facts, const std::function<bool(const IBPort&)>& hasValue);
template <class Record>
FramePlan choosePorts(const Facts& facts) {
  return choosePorts(facts, [&](const IBPort& port) { return facts.record<Record>(port) != nullptr; });
}

FramePlan choosePortInfoPorts(const Facts& facts);
FramePlan choosePortInfoExtendedPort(const Facts& facts);
FramePlan chooseCounterPorts(const Facts& facts);
FramePlan choosePushCounterPorts(const Facts& facts);

}  // namespace siminfo
