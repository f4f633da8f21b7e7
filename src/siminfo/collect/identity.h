#pragma once

#include <string>
#include <vector>

#include "siminfo/collect/walked_fabric.h"
#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// Tells the snapshot, whose nodes are those of the walk, who they are and what their ports are connected to.
/// `names` are the nodes' names in it, in the order of the walk. Returns a line for every link that is left
/// out because it contradicts another one, as links do where devices share a GUID.
std::vector<std::string> addIdentities(const WalkedFabric& fabric, const std::vector<std::string>& names,
                                       Snapshot& snapshot);

}  // namespace siminfo
