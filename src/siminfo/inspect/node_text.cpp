#include <algorithm>
#include <tuple>

#include "siminfo/inspect/field_text.h"
#include "siminfo/inspect/inspection_text.h"
#include "siminfo/models/exact_ports.h"
#include "siminfo/snapshot/format.h"
#include "siminfo/text/columns.h"
#include "siminfo/text/number_text.h"
#include "siminfo/text/quoting.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

/// The record's fields, those of inner records by their path.
std::string fieldsText(std::span<const Field> fields, const void* record, const std::string& prefix = {}) {
  std::string text;
  for (const Field& field : fields) {
    for (std::size_t i = 0; i < (field.isOneValue() ? 1U : field.count); ++i) {
      std::string name = prefix;
      name.append(field.name);
      if (!field.isOneValue() && field.count > 1) name.append("[").append(std::to_string(i)).append("]");
      text.append(text.empty() ? "" : ", ");
      if (field.form == FieldForm::kRecords)
        text += fieldsText(field.members, field.inner(record, i), name + ".");
      else
        text.append(name).append(" ").append(fieldText(field, record, i));
    }
  }
  return text;
}

void addIdentity(ScreenText& text, const Snapshot& snapshot, const Inspection& inspection,
                 const ModelSet::Member& member) {
  const IBNode& node = *member.node;
  const Model& model = inspection.set.models[member.model];
  const NodeIdentity* identity = snapshot.nodeIdentities.find(node.recordIndex);
  text.line(safeText(node.name), Ink::kHead);
  if (!node.alternativeName.empty()) text.paragraph("  also called    ", safeText(node.alternativeName));
  if (identity != nullptr && identity->description)
    text.paragraph("  description    ", safeText(*identity->description));
  text.paragraph("  GUID           ",
                 guidText(node.guid) + (identity != nullptr && identity->systemGuid
                                            ? ", of the system " + guidText(*identity->systemGuid)
                                            : ""));
  std::string type = wordFor(kNodeTypes, node.type);
  if (node.specialNodeType) type += ", special of type " + std::to_string(*node.specialNodeType);
  if (node.orbelSwitch) type += ", its ordinary ports keep the simulator's link width";
  text.paragraph("  type           ", type + "; its class in the source is " + model.nodeClass);
  text.paragraph("  ports          ", std::to_string(node.numPorts) + ", " + std::to_string(portsUp(node)) +
                                          " of them above Down");
  text.paragraph("  model          ", model.name + ", of which the selection has " +
                                          std::to_string(model.nodes) +
                                          (model.nodes == 1 ? " node" : " nodes"));
  for (const bool isGMP : {false, true}) {
    const CapabilityAnswer* answer = snapshot.discovered.capabilities.find(node.recordIndex, isGMP);
    std::string words = answer == nullptr ? "not asked" : "error " + std::to_string(answer->error);
    if (answer != nullptr && answer->error == 0) {
      words.clear();
      for (const std::uint32_t word : answer->mask.words)
        words.append(words.empty() ? "" : " ").append(hexText(word, 8));
    }
    text.paragraph(isGMP ? "  GMP mask       " : "  SMP mask       ", words);
  }
}

void addFrames(ScreenText& text, const Snapshot& snapshot, const IBNode& node, const NodeOutcomes& outcomes) {
  text.emptyLine();
  text.line("Frames", Ink::kHead);
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    const FrameOutcome& each = outcomes[i];
    const std::string head = "  " + std::string(1, letterOf(each.kind)) + " " +
                             paddedLeft(std::to_string(i + 1), 2) + " " +
                             std::string(SimInfoDumpCPP::Frames()[i].method);
    if (each.kind == BodyKind::kBlock) {
      text.line(head);
      continue;
    }
    text.paragraph("", head + ": " + safeText(each.words()),
                   each.kind == BodyKind::kError ? Ink::kAlarm : Ink::kPlain);
    const Explanation& explanation = explanationOf(each.words());
    ReasonCounts reasons;
    addReasons(snapshot, node, explanation, reasons);
    for (const auto& [reason, nodes] : reasons) text.paragraph("       reason: ", safeText(reason));
    if (!explanation.mend.empty()) text.paragraph("       mend: ", explanation.mend);
  }
}

void addAbsent(ScreenText& text, const std::map<std::uint32_t, AbsentRecords>& absent, std::uint32_t index,
               const std::string& head) {
  const auto found = absent.find(index);
  if (found == absent.end()) return;
  for (const auto& [record, reason] : found->second)
    text.paragraph(head, "no " + record + ": " + safeText(reason));
}

void addRecords(ScreenText& text, const Snapshot& snapshot, const IBNode& node) {
  text.emptyLine();
  text.line("Records of the node", Ink::kHead);
  for (const RecordKind& kind : kNodeRecordKinds) {
    if (const void* record = kind.find(snapshot.discovered.records, node.recordIndex))
      text.paragraph("  " + std::string(kind.name) + ": ", fieldsText(kind.fields, record));
  }
  addAbsent(text, snapshot.absentOnNodes, node.recordIndex, "  ");
}

std::string speedText(const Link& link) {
  std::string text;
  for (const auto& [name, code] : {std::pair{"width", link.width}, std::pair{"speed", link.speed},
                                   std::pair{"extended speed", link.speedExt}}) {
    if (code) text.append(text.empty() ? " (" : ", ").append(name).append(" ").append(std::to_string(*code));
  }
  return text.empty() ? text : text + ")";
}

void addPorts(ScreenText& text, const Snapshot& snapshot, const IBNode& node) {
  const Cables cables(snapshot);
  text.emptyLine();
  text.line("Ports", Ink::kHead);
  for (const IBPort* port : node.ports) {
    if (port == nullptr) continue;
    std::string line = wordFor(kPortStates, port->portState);
    if (!port->inSubFabric) line += ", outside the sub-fabric";
    for (const PortKind& kind : kPortKinds) {
      if (port->*(kind.flag)) line.append(", ").append(kind.word);
    }
    if (const PortIdentity* identity = snapshot.portIdentities.find(port->recordIndex)) {
      if (identity->guid) line += ", GUID " + guidText(*identity->guid);
      if (identity->lid) line += ", LID " + std::to_string(*identity->lid);
      if (identity->lmc) line += ", LMC " + std::to_string(*identity->lmc);
      if (identity->physState) line += ", physical state " + std::to_string(*identity->physState);
    }
    if (const Cables::Far* far = cables.find(node, port->num))
      line += ", linked to " + inQuotes(*far->name) + " port " + std::to_string(far->port) +
              speedText(*far->link) + (far->node == nullptr ? ", which is not in the snapshot" : "");
    text.paragraph("  " + paddedLeft(std::to_string(port->num), 3) + " ", line);
    addAbsent(text, snapshot.absentOnPorts, port->recordIndex, "      ");
  }
}

std::string portsText(const std::vector<unsigned>& numbers) {
  return (numbers.size() == 1 ? "port " : "ports ") + rangesOf(numbers);
}

/// A field in which ports differ from the one that stands for them: the ports by their own value.
struct FieldDifference {
  std::string_view field;
  std::uint64_t standing;
  std::map<std::uint64_t, std::vector<unsigned>> ports;
};

std::vector<FieldDifference> byField(const std::vector<PortShares::Difference>& differences) {
  std::vector<FieldDifference> fields;
  for (const auto& [port, field, own, standing] : differences) {
    auto found = std::ranges::find(fields, field, &FieldDifference::field);
    if (found == fields.end()) found = fields.insert(found, {field, standing, {}});
    found->ports[own].push_back(port->num);
  }
  return fields;
}

void addShares(ScreenText& text, const PortShares& shares) {
  constexpr std::size_t kMostValues = 8;  // that are told one by one
  std::string words = "port " + std::to_string(shares.standing->num) + " stands for the ordinary ones";
  std::vector<unsigned> special;
  for (const IBPort* port : shares.special) special.push_back(port->num);
  if (!special.empty()) words += "; with values of their own: " + portsText(special);
  text.paragraph("  " + std::string(shares.method) + ": ", words);
  for (const auto& [field, standing, ports] : byField(shares.differences)) {
    std::string values;
    std::vector<unsigned> all;
    for (const auto& [own, numbers] : ports) {
      values.append(values.empty() ? "" : "; ")
          .append(hexText(own))
          .append(" at ")
          .append(portsText(numbers));
      all.insert(all.end(), numbers.begin(), numbers.end());
    }
    std::ranges::sort(all);
    if (ports.size() > kMostValues) values = std::to_string(ports.size()) + " values at " + portsText(all);
    text.paragraph("    " + std::string(field) + ", answered as " + hexText(standing) + ": ", values);
  }
}

}  // namespace

std::string rangesOf(const std::vector<unsigned>& numbers) {
  std::string text;
  for (std::size_t i = 0; i < numbers.size();) {
    std::size_t last = i;
    while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) ++last;
    text.append(text.empty() ? "" : ", ").append(std::to_string(numbers[i]));
    if (last > i) text.append(last > i + 1 ? "-" : ", ").append(std::to_string(numbers[last]));
    i = last + 1;
  }
  return text;
}

std::string nodeText(Snapshot& snapshot, const Inspection& inspection, std::size_t member,
                     const Screen& screen) {
  const ModelSet::Member& chosen = inspection.set.nodes[member];
  const IBNode& node = *chosen.node;
  InMemoryDrovik engine(snapshot.discovered, ".");
  ScreenText text(screen);
  addIdentity(text, snapshot, inspection, chosen);
  addFrames(text, snapshot, node, runFrames(engine, node, node.name));
  addRecords(text, snapshot, node);
  addPorts(text, snapshot, node);
  const std::vector<PortShares> all = portSharesOf(engine, node);
  if (!all.empty()) {
    text.emptyLine();
    text.line("Values of ports", Ink::kHead);
  }
  for (const PortShares& shares : all) addShares(text, shares);
  return text.take();
}

}  // namespace siminfo
