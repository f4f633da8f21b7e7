#include "siminfo/inspect/inspection_text.h"
#include "siminfo/models/exact_ports.h"
#include "siminfo/snapshot/json_line.h"
#include "siminfo/snapshot/writer.h"
#include "siminfo/text/number_text.h"

namespace siminfo {
namespace {

template <class Counts>
void addCounts(JsonLine& json, std::string_view key, const Counts& counts) {
  json.key(key).open('{');
  for (const auto& [name, count] : counts) json.key(name).number(count);
  json.close('}');
}

std::string_view wordOf(BodyKind kind) {
  return kind == BodyKind::kBlock ? "block" : kind == BodyKind::kComment ? "comment" : "error";
}

void addGroups(JsonLine& json, const std::vector<NodeGroup>& groups) {
  json.key("groups").open('[');
  for (const NodeGroup& group : groups) {
    json.open('{');
    json.key("nodes").number(group.nodes);
    json.key("class").string(group.nodeClass);
    json.key("ports").number(group.ports);
    if (group.device != nullptr) {
      json.key("vendor").number(group.device->VendorID);
      json.key("device").number(group.device->DeviceID);
    }
    json.key("models").number(group.models);
    json.key("outcomes").string(group.letters);
    json.key("first").string(group.first->name);
    json.close('}');
  }
  json.close(']');
}

void addGaps(JsonLine& json, const std::vector<Gap>& gaps) {
  json.key("without_block").open('[');
  for (const Gap& gap : gaps) {
    json.open('{');
    json.key("frame").string(SimInfoDumpCPP::Frames()[gap.frame].method);
    json.key("outcome").string(wordOf(gap.kind));
    json.key("words").string(gap.words);
    json.key("applies").truth(gap.explanation->isLack);
    json.key("nodes").number(gap.nodes);
    addCounts(json, "classes", gap.classes);
    addCounts(json, "reasons", gap.reasons);
    if (!gap.explanation->mend.empty()) json.key("mend").string(gap.explanation->mend);
    json.close('}');
  }
  json.close(']');
}

void addMember(JsonLine& json, const Inspection& inspection, const ModelSet::Member& member) {
  const Model& model = inspection.set.models[member.model];
  json.key("name").string(member.node->name);
  json.key("guid").string(guidText(member.node->guid));
  json.key("class").string(model.nodeClass);
  json.key("ports").number(member.node->numPorts);
  json.key("ports_up").number(portsUp(*member.node));
  json.key("model").string(model.name);
  json.key("outcomes").string(inspection.letters[member.model]);
}

void addFrames(JsonLine& json, const Snapshot& snapshot, const IBNode& node, const NodeOutcomes& outcomes) {
  json.key("frames").open('[');
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    json.open('{');
    json.key("frame").string(SimInfoDumpCPP::Frames()[i].method);
    json.key("outcome").string(wordOf(outcomes[i].kind));
    if (outcomes[i].kind != BodyKind::kBlock) {
      const Explanation& explanation = explanationOf(outcomes[i].words());
      ReasonCounts reasons;
      addReasons(snapshot, node, explanation, reasons);
      json.key("words").string(outcomes[i].words());
      json.key("reasons").open('[');
      for (const auto& [reason, nodes] : reasons) json.string(reason);
      json.close(']');
      if (!explanation.mend.empty()) json.key("mend").string(explanation.mend);
    }
    json.key("body").string(outcomes[i].body);
    json.close('}');
  }
  json.close(']');
}

void addShares(JsonLine& json, const std::vector<PortShares>& all) {
  json.key("port_values").open('[');
  for (const PortShares& shares : all) {
    json.open('{');
    json.key("frame").string(shares.method);
    json.key("stands").number(shares.standing->num);
    json.key("special").open('[');
    for (const IBPort* port : shares.special) json.number(port->num);
    json.close(']');
    json.key("differences").open('[');
    for (const auto& [port, field, own, standing] : shares.differences) {
      json.open('{');
      json.key("port").number(port->num);
      json.key("field").string(field);
      json.key("own").wide(own);
      json.key("answered").wide(standing);
      json.close('}');
    }
    json.close(']');
    json.close('}');
  }
  json.close(']');
}

std::string lineOf(JsonLine& json) {
  json.close('}');
  return std::string(json.text()) + "\n";
}

}  // namespace

std::string overviewJson(const Snapshot& snapshot, const Inspection& inspection) {
  JsonLine json;
  json.open('{');
  if (!snapshot.fabric.empty()) json.key("fabric").string(snapshot.fabric);
  if (!snapshot.source.empty()) json.key("source").string(snapshot.source);
  if (!snapshot.collectedAt.empty()) json.key("collected_at").string(snapshot.collectedAt);
  const Cables cables(snapshot);
  json.key("nodes").number(inspection.set.nodes.size());
  json.key("links").number(cables.inside());
  json.key("leaving_links").number(cables.leaving());
  json.key("models").number(inspection.set.models.size());
  json.key("frames").open('[');
  for (const SimInfoDumpCPP::Frame& frame : SimInfoDumpCPP::Frames()) json.string(frame.method);
  json.close(']');
  addGroups(json, groupNodes(snapshot, inspection));
  addGaps(json, gapsOf(snapshot, inspection));
  return lineOf(json);
}

std::string nodesJson(const Inspection& inspection) {
  std::string lines;
  for (const ModelSet::Member& member : inspection.set.nodes) {
    JsonLine json;
    json.open('{');
    addMember(json, inspection, member);
    lines += lineOf(json);
  }
  return lines;
}

std::string nodeJson(Snapshot& snapshot, const Inspection& inspection, std::size_t member) {
  const ModelSet::Member& chosen = inspection.set.nodes[member];
  InMemoryDrovik engine(snapshot.discovered, ".");
  JsonLine json;
  json.open('{');
  addMember(json, inspection, chosen);
  addFrames(json, snapshot, *chosen.node, runFrames(engine, *chosen.node, chosen.node->name));
  addShares(json, portSharesOf(engine, *chosen.node));
  writeNode(json.key("snapshot"), *chosen.node, snapshot);
  return lineOf(json);
}

}  // namespace siminfo
