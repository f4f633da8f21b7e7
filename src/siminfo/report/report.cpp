#include "siminfo/report/report.h"

#include <algorithm>
#include <numeric>
#include <unordered_map>

#include "siminfo/core/version.h"
#include "siminfo/report/body_table.h"
#include "siminfo/report/page.h"
#include "siminfo/report/switch_levels.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

using Numbers = std::vector<std::size_t>;

template <class Values>
void addNumbers(JsonLine& json, std::string_view key, const Values& values) {
  json.key(key).open('[');
  for (const auto value : values) json.number(value);
  json.close(']');
}

void addTexts(JsonLine& json, std::string_view key, const Interned& texts) {
  json.key(key).open('[');
  for (std::size_t i = 0; i < texts.size(); ++i) json.string(texts[i]);
  json.close(']');
}

/// What the page's script reads: one JSON document of tables, whose rows are known by their numbers. What
/// there is one of for each node or cable stands in columns, which take the fewest bytes.
class ReportData {
 public:
  ReportData(const Snapshot& snapshot, const Inspection& inspection)
      : snapshot_(snapshot),
        inspection_(inspection),
        cables_(snapshot),
        groups_(groupNodes(snapshot, inspection)),
        levels_(levelsOf(snapshot, cables_)) {}

  JsonLine write(std::size_t bytes) {
    json_.open('{');
    addHead();
    addGroups();
    addModels();
    addNodes();
    addAbsent();
    addLinks();
    addGaps();
    addBodies(bytes);
    json_.close('}');
    return std::move(json_);
  }
  std::size_t bodilessModels() const { return bodilessModels_; }

 private:
  void addHead() {
    json_.key("tool").string(toolNameAndVersion());
    json_.key("fabric").string(safeText(snapshot_.fabric));
    json_.key("source").string(safeText(snapshot_.source));
    json_.key("collected_at").string(safeText(snapshot_.collectedAt));
    json_.key("all_nodes").number(snapshot_.discovered.fabric.nodeByName.size());
    json_.key("all_links").number(cables_.inside());
    json_.key("leaving_links").number(cables_.leaving());
    json_.key("frames").open('[');
    for (const SimInfoDumpCPP::Frame& frame : SimInfoDumpCPP::Frames()) json_.string(frame.method);
    json_.close(']');
  }

  void addGroups() {
    json_.key("groups").open('[');
    for (const NodeGroup& group : groups_) {
      json_.open('{');
      json_.key("class").string(group.nodeClass);
      json_.key("ports").number(group.ports);
      if (group.device != nullptr) {
        json_.key("vendor").number(group.device->VendorID);
        json_.key("device").number(group.device->DeviceID);
      }
      json_.key("letters").string(group.letters);
      json_.close('}');
    }
    json_.close(']');
  }

  /// Each model with the numbers of its refusals, in the order of the frames that have no block; then these:
  /// body, words, and what would mend it.
  void addModels() {
    Interned classes;
    Interned refusals;
    std::vector<const FrameOutcome*> shown;
    json_.key("models").open('[');
    for (std::size_t i = 0; i < inspection_.set.models.size(); ++i) {
      const Model& model = inspection_.set.models[i];
      json_.open('[');
      json_.string(model.name);
      json_.number(classes.indexOf(model.nodeClass));
      json_.number(model.ports);
      json_.string(inspection_.letters[i]);
      for (const FrameOutcome& outcome : inspection_.outcomes[i]) {
        if (outcome.kind == BodyKind::kBlock) continue;
        const std::size_t refusal = refusals.indexOf(outcome.body);
        if (refusal == shown.size()) shown.push_back(&outcome);
        json_.number(refusal);
      }
      json_.close(']');
    }
    json_.close(']');
    addTexts(json_, "classes", classes);
    json_.key("refusals").open('[');
    for (const FrameOutcome* outcome : shown) {
      const Explanation& explanation = explanationOf(outcome->words());
      json_.open('[');
      json_.string(outcome->body);
      json_.string(outcome->words());
      json_.string(explanation.mend);
      json_.close(']');
    }
    json_.close(']');
  }

  void addNodes() {
    const auto& members = inspection_.set.nodes;
    Numbers groupOf(members.size());
    for (std::size_t group = 0; group < groups_.size(); ++group) {
      for (const std::size_t member : groups_[group].members) groupOf[member] = group;
    }
    Numbers models;
    Numbers up;
    std::vector<int> levels;
    for (std::size_t i = 0; i < members.size(); ++i) {
      const IBNode* node = members[i].node;
      indexOf_[node] = i;
      models.push_back(members[i].model);
      up.push_back(portsUp(*node));
      levels.push_back(levels_[node->recordIndex]);
    }
    json_.key("nodes").open('{');
    json_.key("name").open('[');
    for (const auto& [node, model] : members) json_.string(node->name);
    json_.close(']');
    json_.key("guid").open('[');
    for (const auto& [node, model] : members) json_.string(hexDigits(node->guid, 16));
    json_.close(']');
    addNumbers(json_, "model", models);
    addNumbers(json_, "up", up);
    addNumbers(json_, "group", groupOf);
    addNumbers(json_, "level", levels);
    json_.close('}');
  }

  /// Why records are absent, where the snapshot says it: [node, frame, reason...].
  void addAbsent() {
    Interned reasons;
    json_.key("absent").open('[');
    for (std::size_t i = 0; i < inspection_.set.nodes.size(); ++i) {
      const auto& [node, model] = inspection_.set.nodes[i];
      const NodeOutcomes& outcomes = inspection_.outcomes[model];
      for (std::size_t frame = 0; frame < outcomes.size(); ++frame) {
        ReasonCounts found;
        if (outcomes[frame].kind != BodyKind::kBlock)
          addReasons(snapshot_, *node, explanationOf(outcomes[frame].words()), found);
        if (found.empty()) continue;
        json_.open('[');
        json_.number(i);
        json_.number(frame);
        for (const auto& [reason, count] : found) json_.number(reasons.indexOf(safeText(reason)));
        json_.close(']');
      }
    }
    json_.close(']');
    addTexts(json_, "reasons", reasons);
  }

  /// Every cable of a selected node once: its ends, and how it runs. Nodes that are not selected follow the
  /// selected ones by their names.
  void addLinks() {
    Interned others;
    Interned speeds;
    std::vector<Numbers> columns(5);
    for (std::size_t i = 0; i < inspection_.set.nodes.size(); ++i) {
      const IBNode& node = *inspection_.set.nodes[i].node;
      for (unsigned port = 1; port <= node.numPorts; ++port) {
        const Cables::Far* far = cables_.find(node, static_cast<std::uint8_t>(port));
        if (far == nullptr) continue;
        const auto known = indexOf_.find(far->node);
        const bool isShown = known != indexOf_.end();
        if (isShown && std::pair(known->second, unsigned{far->port}) < std::pair(i, port)) continue;
        const std::size_t other =
            isShown ? known->second : inspection_.set.nodes.size() + others.indexOf(*far->name);
        const std::size_t values[] = {i, port, other, far->port, speeds.indexOf(speedWords(*far->link))};
        for (std::size_t column = 0; column < columns.size(); ++column)
          columns[column].push_back(values[column]);
      }
    }
    addTexts(json_, "others", others);
    addTexts(json_, "speeds", speeds);
    json_.key("links").open('{');
    // Nodes ascend, so that the difference to the one before is a digit.
    std::adjacent_difference(columns[0].begin(), columns[0].end(), columns[0].begin());
    addNumbers(json_, "from", columns[0]);
    addNumbers(json_, "port", columns[1]);
    addNumbers(json_, "to", columns[2]);
    addNumbers(json_, "far_port", columns[3]);
    addNumbers(json_, "speed", columns[4]);
    json_.close('}');
  }

  void addGaps() {
    json_.key("gaps").open('[');
    for (const Gap& gap : gapsOf(snapshot_, inspection_)) {
      json_.open('{');
      json_.key("frame").number(gap.frame);
      json_.key("letter").string(std::string(1, letterOf(gap.kind)));
      json_.key("words").string(gap.words);
      json_.key("lack").truth(gap.explanation->isLack);
      json_.key("mend").string(gap.explanation->mend);
      json_.key("nodes").number(gap.nodes);
      json_.key("classes").open('{');
      for (const auto& [name, nodes] : gap.classes) json_.key(name).number(nodes);
      json_.close('}');
      json_.key("reasons").open('[');
      for (const auto& [reason, nodes] : gap.reasons) json_.string(safeText(reason));
      json_.close(']');
      json_.close('}');
    }
    json_.close(']');
  }

  void addBodies(std::size_t bytes) {
    const auto& models = inspection_.set.models;
    Numbers order(models.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, std::greater{}, [&](std::size_t model) { return models[model].nodes; });
    // An empty list for each model is needed anyway.
    const std::size_t used = jsonForScript(json_.text()).size() + 3 * models.size();
    BodyTable table(bytes > used ? bytes - used : 0);
    auto next = order.begin();
    while (next != order.end() && table.add(*next, inspection_.outcomes[*next])) ++next;
    bodilessModels_ = static_cast<std::size_t>(std::count_if(next, order.end(), [&](std::size_t model) {
      return inspection_.letters[model].find(letterOf(BodyKind::kBlock)) != std::string::npos;
    }));
    table.writeTo(json_, models.size());
  }

  const Snapshot& snapshot_;
  const Inspection& inspection_;
  Cables cables_;
  std::vector<NodeGroup> groups_;
  std::vector<int> levels_;                                 // by recordIndex
  std::unordered_map<const IBNode*, std::size_t> indexOf_;  // among the selected nodes
  JsonLine json_;
  std::size_t bodilessModels_ = 0;
};

}  // namespace

Report makeReport(const Snapshot& snapshot, const Inspection& inspection, std::size_t bytes) {
  ReportData data(snapshot, inspection);
  const std::size_t frame = pageAround("").size();
  const JsonLine json = data.write(bytes > frame ? bytes - frame : 0);
  return {pageAround(json.text()), data.bodilessModels()};
}

}  // namespace siminfo
