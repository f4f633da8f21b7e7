#include "siminfo/inspect/snapshot_diff.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <tuple>

#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/inspect/node_matching.h"
#include "siminfo/process/work_queue.h"

namespace siminfo {
namespace {

/// An end of a cable as both snapshots have it in common. Two devices may have had one name, each at its
/// time.
struct CommonEnd {
  std::string_view node;
  std::uint64_t guid;  // 0 of a node that is in neither snapshot
  std::uint8_t port;

  bool operator==(const CommonEnd&) const = default;
  bool operator<(const CommonEnd& other) const {
    return std::tie(node, guid, port) < std::tie(other.node, other.guid, other.port);
  }
};
/// The smaller end first.
using CommonCable = std::pair<CommonEnd, CommonEnd>;

CableEnd spelled(const CommonEnd& end) { return {end.node, end.port}; }

/// Finds the cables of one of two snapshots.
class CableFinder {
 public:
  CableFinder(const Snapshot& before, const Snapshot& after, const NodeMatching& matching,
              NodeMatching::Side side)
      : own_(side == NodeMatching::kBefore ? before : after),
        other_(side == NodeMatching::kBefore ? after : before),
        matching_(matching),
        side_(side) {}

  /// Those with an end at a chosen node, in order and each once.
  std::vector<CommonCable> find(const std::vector<const IBNode*>& nodes) const {
    std::vector<bool> chosen(own_.discovered.fabric.nodeByName.size());
    for (const IBNode* node : nodes) chosen[node->recordIndex] = true;
    std::vector<CommonCable> cables;
    for (const auto& [name, node] : own_.discovered.fabric.nodeByName) {
      for (const IBPort* port : node->ports) {
        const PortIdentity* identity =
            port != nullptr ? own_.portIdentities.find(port->recordIndex) : nullptr;
        if (identity == nullptr || !identity->link) continue;
        const IBNode* far = nodeIn(own_, identity->link->node);
        if (!chosen[node->recordIndex] && (far == nullptr || !chosen[far->recordIndex])) continue;
        const CommonEnd here = endAt(*node, side_, port->num);
        const CommonEnd there = farEnd(*identity->link, far);
        cables.emplace_back(std::min(here, there), std::max(here, there));
      }
    }
    std::sort(cables.begin(), cables.end());
    cables.erase(std::unique(cables.begin(), cables.end()), cables.end());
    return cables;
  }

 private:
  static const IBNode* nodeIn(const Snapshot& snapshot, const std::string& name) {
    const auto& byName = snapshot.discovered.fabric.nodeByName;
    const auto found = byName.find(name);
    return found != byName.end() ? found->second : nullptr;
  }
  CommonEnd endAt(const IBNode& node, NodeMatching::Side side, std::uint8_t port) const {
    return {matching_.commonName(node, side), node.guid, port};
  }
  /// A node that one snapshot names and the other one has is the same as far as can be known.
  CommonEnd farEnd(const Link& link, const IBNode* far) const {
    if (far != nullptr) return endAt(*far, side_, link.port);
    const auto otherSide = side_ == NodeMatching::kBefore ? NodeMatching::kAfter : NodeMatching::kBefore;
    if (const IBNode* known = nodeIn(other_, link.node)) return endAt(*known, otherSide, link.port);
    return {link.node, 0, link.port};
  }

  const Snapshot& own_;
  const Snapshot& other_;
  const NodeMatching& matching_;
  NodeMatching::Side side_;
};

/// The place of a cable in a list of them.
struct CableAtEnd {
  CommonEnd end;
  std::size_t cable;
};

/// By both ends, in order.
std::vector<CableAtEnd> cablesByEnd(const std::vector<CommonCable>& cables) {
  std::vector<CableAtEnd> byEnd;
  byEnd.reserve(2 * cables.size());
  for (std::size_t i = 0; i < cables.size(); ++i) {
    byEnd.push_back({cables[i].first, i});
    byEnd.push_back({cables[i].second, i});
  }
  std::ranges::stable_sort(byEnd, std::less<>{}, &CableAtEnd::end);
  return byEnd;
}

/// Takes a cable that went and one that came for one that was moved where they share an end.
void pairMoved(const std::vector<CommonCable>& removed, const std::vector<CommonCable>& added,
               SnapshotDiff& diff) {
  const std::vector<CableAtEnd> byEnd = added.empty() ? std::vector<CableAtEnd>{} : cablesByEnd(removed);
  std::vector<bool> isMoved(removed.size());
  for (const CommonCable& cable : added) {
    bool isPaired = false;
    for (const bool isFirst : {true, false}) {
      const CommonEnd& end = isFirst ? cable.first : cable.second;
      const auto found = std::ranges::lower_bound(byEnd, end, std::less<>{}, &CableAtEnd::end);
      if (found == byEnd.end() || found->end != end || isMoved[found->cable]) continue;
      const CommonCable& old = removed[found->cable];
      diff.movedCables.push_back({spelled(end), spelled(old.first == end ? old.second : old.first),
                                  spelled(isFirst ? cable.second : cable.first)});
      isMoved[found->cable] = true;
      isPaired = true;
      break;
    }
    if (!isPaired) diff.addedCables.emplace_back(spelled(cable.first), spelled(cable.second));
  }
  for (std::size_t i = 0; i < removed.size(); ++i) {
    if (!isMoved[i]) diff.removedCables.emplace_back(spelled(removed[i].first), spelled(removed[i].second));
  }
}

void compareCables(const std::vector<CommonCable>& before, const std::vector<CommonCable>& after,
                   SnapshotDiff& diff) {
  std::vector<CommonCable> removed;
  std::vector<CommonCable> added;
  std::set_difference(before.begin(), before.end(), after.begin(), after.end(), std::back_inserter(removed));
  std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(added));
  pairMoved(removed, added, diff);
}

/// The changes of every pair, on several threads.
std::vector<std::vector<Change>> compareAll(const std::vector<NodeMatching::Pair>& pairs,
                                            const NodeComparison& comparison, unsigned jobs) {
  std::vector<std::vector<Change>> changes(pairs.size());
  WorkQueue(pairs.size(), [](std::size_t) { return true; }).run(jobs, [&](std::size_t i) {
    changes[i] = comparison.compare(*pairs[i].before, *pairs[i].after);
  });
  return changes;
}

void groupChanges(Snapshot& after, const std::vector<NodeMatching::Pair>& pairs,
                  std::vector<std::vector<Change>> changes, SnapshotDiff& diff) {
  InMemoryDrovik engine(after.discovered, ".");
  const SimInfoDumpCPP generator(engine);
  std::map<std::pair<std::string, std::vector<Change>>, std::size_t> places;
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    if (changes[i].empty()) continue;
    std::string nodeClass = generator.GetDumpedNodeType(*pairs[i].after);
    const auto [found, isNew] =
        places.try_emplace({std::move(nodeClass), std::move(changes[i])}, diff.changed.size());
    if (isNew) diff.changed.push_back({found->first.first, found->first.second, {}});
    diff.changed[found->second].nodes.push_back(pairs[i].after);
  }
  std::ranges::stable_sort(diff.changed, std::greater{},
                           [](const auto& group) { return group.nodes.size(); });
}

}  // namespace

SnapshotDiff compareSnapshots(Snapshot& before, const std::vector<const IBNode*>& oldNodes, Snapshot& after,
                              const std::vector<const IBNode*>& newNodes, const DiffOptions& options) {
  SnapshotDiff diff;
  const NodeMatching matching(before, after);
  const std::vector<NodeMatching::Pair> pairs = matching.choose(oldNodes, newNodes, diff.removed, diff.added);
  diff.compared = pairs.size();
  for (const auto& [old, now] : pairs) {
    if (old->name != now->name) diff.renamed.emplace_back(old, now);
  }
  const NodeComparison comparison(before, after, options.withCounters);
  groupChanges(after, pairs, compareAll(pairs, comparison, std::max(1U, options.jobs)), diff);
  const auto cablesOf = [&](NodeMatching::Side side, const std::vector<const IBNode*>& nodes) {
    return CableFinder(before, after, matching, side).find(nodes);
  };
  compareCables(cablesOf(NodeMatching::kBefore, oldNodes), cablesOf(NodeMatching::kAfter, newNodes), diff);
  return diff;
}

}  // namespace siminfo
