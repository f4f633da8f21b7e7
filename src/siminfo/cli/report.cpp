#include "siminfo/report/report.h"

#include <filesystem>
#include <memory>

#include "siminfo/cli/arguments.h"
#include "siminfo/cli/command_line.h"
#include "siminfo/cli/console.h"
#include "siminfo/cli/load.h"
#include "siminfo/cli/selection.h"
#include "siminfo/core/in_memory/output_directory.h"

namespace siminfo {
namespace {

struct ReportOptions {
  std::string snapshot;
  std::string output;
  Selection selection;
  unsigned jobs = 0;
};

void writePage(const std::filesystem::path& file, const std::string& page) {
  OutputDirectory directory(file.has_parent_path() ? file.parent_path() : ".");
  if (directory.put(file.filename(), page) != 0) throw CommandError(kBadInput, directory.failure());
  printResult(file.string() + "\n");
}

ExitStatus runReport(const ReportOptions& options) {
  const SelectionTerms terms = readSelection(options.selection);
  const std::unique_ptr<Snapshot> snapshot = loadSnapshot(options.snapshot, options.jobs);
  const Inspection inspection = inspect(*snapshot, selectNodes(*snapshot, terms, options.snapshot));
  const Report report = makeReport(*snapshot, inspection);
  if (report.bodilessModels > 0)
    printWarning(
        counted(report.bodilessModels, "model") + " of " + std::to_string(inspection.set.models.size()) +
        " are in the page without the text of their blocks, which would make it too large; see it with "
        "inspect --node, or select fewer nodes");
  if (options.output == "-")
    printResult(report.page);
  else
    writePage(options.output, report.page);
  return kDone;
}

}  // namespace

void addReportCommand(CommandLine& line) {
  const auto options = std::make_shared<ReportOptions>();
  Command& command = line.addCommand(
      "report",
      "Write a web page that shows what inspect does, with the text of all frames and the topology");
  addSnapshotArgument(command, options->snapshot);
  command.option("-o,--output", "FILE.html", options->output, "File to write, or - for standard output")
      .required();
  addSelectionOptions(command, options->selection);
  addJobsOption(command, options->jobs, "Threads that read the snapshot");
  command.footer(
      "The page is a single file that loads nothing else, neither from disk nor from the network.\n"
      "Example: siminfo report fabric.jsonl --output fabric.html");
  command.does([options] { return runReport(*options); });
}

}  // namespace siminfo
