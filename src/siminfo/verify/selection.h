#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// A node whose section a generated file may hold.
struct ExpectedNode {
  const IBNode* node;
  std::size_t alike;  ///< nodes that it stands for, itself included; 0 when it only comes along
  bool isRequired;    ///< the file must hold it
};

/// Which nodes of the snapshot are meant.
struct NodeSelection {
  std::set<std::uint64_t> guids;  ///< empty: any
  bool all = false;               ///< every node, and not one of each shape
};

/// The nodes to generate for a selection, in the order in which they are written. Empty when there is none.
std::vector<ExpectedNode> nodesToGenerate(const Snapshot& snapshot, const NodeSelection& selection);

/// The nodes that a file made for the selection may hold: any of it, but one of each shape at least.
std::vector<ExpectedNode> nodesOfFile(const Snapshot& snapshot, const NodeSelection& selection);

}  // namespace siminfo
