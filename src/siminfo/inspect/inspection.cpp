#include "siminfo/inspect/inspection.h"

#include <algorithm>
#include <set>
#include <tuple>

namespace siminfo {

bool Inspection::hasErrors() const {
  return std::ranges::any_of(
      letters, [](const std::string& each) { return each.find(letterOf(BodyKind::kError)) != each.npos; });
}

Inspection inspect(Snapshot& snapshot, const std::vector<const IBNode*>& nodes) {
  InMemoryDrovik engine(snapshot.discovered, ".");
  Inspection inspection{ModelWriter(engine, false).findModels(nodes), {}, {}};
  for (const Model& model : inspection.set.models) {
    inspection.outcomes.push_back(runFrames(engine, *model.first, std::string(kAnyNode)));
    inspection.letters.push_back(lettersOf(inspection.outcomes.back()));
  }
  return inspection;
}

std::vector<NodeGroup> groupNodes(const Snapshot& snapshot, const Inspection& inspection) {
  using Key = std::tuple<std::string_view, unsigned, bool, std::uint32_t, std::uint16_t, std::string_view>;
  std::map<Key, NodeGroup> groups;
  std::map<Key, std::set<std::size_t>> models;
  for (std::size_t member = 0; member < inspection.set.nodes.size(); ++member) {
    const auto& [node, at] = inspection.set.nodes[member];
    const Model& model = inspection.set.models[at];
    const std::string& letters = inspection.letters[at];
    const auto* device = snapshot.discovered.records.find<SMP_NodeInfo>(node->recordIndex);
    const Key key(model.nodeClass, model.ports, device != nullptr, device != nullptr ? device->VendorID : 0,
                  device != nullptr ? device->DeviceID : std::uint16_t{0}, letters);
    NodeGroup& group =
        groups.try_emplace(key, NodeGroup{model.nodeClass, model.ports, device, letters, 0, 0, node, {}})
            .first->second;
    ++group.nodes;
    group.members.push_back(member);
    models[key].insert(at);
  }
  std::vector<NodeGroup> rows;
  rows.reserve(groups.size());
  for (auto& [key, group] : groups) {
    group.models = models[key].size();
    rows.push_back(std::move(group));
  }
  std::ranges::stable_sort(rows, std::greater{}, &NodeGroup::nodes);
  return rows;
}

std::vector<Gap> gapsOf(const Snapshot& snapshot, const Inspection& inspection) {
  std::map<std::tuple<std::size_t, bool, std::string_view>, Gap> gaps;
  for (const auto& [node, at] : inspection.set.nodes) {
    const NodeOutcomes& outcomes = inspection.outcomes[at];
    for (std::size_t frame = 0; frame < outcomes.size(); ++frame) {
      const BodyKind kind = outcomes[frame].kind;
      if (kind == BodyKind::kBlock) continue;
      const std::string_view words = outcomes[frame].words();
      Gap& gap = gaps[{frame, kind != BodyKind::kError, words}];
      if (gap.nodes++ == 0) {
        gap.frame = frame;
        gap.kind = kind;
        gap.words = words;
        gap.explanation = &explanationOf(words);
      }
      ++gap.classes[inspection.set.models[at].nodeClass];
      addReasons(snapshot, *node, *gap.explanation, gap.reasons);
    }
  }
  std::vector<Gap> rows;
  rows.reserve(gaps.size());
  for (auto& [key, gap] : gaps) rows.push_back(std::move(gap));
  return rows;
}

std::size_t portsUp(const IBNode& node) {
  return static_cast<std::size_t>(std::ranges::count_if(node.ports, [](const IBPort* port) {
    return port != nullptr && port->num > 0 && port->portState > 1;
  }));
}

}  // namespace siminfo
