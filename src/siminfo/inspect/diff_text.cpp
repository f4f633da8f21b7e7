#include "siminfo/inspect/diff_text.h"

#include "siminfo/inspect/inspection_text.h"
#include "siminfo/snapshot/json_line.h"
#include "siminfo/text/number_text.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

void addNodes(ScreenText& text, const std::string& head, const std::vector<const IBNode*>& nodes) {
  if (nodes.empty()) return;
  text.line(head + " " + std::to_string(nodes.size()), Ink::kHead);
  for (const IBNode* node : nodes) text.line("  " + guidText(node->guid) + " " + safeText(node->name));
}

std::string endText(const CableEnd& end) { return safeText(end.node) + " port " + std::to_string(end.port); }

void addCables(ScreenText& text, const std::string& head, const std::vector<CableEnds>& cables) {
  if (cables.empty()) return;
  text.line(head + " " + std::to_string(cables.size()), Ink::kHead);
  for (const auto& [first, second] : cables) text.paragraph("  ", endText(first) + " - " + endText(second));
}

std::string changeText(const Change& change) {
  std::string text = change.what + " " + change.before + " -> " + change.after;
  if (change.ports.empty()) return text;
  return (change.ports.size() == 1 ? "port " : "ports ") + rangesOf(change.ports) + " " + text;
}

void addGroup(ScreenText& text, const SnapshotDiff::Group& group) {
  std::string changes;
  for (const Change& change : group.changes)
    changes.append(changes.empty() ? "" : "; ").append(changeText(change));
  text.paragraph("  " + std::to_string(group.nodes.size()) + " x " + group.nodeClass + ": ", changes);
  constexpr std::size_t kNamed = 3;
  std::string names;
  for (std::size_t i = 0; i < group.nodes.size() && i < kNamed; ++i)
    names.append(names.empty() ? "" : ", ").append(safeText(group.nodes[i]->name));
  if (group.nodes.size() > kNamed)
    names.append(" and ").append(std::to_string(group.nodes.size() - kNamed)).append(" more");
  text.paragraph("      ", names, Ink::kFaint);
}

void addNodes(JsonLine& json, std::string_view key, const std::vector<const IBNode*>& nodes) {
  json.key(key).open('[');
  for (const IBNode* node : nodes) {
    json.open('{');
    json.key("guid").string(guidText(node->guid));
    json.key("name").string(node->name);
    json.close('}');
  }
  json.close(']');
}

void addEnd(JsonLine& json, std::string_view key, const CableEnd& end) {
  json.key(key).open('{');
  json.key("node").string(end.node);
  json.key("port").number(end.port);
  json.close('}');
}

void addCables(JsonLine& json, std::string_view key, const std::vector<CableEnds>& cables) {
  json.key(key).open('[');
  for (const auto& [first, second] : cables) {
    json.open('{');
    addEnd(json, "end", first);
    addEnd(json, "other_end", second);
    json.close('}');
  }
  json.close(']');
}

void addGroup(JsonLine& json, const SnapshotDiff::Group& group) {
  json.open('{');
  json.key("class").string(group.nodeClass);
  json.key("changes").open('[');
  for (const Change& change : group.changes) {
    json.open('{');
    json.key("what").string(change.what);
    if (!change.ports.empty()) {
      json.key("ports").open('[');
      for (const unsigned port : change.ports) json.number(port);
      json.close(']');
    }
    json.key("before").string(change.before);
    json.key("after").string(change.after);
    json.close('}');
  }
  json.close(']');
  addNodes(json, "nodes", group.nodes);
  json.close('}');
}

}  // namespace

std::string diffText(const SnapshotDiff& diff, const Screen& screen) {
  ScreenText text(screen);
  addNodes(text, "Nodes added", diff.added);
  addNodes(text, "Nodes removed", diff.removed);
  if (!diff.renamed.empty()) {
    text.line("Nodes renamed " + std::to_string(diff.renamed.size()), Ink::kHead);
    for (const auto& [old, now] : diff.renamed)
      text.paragraph("  ", guidText(now->guid) + " " + safeText(old->name) + " -> " + safeText(now->name));
  }
  if (!diff.movedCables.empty()) {
    text.line("Cables moved " + std::to_string(diff.movedCables.size()), Ink::kHead);
    for (const auto& [stayed, old, now] : diff.movedCables)
      text.paragraph("  ", endText(stayed) + ": " + endText(old) + " -> " + endText(now));
  }
  addCables(text, "Cables added", diff.addedCables);
  addCables(text, "Cables removed", diff.removedCables);
  if (!diff.changed.empty()) {
    std::size_t nodes = 0;
    for (const SnapshotDiff::Group& group : diff.changed) nodes += group.nodes.size();
    text.line("Nodes changed " + std::to_string(nodes), Ink::kHead);
    for (const SnapshotDiff::Group& group : diff.changed) addGroup(text, group);
  }
  return text.take();
}

std::string diffJson(const SnapshotDiff& diff) {
  JsonLine json;
  json.open('{');
  json.key("same").truth(diff.isSame());
  json.key("compared").number(diff.compared);
  addNodes(json, "added", diff.added);
  addNodes(json, "removed", diff.removed);
  json.key("renamed").open('[');
  for (const auto& [old, now] : diff.renamed) {
    json.open('{');
    json.key("guid").string(guidText(now->guid));
    json.key("before").string(old->name);
    json.key("after").string(now->name);
    json.close('}');
  }
  json.close(']');
  json.key("cables_moved").open('[');
  for (const auto& [stayed, old, now] : diff.movedCables) {
    json.open('{');
    addEnd(json, "stayed", stayed);
    addEnd(json, "before", old);
    addEnd(json, "after", now);
    json.close('}');
  }
  json.close(']');
  addCables(json, "cables_added", diff.addedCables);
  addCables(json, "cables_removed", diff.removedCables);
  json.key("changed").open('[');
  for (const SnapshotDiff::Group& group : diff.changed) addGroup(json, group);
  json.close(']');
  json.close('}');
  return std::string(json.text()) + "\n";
}

}  // namespace siminfo
