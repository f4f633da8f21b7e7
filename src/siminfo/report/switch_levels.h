#pragma once

#include <vector>

#include "siminfo/inspect/cables.h"

namespace siminfo {

/// Level of a switch that no cable leads to from an end of the fabric, and of a node without cables.
inline constexpr int kNoLevel = -1;

/// How many cables each node of the snapshot is away from the nearest adapter, by the node's recordIndex:
/// adapters 0, the switches that they hang on 1, those above 2. Special nodes may hang on switches of any
/// level, and count as adapters only where there is no other.
std::vector<int> levelsOf(const Snapshot& snapshot, const Cables& cables);

}  // namespace siminfo
