#include "siminfo/report/switch_levels.h"

#include <algorithm>
#include <deque>

namespace siminfo {
namespace {

using Nodes = std::deque<const IBNode*>;

bool isCabled(const IBNode& node, const Cables& cables) {
  for (unsigned port = 1; port <= node.numPorts; ++port) {
    if (cables.find(node, static_cast<std::uint8_t>(port)) != nullptr) return true;
  }
  return false;
}

/// The nodes that levels are counted from.
Nodes endsOf(const Snapshot& snapshot, const Cables& cables) {
  Nodes adapters;
  Nodes others;
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) {
    if (node->type == kSwitch || node->type == kRouter || !isCabled(*node, cables)) continue;
    (node->isSpecialNode() ? others : adapters).push_back(node);
  }
  return adapters.empty() ? others : adapters;
}

}  // namespace

std::vector<int> levelsOf(const Snapshot& snapshot, const Cables& cables) {
  std::uint32_t places = 0;
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName)
    places = std::max(places, node->recordIndex + 1);
  std::vector<int> levels(places, kNoLevel);
  Nodes next = endsOf(snapshot, cables);
  for (const IBNode* end : next) levels[end->recordIndex] = 0;
  for (; !next.empty(); next.pop_front()) {
    const IBNode& node = *next.front();
    for (unsigned port = 1; port <= node.numPorts; ++port) {
      const Cables::Far* far = cables.find(node, static_cast<std::uint8_t>(port));
      if (far == nullptr || far->node == nullptr || levels[far->node->recordIndex] != kNoLevel) continue;
      levels[far->node->recordIndex] = levels[node.recordIndex] + 1;
      next.push_back(far->node);
    }
  }
  return levels;
}

}  // namespace siminfo
