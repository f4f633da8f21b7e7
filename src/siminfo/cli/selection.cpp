#include "siminfo/cli/selection.h"

#include <fnmatch.h>

#include <algorithm>
#include <unordered_map>

#include "siminfo/cli/arguments.h"
#include "siminfo/cli/command.h"
#include "siminfo/cli/console.h"
#include "siminfo/cli/nearest.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/models/model.h"
#include "siminfo/simulator/headers.h"
#include "siminfo/snapshot/format.h"
#include "siminfo/text/number_text.h"
#include "siminfo/text/quoting.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

using Nodes = std::vector<const IBNode*>;

Nodes subFabricOf(const IBFabric& fabric) {
  Nodes nodes;
  for (const auto& [name, node] : fabric.nodeByName) {
    if (SimInfoDumpCPP::Selects({}, node)) nodes.push_back(node);
  }
  return nodes;
}

/// The nodes of each GUID that is asked for; those that have it, and if there are none those with a port that
/// has it.
std::set<const IBNode*> nodesOfGuids(const Snapshot& snapshot, const Nodes& nodes,
                                     const std::set<std::uint64_t>& guids, std::set<std::uint64_t>& unknown) {
  std::set<const IBNode*> found;
  std::set<std::uint64_t> left = guids;
  for (const IBNode* node : nodes) {
    if (!guids.contains(node->guid)) continue;
    found.insert(node);
    left.erase(node->guid);
  }
  unknown = left;
  if (left.empty()) return found;
  for (const IBNode* node : nodes) {
    for (const IBPort* port : node->ports) {
      const PortIdentity* identity =
          port != nullptr ? snapshot.portIdentities.find(port->recordIndex) : nullptr;
      if (identity == nullptr || !identity->guid || !left.contains(*identity->guid)) continue;
      found.insert(node);
      unknown.erase(*identity->guid);
    }
  }
  return found;
}

/// What one option leaves of the nodes, for a message when nothing is left in the end.
struct Step {
  std::string option;
  std::size_t left;      ///< of all nodes, by this option alone
  std::string nearness;  ///< what is near, when there is none
};

/// Takes one option after the other away from the nodes.
class Selector {
 public:
  Selector(Snapshot& snapshot, const SelectionTerms& terms, bool exactPorts)
      : snapshot_(snapshot),
        terms_(terms),
        engine_(snapshot.discovered, "."),
        generator_(engine_),
        exactPorts_(exactPorts),
        all_(subFabricOf(snapshot.discovered.fabric)),
        selected_(all_) {}

  const Nodes& select() {
    if (!terms_.guids.empty()) byGuid();
    if (!terms_.words.names.empty()) byName();
    if (!terms_.words.types.empty()) byType();
    if (!terms_.words.models.empty()) byModel();
    return selected_;
  }
  const std::set<std::uint64_t>& unknownGuids() const { return unknownGuids_; }

  std::string emptinessWords() const {
    if (steps_.empty()) return "expected at least one node that is in the sub-fabric";
    std::string words;
    for (const Step& step : steps_) {
      if (step.left > 0) continue;
      words.append(words.empty() ? "" : "; ").append(step.option).append(" selects none");
      if (!step.nearness.empty()) words.append("; ").append(step.nearness);
    }
    if (!words.empty()) return words;
    for (const Step& step : steps_)
      words.append(words.empty() ? "no node matches all options: " : ", ")
          .append(step.option + " alone selects " + std::to_string(step.left));
    return words;
  }

 private:
  template <class IsSelected, class Nearness>
  void keep(const std::string& option, IsSelected isSelected, Nearness nearness) {
    const auto left = static_cast<std::size_t>(std::ranges::count_if(all_, isSelected));
    steps_.push_back({option, left, left == 0 ? nearness() : std::string()});
    std::erase_if(selected_, [&](const IBNode* node) { return !isSelected(node); });
  }

  void byGuid() {
    const std::set<const IBNode*> found = nodesOfGuids(snapshot_, all_, terms_.guids, unknownGuids_);
    keep(
        "--guid", [&](const IBNode* node) { return found.contains(node); },
        [&] { return nearestGuids(all_, *terms_.guids.begin()); });
  }

  void byName() {
    keep(
        "--name-match",
        [&](const IBNode* node) {
          return std::ranges::any_of(terms_.words.names, [&](const std::string& pattern) {
            return fnmatch(pattern.c_str(), node->name.c_str(), 0) == 0;
          });
        },
        [&] { return nearestNames(all_, terms_.words.names.front()); });
  }

  void byType() {
    const auto isOfType = [&](const IBNode* node, const std::string& type) {
      const auto value = parseInteger(type, kNodeTypeForm);
      return value ? node->type == static_cast<int>(*value) : generator_.GetDumpedNodeType(*node) == type;
    };
    keep(
        "--type",
        [&](const IBNode* node) {
          return std::ranges::any_of(terms_.words.types,
                                     [&](const std::string& type) { return isOfType(node, type); });
        },
        [&] {
          std::map<std::string, std::size_t> classes;
          for (const IBNode* node : all_) ++classes[generator_.GetDumpedNodeType(*node)];
          std::string words;
          for (const auto& [name, nodes] : classes)
            words.append(words.empty() ? "there are " : ", ").append(std::to_string(nodes) + " " + name);
          return words;
        });
  }

  void byModel() {
    const ModelSet set = ModelWriter(engine_, exactPorts_).findModels(all_);
    std::unordered_map<const IBNode*, const std::string*> modelOf;
    for (const auto& [node, model] : set.nodes) modelOf[node] = &set.models[model].name;
    keep(
        "--model",
        [&](const IBNode* node) {
          return std::ranges::any_of(terms_.words.models, [&](const std::string& name) {
            return modelOf.at(node)->starts_with(name);
          });
        },
        [&] {
          std::vector<std::string> names;
          for (const Model& model : set.models) names.push_back(model.name);
          return nearestWords(names, terms_.words.models.front() + "*");
        });
  }

  Snapshot& snapshot_;
  const SelectionTerms& terms_;
  InMemoryDrovik engine_;
  SimInfoDumpCPP generator_;
  bool exactPorts_;
  Nodes all_;
  Nodes selected_;
  std::vector<Step> steps_;
  std::set<std::uint64_t> unknownGuids_;
};

[[noreturn]] void refuseNode(const Nodes& nodes, const std::string& nameOrGuid, const std::string& label) {
  const auto guid = parseGuid(nameOrGuid);
  throw CommandError(kBadInput, label + ": no node or port has the name or GUID " + inQuotes(nameOrGuid) +
                                    "; " + nearestNames(nodes, nameOrGuid) +
                                    (guid ? "; " + nearestGuids(nodes, *guid) : std::string()));
}

}  // namespace

void addSelectionOptions(Command& command, Selection& selection, const std::vector<Option>& others) {
  const auto add = [&](const char* name, const char* valueName, std::vector<std::string>& values,
                       const char* help) {
    const Option option = command.options(name, valueName, values, help);
    for (const Option& other : others) option.excludes(other);
  };
  add("--guid", "GUID", selection.guids,
      "Only the node with this GUID, in hexadecimal, or else the node with a port that\n"
      "has it; may be repeated, like the next three");
  add("--name-match", "GLOB", selection.names,
      "Only nodes whose whole name matches; *, ? and [...] are wildcards");
  add("--type", "TYPE", selection.types,
      "Only nodes of this type: ca, switch, router, a number, or a class of the generated\n"
      "source (SW, RTR, AN, HCA, Unknown)");
  add("--model", "MODEL", selection.models,
      "Only nodes of this model, as inspect and generate --models name it; the beginning\n"
      "of the name is enough");
}

SelectionTerms readSelection(const Selection& selection) {
  for (const std::string& type : selection.types) {
    if (!parseInteger(type, kNodeTypeForm) && std::ranges::find(kNodeClasses, type) == kNodeClasses.end())
      throw CommandError(
          kBadCommandLine,
          "--type: " + inQuotes(type) +
              " is not a node type; expected ca, switch, router, an integer from 0 to 255, or one of "
              "SW, RTR, AN, HCA and Unknown");
  }
  return {readGuids(selection.guids, selection.guidFile), selection};
}

SelectedNodes findNodes(Snapshot& snapshot, const SelectionTerms& terms, bool exactPorts) {
  Selector selector(snapshot, terms, exactPorts);
  Nodes nodes = selector.select();
  std::string nearness = nodes.empty() ? selector.emptinessWords() : std::string();
  return {std::move(nodes), selector.unknownGuids(), std::move(nearness)};
}

std::vector<const IBNode*> selectNodes(Snapshot& snapshot, const SelectionTerms& terms,
                                       const std::string& label, bool exactPorts) {
  SelectedNodes selected = findNodes(snapshot, terms, exactPorts);
  if (selected.nodes.empty())
    throw CommandError(kBadInput, label + ": no node is selected; " + selected.nearness);
  for (const std::uint64_t guid : selected.unknownGuids)
    printWarning("no node of the sub-fabric has the GUID " + guidText(guid) + ", so it selects nothing");
  return std::move(selected.nodes);
}

std::vector<const IBNode*> namedNodes(const Snapshot& snapshot, const std::string& nameOrGuid,
                                      const std::string& label) {
  const Nodes nodes = subFabricOf(snapshot.discovered.fabric);
  const auto named =
      std::ranges::find_if(nodes, [&](const IBNode* node) { return node->name == nameOrGuid; });
  if (named != nodes.end()) return {*named};
  if (const auto guid = parseGuid(nameOrGuid)) {
    std::set<std::uint64_t> unknown;
    const std::set<const IBNode*> found = nodesOfGuids(snapshot, nodes, {*guid}, unknown);
    Nodes inOrder = nodes;
    std::erase_if(inOrder, [&](const IBNode* node) { return !found.contains(node); });
    if (!inOrder.empty()) return inOrder;
  }
  refuseNode(nodes, nameOrGuid, label);
}

std::string someOf(const std::vector<std::string>& names) {
  constexpr std::size_t kNamed = 8;
  const std::size_t shown = std::min(names.size(), kNamed);
  std::string text;
  for (std::size_t i = 0; i < shown; ++i) text.append(i > 0 ? ", " : "").append(names[i]);
  if (names.size() > shown) text.append(" and ").append(std::to_string(names.size() - shown)).append(" more");
  return text;
}

std::string counted(std::size_t number, const std::string& thing) {
  return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

}  // namespace siminfo
