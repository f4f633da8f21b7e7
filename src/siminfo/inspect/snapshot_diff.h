#pragma once

#include <string>
#include <utility>
#include <vector>

#include "siminfo/inspect/node_comparison.h"

namespace siminfo {

/// An end of a cable: a port of a node, which need not be in the snapshot and is known by its name then.
struct CableEnd {
  std::string_view node;  ///< of one of the two snapshots
  std::uint8_t port = 0;
};
using CableEnds = std::pair<CableEnd, CableEnd>;

/// A cable of which one end stayed where it was.
struct MovedCable {
  CableEnd stayed;
  CableEnd before;
  CableEnd after;
};

/// What became of a fabric between two snapshots of it. Nodes are the same when their GUIDs are. Names of
/// nodes are those of the later snapshot, but for nodes that are in the earlier one alone. Nodes are
/// borrowed.
struct SnapshotDiff {
  /// Nodes that changed alike.
  struct Group {
    std::string nodeClass;
    std::vector<Change> changes;
    std::vector<const IBNode*> nodes;  ///< of the later snapshot
  };
  std::size_t compared = 0;  ///< nodes that are in both
  std::vector<const IBNode*> added;
  std::vector<const IBNode*> removed;
  std::vector<std::pair<const IBNode*, const IBNode*>> renamed;  ///< before and after
  std::vector<MovedCable> movedCables;
  std::vector<CableEnds> addedCables;    ///< cables of added nodes included
  std::vector<CableEnds> removedCables;  ///< cables of removed nodes included
  std::vector<Group> changed;            ///< the largest first

  bool isSame() const {
    return added.empty() && removed.empty() && renamed.empty() && movedCables.empty() &&
           addedCables.empty() && removedCables.empty() && changed.empty();
  }
};

struct DiffOptions {
  bool withCounters = false;
  unsigned jobs = 1;  ///< threads that compare
};

/// Compares the given nodes; cables are those with an end at one of them.
SnapshotDiff compareSnapshots(Snapshot& before, const std::vector<const IBNode*>& oldNodes, Snapshot& after,
                              const std::vector<const IBNode*>& newNodes, const DiffOptions& options);

}  // namespace siminfo
