#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "siminfo/core/in_memory/in_memory_drovik.h"
#include "siminfo/snapshot/identity.h"

namespace siminfo {

/// Why records of a node or a port were not collected: record name to reason.
using AbsentRecords = std::map<std::string, std::string>;

/// A fabric snapshot in memory: the discovered fabric, and what the file says about it besides.
struct Snapshot {
  std::string source;       ///< what was collected from; may be empty
  std::string collectedAt;  ///< when, in the file's own words; may be empty
  std::string fabric;       ///< the name that its owner gives the fabric; may be empty
  DiscoveredFabric discovered;
  std::map<std::uint32_t, AbsentRecords> absentOnNodes;  ///< by the node's recordIndex
  std::map<std::uint32_t, AbsentRecords> absentOnPorts;  ///< by the port's recordIndex
  RecordColumn<NodeIdentity> nodeIdentities;             ///< by the node's recordIndex
  RecordColumn<PortIdentity> portIdentities;             ///< by the port's recordIndex
};

/// The nodes of a snapshot in the order of their names, whether they take part in a run or not.
inline std::vector<const IBNode*> everyNode(const Snapshot& snapshot) {
  std::vector<const IBNode*> nodes;
  nodes.reserve(snapshot.discovered.fabric.nodeByName.size());
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) nodes.push_back(node);
  return nodes;
}

}  // namespace siminfo
