#include "siminfo/inspect/node_matching.h"

#include <algorithm>
#include <span>

namespace siminfo {
namespace {

using Nodes = std::vector<const IBNode*>;

/// By GUID, and nodes of one GUID by name.
Nodes inGuidOrder(const Snapshot& snapshot) {
  Nodes nodes = everyNode(snapshot);
  std::ranges::stable_sort(nodes, {}, &IBNode::guid);
  return nodes;
}

/// The nodes of the GUID at the front, and takes them away.
std::span<const IBNode*> takeGuid(std::span<const IBNode*>& nodes) {
  std::size_t count = 1;
  while (count < nodes.size() && nodes[count]->guid == nodes[0]->guid) ++count;
  const auto taken = nodes.first(count);
  nodes = nodes.subspan(count);
  return taken;
}

}  // namespace

NodeMatching::NodeMatching(const Snapshot& before, const Snapshot& after) {
  Nodes oldNodes = inGuidOrder(before);
  Nodes newNodes = inGuidOrder(after);
  counterparts_[kBefore].resize(oldNodes.size());
  counterparts_[kAfter].resize(newNodes.size());
  std::span<const IBNode*> oldLeft(oldNodes);
  std::span<const IBNode*> newLeft(newNodes);
  while (!oldLeft.empty() && !newLeft.empty()) {
    if (oldLeft[0]->guid < newLeft[0]->guid) {
      takeGuid(oldLeft);
    } else if (newLeft[0]->guid < oldLeft[0]->guid) {
      takeGuid(newLeft);
    } else {
      const auto olds = takeGuid(oldLeft);
      const auto news = takeGuid(newLeft);
      for (const bool byName : {true, false}) {
        for (const IBNode* old : olds) {
          if (counterpart(*old, kBefore) != nullptr) continue;
          const auto found = std::ranges::find_if(news, [&](const IBNode* now) {
            return counterpart(*now, kAfter) == nullptr && (!byName || now->name == old->name);
          });
          if (found != news.end()) match(*old, **found);
        }
      }
    }
  }
}

void NodeMatching::match(const IBNode& before, const IBNode& after) {
  counterparts_[kBefore][before.recordIndex] = &after;
  counterparts_[kAfter][after.recordIndex] = &before;
}

std::vector<NodeMatching::Pair> NodeMatching::choose(const Nodes& before, const Nodes& after, Nodes& removed,
                                                     Nodes& added) const {
  std::vector<Pair> pairs;
  std::vector<bool> isChosen(counterparts_[kAfter].size());
  for (const IBNode* node : after) {
    isChosen[node->recordIndex] = true;
    if (const IBNode* old = counterpart(*node, kAfter))
      pairs.push_back({old, node});
    else
      added.push_back(node);
  }
  const std::size_t inOrder = pairs.size();
  for (const IBNode* node : before) {
    const IBNode* now = counterpart(*node, kBefore);
    if (now == nullptr)
      removed.push_back(node);
    else if (!isChosen[now->recordIndex])
      pairs.push_back({node, now});
  }
  if (pairs.size() > inOrder)
    std::ranges::sort(pairs, {}, [](const Pair& pair) -> const std::string& { return pair.after->name; });
  return pairs;
}

std::string_view NodeMatching::commonName(const IBNode& node, Side side) const {
  const IBNode* later = side == kBefore ? counterpart(node, kBefore) : nullptr;
  return later != nullptr ? later->name : node.name;
}

}  // namespace siminfo
