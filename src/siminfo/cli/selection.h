#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "siminfo/core/fabric.h"

namespace siminfo {

/// The nodes of the sub-fabric with one of the GUIDs, or all of its nodes when there are none, in name order.
/// Warns of GUIDs that are no node's. Throws a CommandError when nothing is selected; `snapshot` is what the
/// message calls the fabric.
std::vector<const IBNode*> selectNodes(const IBFabric& fabric, const std::set<std::uint64_t>& guids,
                                       const std::string& snapshot);

/// "a, b and 3 more": the first eight of the names.
std::string someOf(const std::vector<std::string>& names);

/// "1 node", "2 nodes".
std::string counted(std::size_t number, const std::string& thing);

}  // namespace siminfo
