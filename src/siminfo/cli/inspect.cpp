#include <memory>

#include "siminfo/cli/arguments.h"
#include "siminfo/cli/command_line.h"
#include "siminfo/cli/console.h"
#include "siminfo/cli/load.h"
#include "siminfo/cli/selection.h"
#include "siminfo/inspect/inspection_text.h"
#include "siminfo/inspect/topology.h"

namespace siminfo {
namespace {

struct InspectOptions {
  std::string snapshot;
  Selection selection;
  std::string node;
  bool nodes = false;
  bool topology = false;
  bool json = false;
  bool strict = false;
  unsigned jobs = 0;
};

/// Everything about each of the nodes.
std::string detailsOf(Snapshot& snapshot, const Inspection& inspection, bool isJson) {
  std::string text;
  for (std::size_t i = 0; i < inspection.set.nodes.size(); ++i) {
    if (isJson)
      text += nodeJson(snapshot, inspection, i);
    else
      text.append(i > 0 ? "\n" : "").append(nodeText(snapshot, inspection, i, outputScreen()));
  }
  return text;
}

std::string resultOf(const InspectOptions& options, Snapshot& snapshot, const Inspection& inspection) {
  if (!options.node.empty()) return detailsOf(snapshot, inspection, options.json);
  if (options.nodes) return options.json ? nodesJson(inspection) : nodesText(inspection, outputScreen());
  return options.json ? overviewJson(snapshot, inspection)
                      : overviewText(snapshot, inspection, outputScreen());
}

ExitStatus runInspect(const InspectOptions& options) {
  const SelectionTerms terms = readSelection(options.selection);
  const std::unique_ptr<Snapshot> snapshot = loadSnapshot(options.snapshot, options.jobs);
  const std::vector<const IBNode*> nodes = options.node.empty()
                                               ? selectNodes(*snapshot, terms, options.snapshot)
                                               : namedNodes(*snapshot, options.node, options.snapshot);
  if (options.topology) {
    printResult(topologyText(*snapshot, nodes));
    if (!options.strict) return kDone;
  }
  const Inspection inspection = inspect(*snapshot, nodes);
  if (!options.topology) printResult(resultOf(options, *snapshot, inspection));
  return options.strict && inspection.hasErrors() ? kAnswerIsNo : kDone;
}

}  // namespace

void addInspectCommand(CommandLine& line) {
  const auto options = std::make_shared<InspectOptions>();
  Command& command = line.addCommand(
      "inspect", "Show what each simulated node will have, what it will lack, why, and how to mend that");
  addSnapshotArgument(command, options->snapshot);
  const Option nodes =
      command.flag("--nodes", options->nodes,
                   "Print a line for each node: GUID, class, ports, ports above Down, model, a letter for\n"
                   "each of the 22 frames (B block, c comment, E #error line), name");
  const Option node =
      command.option("--node", "NAME|GUID", options->node,
                     "Print everything about the node with this name or GUID, and the values of its ports");
  const Option topology =
      command.flag("--topology", options->topology, "Print the nodes and their links as ibnetdiscover does");
  node.excludes(nodes);
  topology.excludes(nodes).excludes(node);
  addSelectionOptions(command, options->selection, {node});
  command.flag("--json", options->json, "Print a JSON document; with --nodes one per line")
      .excludes(topology);
  command.flag("--strict", options->strict, "Exit with 1 if any #error line would be written");
  addJobsOption(command, options->jobs, "Threads that read the snapshot");
  command.footer(
      "On a terminal the text fits the width (COLUMNS) and has colours unless NO_COLOR is set.\n"
      "Example: siminfo inspect fabric.jsonl --nodes --type switch | grep E");
  command.does([options] { return runInspect(*options); });
}

}  // namespace siminfo
