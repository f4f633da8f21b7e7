#pragma once

#include "siminfo/collect/port_choice.h"
#include "siminfo/collect/smp_exchange.h"
#include "siminfo/collect/walked_fabric.h"

namespace siminfo {

/// Walks the fabric from a port of this host with the distribution's discovery library. When the watch says
/// that it is interrupted, what was found until then is returned. Throws a CollectError when not even the
/// local node answers.
WalkedFabric discoverFabric(const HostPort& port, const WalkLimits& limits, SmpWatch& watch,
                            std::size_t& nodesFound);

}  // namespace siminfo
