#pragma once

#include <string_view>
#include <vector>

#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// Which node of one snapshot is which of another: the one of the same GUID. Of several with one GUID those
/// of the same name belong together, and the others in the order of their names. Snapshots are borrowed.
class NodeMatching {
 public:
  enum Side : bool { kBefore, kAfter };
  struct Pair {
    const IBNode* before;
    const IBNode* after;
  };

  NodeMatching(const Snapshot& before, const Snapshot& after);

  /// The node of the other snapshot that this one of `side` was or became, or null.
  const IBNode* counterpart(const IBNode& node, Side side) const {
    return counterparts_[side][node.recordIndex];
  }
  /// The name that a node of `side` has in common with its counterpart: the later one.
  std::string_view commonName(const IBNode& node, Side side) const;

  /// The pairs of which one node is chosen, in the order of their later names; chosen nodes without a
  /// counterpart are added to `removed` and `added`. Nodes are given in name order.
  std::vector<Pair> choose(const std::vector<const IBNode*>& before, const std::vector<const IBNode*>& after,
                           std::vector<const IBNode*>& removed, std::vector<const IBNode*>& added) const;

 private:
  void match(const IBNode& before, const IBNode& after);

  std::vector<const IBNode*> counterparts_[2];  // of each side, by recordIndex
};

}  // namespace siminfo
