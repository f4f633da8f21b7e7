#include <algorithm>
#include <array>

#include "siminfo/inspect/inspection_text.h"
#include "siminfo/text/columns.h"
#include "siminfo/text/number_text.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

std::string number(std::size_t value) { return std::to_string(value); }

template <class Counts>
std::string listed(const Counts& counts) {
  std::string text;
  for (const auto& [name, count] : counts)
    text.append(text.empty() ? "" : ", ").append(number(count)).append(" ").append(name);
  return text;
}

std::string_view methodOf(std::size_t frame) { return SimInfoDumpCPP::Frames()[frame].method; }

void addHead(ScreenText& text, const Snapshot& snapshot, const Inspection& inspection) {
  std::map<std::string, std::size_t> classes;
  std::size_t ports = 0;
  std::size_t up = 0;
  for (const auto& [node, model] : inspection.set.nodes) {
    ++classes[inspection.set.models[model].nodeClass];
    ports += node->numPorts;
    up += portsUp(*node);
  }
  const Cables cables(snapshot);
  const std::size_t all = snapshot.discovered.fabric.nodeByName.size();
  const std::size_t selected = inspection.set.nodes.size();
  std::string source = snapshot.source.empty() ? "unknown" : safeText(snapshot.source);
  if (!snapshot.collectedAt.empty()) source += ", collected " + safeText(snapshot.collectedAt);
  if (!snapshot.fabric.empty()) text.paragraph("Fabric  ", safeText(snapshot.fabric));
  text.paragraph("Source  ", source);
  text.paragraph("Nodes   ",
                 number(selected) + (selected != all ? " of " + number(all) : "") + ": " + listed(classes));
  text.paragraph("Ports   ", number(ports) + ", " + number(up) + " of them above Down");
  text.paragraph("Links   ", number(cables.inside()) +
                                 (cables.leaving() > 0 ? ", and " + number(cables.leaving()) +
                                                             " to nodes that are not in the snapshot"
                                                       : "") +
                                 (selected != all ? ", of the whole snapshot" : ""));
  text.paragraph("Models  ", number(inspection.set.models.size()));
}

/// The rows of a table, each with as many cells as the head.
struct Table {
  std::vector<std::string> head;
  std::size_t leftFrom = 0;  // columns from here on are aligned to the left
  std::vector<std::vector<std::string>> rows;
  std::vector<Ink> inks;

  void addTo(ScreenText& text) const {
    std::vector<std::size_t> widths;
    for (std::size_t i = 0; i < head.size(); ++i) {
      widths.push_back(columnsOf(head[i]));
      for (const auto& row : rows) widths[i] = std::max(widths[i], columnsOf(row[i]));
    }
    const auto lineOf = [&](const std::vector<std::string>& cells) {
      std::string line;
      for (std::size_t i = 0; i < cells.size(); ++i)
        line.append(i > 0 ? "  " : "")
            .append(i < leftFrom ? paddedLeft(cells[i], widths[i]) : padded(cells[i], widths[i]));
      return line;
    };
    text.line(lineOf(head), Ink::kHead);
    for (std::size_t i = 0; i < rows.size(); ++i) text.line(lineOf(rows[i]), inks[i]);
  }
};

void addGroups(ScreenText& text, const Snapshot& snapshot, const Inspection& inspection) {
  Table table{
      {"Nodes", "Class", "Ports", "Vendor", "Device", "Models", "Frames", "First of them"}, 6, {}, {}};
  for (const NodeGroup& group : groupNodes(snapshot, inspection)) {
    const bool isKnown = group.device != nullptr;
    table.rows.push_back({number(group.nodes), group.nodeClass, number(group.ports),
                          isKnown ? hexText(group.device->VendorID) : "?",
                          isKnown ? hexText(group.device->DeviceID) : "?", number(group.models),
                          group.letters, safeText(group.first->name)});
    table.inks.push_back(group.letters.find('E') != std::string::npos ? Ink::kAlarm : Ink::kPlain);
  }
  table.addTo(text);
  std::string legend = "B a block, c a comment in its place, E an #error line. The frames:";
  for (std::size_t i = 0; i < SimInfoDumpCPP::Frames().size(); ++i)
    legend.append(i > 0 ? ", " : " ").append(number(i + 1)).append(":").append(methodOf(i).substr(3));
  text.paragraph("  ", legend, Ink::kFaint);
}

std::string nodesOf(const Gap& gap) {
  return number(gap.nodes) + (gap.nodes == 1 ? " node" : " nodes") + " (" + listed(gap.classes) + ")";
}

/// Gaps of one cause: the same words for the same kinds of nodes, for the same reasons.
using Cause = std::vector<const Gap*>;

std::vector<Cause> causesOf(const std::vector<Gap>& gaps) {
  std::vector<Cause> causes;
  for (const Gap& gap : gaps) {
    const auto same = std::ranges::find_if(causes, [&](const Cause& cause) {
      const Gap& other = *cause.front();
      return other.words == gap.words && other.classes == gap.classes && other.reasons == gap.reasons;
    });
    if (same != causes.end())
      same->push_back(&gap);
    else
      causes.push_back({&gap});
  }
  return causes;
}

void addLack(ScreenText& text, const Cause& cause) {
  const Gap& gap = *cause.front();
  std::string frames;
  for (const Gap* each : cause)
    frames.append(frames.empty() ? "" : ", ")
        .append(number(each->frame + 1))
        .append(":")
        .append(methodOf(each->frame).substr(3));
  text.paragraph(gap.kind == BodyKind::kError ? "E  " : "c  ",
                 frames + ", " + nodesOf(gap) + ": " + safeText(gap.words),
                 gap.kind == BodyKind::kError ? Ink::kAlarm : Ink::kPlain);
  for (const auto& [reason, nodes] : gap.reasons)
    text.paragraph("     reason: ",
                   safeText(reason) + (nodes != gap.nodes ? " (" + number(nodes) + ")" : ""));
  if (!gap.explanation->mend.empty()) text.paragraph("     mend: ", gap.explanation->mend);
}

/// Attributes that do not apply, together where the words and the nodes are the same.
void addOthers(ScreenText& text, const std::vector<Gap>& gaps) {
  std::vector<std::pair<const Gap*, std::string>> lines;
  for (const Gap& gap : gaps) {
    const auto same = std::ranges::find_if(lines, [&](const auto& each) {
      return each.first->explanation == gap.explanation && each.first->classes == gap.classes;
    });
    const std::string frame = number(gap.frame + 1) + ":" + std::string(methodOf(gap.frame).substr(3));
    if (same != lines.end())
      same->second += ", " + frame;
    else
      lines.emplace_back(&gap, frame);
  }
  for (const auto& [gap, frames] : lines) {
    text.paragraph("c  ", nodesOf(*gap) + ": " + std::string(gap->explanation->piece) + ": " + frames);
    if (!gap->explanation->mend.empty()) text.paragraph("     mend: ", gap->explanation->mend);
  }
}

}  // namespace

std::string overviewText(const Snapshot& snapshot, const Inspection& inspection, const Screen& screen) {
  ScreenText text(screen);
  addHead(text, snapshot, inspection);
  text.emptyLine();
  addGroups(text, snapshot, inspection);
  std::vector<Gap> lacks;
  std::vector<Gap> others;
  std::vector<Gap> gaps = gapsOf(snapshot, inspection);
  for (Gap& gap : gaps) (gap.explanation->isLack ? lacks : others).push_back(std::move(gap));
  if (!lacks.empty()) {
    text.emptyLine();
    text.line("Missing", Ink::kHead);
    for (const Cause& cause : causesOf(lacks)) addLack(text, cause);
  }
  if (!others.empty()) {
    text.emptyLine();
    text.line("Does not apply", Ink::kHead);
    addOthers(text, others);
  }
  return text.take();
}

std::string nodesText(const Inspection& inspection, const Screen& screen) {
  ScreenText text(screen);
  std::size_t modelWidth = 0;
  for (const Model& model : inspection.set.models) modelWidth = std::max(modelWidth, model.name.size());
  for (const auto& [node, at] : inspection.set.nodes) {
    const Model& model = inspection.set.models[at];
    const std::string& letters = inspection.letters[at];
    text.line(guidText(node->guid) + " " + padded(model.nodeClass, 7) + " " +
                  paddedLeft(number(node->numPorts), 3) + " " + paddedLeft(number(portsUp(*node)), 3) + " " +
                  padded(model.name, modelWidth) + " " + letters + " " + safeText(node->name),
              letters.find('E') != std::string::npos ? Ink::kAlarm : Ink::kPlain);
  }
  return text.take();
}

}  // namespace siminfo
