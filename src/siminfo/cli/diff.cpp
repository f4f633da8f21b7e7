#include <memory>
#include <thread>

#include "siminfo/cli/arguments.h"
#include "siminfo/cli/command_line.h"
#include "siminfo/cli/console.h"
#include "siminfo/cli/load.h"
#include "siminfo/cli/selection.h"
#include "siminfo/inspect/diff_text.h"
#include "siminfo/text/number_text.h"

namespace siminfo {
namespace {

struct DiffCommand {
  std::string before;
  std::string after;
  Selection selection;
  bool json = false;
  bool counters = false;
  unsigned jobs = 0;
};

/// A node may be in one of the two alone, so a selection is empty only when it selects nothing in either.
std::pair<std::vector<const IBNode*>, std::vector<const IBNode*>> selectInBoth(const DiffCommand& options,
                                                                               const SelectionTerms& terms,
                                                                               Snapshot& before,
                                                                               Snapshot& after) {
  if (terms.isEverything()) return {everyNode(before), everyNode(after)};
  SelectedNodes old = findNodes(before, terms);
  SelectedNodes now = findNodes(after, terms);
  if (old.nodes.empty() && now.nodes.empty())
    throw CommandError(kBadInput, options.after + ": no node is selected, neither here nor in " +
                                      options.before + "; " + now.nearness);
  for (const std::uint64_t guid : old.unknownGuids) {
    if (now.unknownGuids.contains(guid))
      printWarning("no node of the sub-fabrics has the GUID " + guidText(guid) + ", so it selects nothing");
  }
  return {std::move(old.nodes), std::move(now.nodes)};
}

ExitStatus runDiff(const DiffCommand& options) {
  if (options.before == "-" && options.after == "-")
    throw CommandError(
        kBadCommandLine,
        "only one of the two snapshots can come from standard input; give a file for the other");
  const SelectionTerms terms = readSelection(options.selection);
  // One after the other, each on every core: two at a time would take as long, and the cores from each other.
  const std::unique_ptr<Snapshot> before = loadSnapshot(options.before, options.jobs);
  const std::unique_ptr<Snapshot> after = loadSnapshot(options.after, options.jobs);
  const auto [oldNodes, newNodes] = selectInBoth(options, terms, *before, *after);
  const unsigned jobs = options.jobs != 0 ? options.jobs : std::thread::hardware_concurrency();
  const SnapshotDiff diff = compareSnapshots(*before, oldNodes, *after, newNodes, {options.counters, jobs});
  printResult(options.json ? diffJson(diff) : diffText(diff, outputScreen()));
  printNote(counted(diff.compared, "node") + " in both" + (diff.isSame() ? ", and nothing differs" : ""));
  return diff.isSame() ? kDone : kAnswerIsNo;
}

}  // namespace

void addDiffCommand(CommandLine& line) {
  const auto options = std::make_shared<DiffCommand>();
  Command& command = line.addCommand(
      "diff", "Show what changed in a fabric between two snapshots: nodes, names, cables and decoded fields");
  command.argument("OLD", options->before, "The earlier snapshot; one of the two may be - for standard input")
      .required();
  command.argument("NEW", options->after, "The later snapshot").required();
  addSelectionOptions(command, options->selection);
  command.flag("--counters", options->counters,
               "Compare the values of counters as well, which change from one minute to the next");
  command.flag("--json", options->json, "Print a JSON document");
  addJobsOption(command, options->jobs, "Threads that read and compare");
  command.footer(
      "Nodes with the same GUID are the same node. The headers of the snapshots are not compared.\n"
      "Exit status: 0 nothing differs; 1 something differs.\n"
      "Example: siminfo diff monday.jsonl tuesday.jsonl --type switch");
  command.does([options] { return runDiff(*options); });
}

}  // namespace siminfo
