#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "siminfo/collect/walked_fabric.h"

namespace siminfo {

/// Names that the user gives to GUIDs.
using NodeNameMap = std::map<std::uint64_t, std::string>;

/// Reads lines of the form `0x<guid> "<name>"`; '#' begins a comment. Of several names for a GUID the first
/// one stands. Throws a CollectError.
NodeNameMap readNodeNameMap(const std::string& fileName);

/// A name for each node, in the nodes' order: its cleaned description where no other node of the fabric has
/// the same, and otherwise that with the GUID behind it. Every name is unique and not empty.
std::vector<std::string> nodeNames(const std::vector<WalkedNode>& nodes);

/// What else the node is called: its entry in the map, or the description where that is not its name.
std::string alternativeName(const WalkedNode& node, const NodeNameMap& map);

}  // namespace siminfo
