#pragma once

#include "siminfo/collect/port_choice.h"
#include "siminfo/collect/smp_exchange.h"
#include "siminfo/collect/walked_fabric.h"

namespace siminfo {

/// How far and how fast to walk.
struct WalkLimits {
  SmpTiming timing;
  unsigned outstanding = 2;
  unsigned maxHops = 0;  ///< 0: no limit
};

/// Walks the fabric from a port of this host with the distribution's discovery library. When the watch says
/// that it is interrupted, what was found until then is returned. Throws a CollectError when there is not
/// even the local node.
WalkedFabric discoverFabric(const HostPort& port, const WalkLimits& limits, SmpWatch& watch,
                            std::size_t& nodesFound);

}  // namespace siminfo
