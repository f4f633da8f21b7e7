#include "siminfo/collect/collect.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "siminfo/cli/command_line.h"
#include "siminfo/cli/console.h"
#include "siminfo/cli/interruption.h"
#include "siminfo/core/in_memory/output_directory.h"
#include "siminfo/snapshot/writer.h"
#include "siminfo/text/quoting.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

constexpr std::size_t kMostLines = 20;  // of one kind, on standard error

void printLines(const std::vector<std::string>& lines) {
  for (std::size_t i = 0; i < std::min(lines.size(), kMostLines); ++i) printWarning(lines[i]);
  if (lines.size() > kMostLines) printWarning("and " + std::to_string(lines.size() - kMostLines) + " more");
}

/// Where the snapshot goes: a file, or standard output.
class SnapshotOutput {
 public:
  /// Throws a CommandError when the file could not be written, so that nobody walks a fabric for nothing.
  explicit SnapshotOutput(const std::string& fileName) : fileName_(fileName == "-" ? "" : fileName) {
    if (fileName_.empty()) return;
    OutputDirectory directory(folder());
    std::ofstream out;
    if (directory.open(fileName_.filename(), out) != 0) throw CommandError(kBadInput, directory.failure());
  }

  /// What was cut short is less than what may be there already, and stands beside it.
  void giveWay() {
    if (fileName_.empty() || !std::filesystem::exists(fileName_)) return;
    fileName_ += ".partial";
    printWarning("the file that was there is kept, and the incomplete snapshot is in " + fileName_.string() +
                 "; --partial replaces the file");
  }

  void write(const Snapshot& snapshot) const {
    if (fileName_.empty()) {
      std::ostringstream text;
      writeSnapshot(snapshot, text);
      return printResult(text.str());
    }
    OutputDirectory directory(folder());
    std::ofstream out;
    if (directory.open(fileName_.filename(), out) == 0) {
      writeSnapshot(snapshot, out);
      directory.close(out);
    }
    if (!directory.failure().empty()) throw CommandError(kBadInput, directory.failure());
  }

 private:
  std::filesystem::path folder() const { return fileName_.has_parent_path() ? fileName_.parent_path() : "."; }

  std::filesystem::path fileName_;  // empty for standard output
};

/// What the command line of `siminfo collect` says.
struct CollectCommand {
  CollectOptions options;
  std::string output;
  std::string fabric;  ///< the name that its owner gives it
  bool partial = false;
};

ExitStatus collect(const CollectCommand& command) {
  for (const std::string& fault : {textFault(command.fabric), lengthFault(command.fabric)})
    if (!fault.empty())
      throw CommandError(kBadCommandLine, "--fabric: " + inQuotes(command.fabric) + " " + fault);
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  const auto elapsed = [&] {
    std::ostringstream text;
    text.precision(1);
    text << std::fixed << std::chrono::duration<double>(Clock::now() - start).count() << " s";
    return text.str();
  };
  SnapshotOutput output(command.output);
  const Interruption interruption;
  Collected collected;
  try {
    Progress line;
    collected = collectFabric(command.options,
                              {[&] { return interruption.isAsked(); },
                               [&](const CollectProgress& progress) {
                                 line.show(std::to_string(progress.nodes) + " nodes found, " +
                                           std::to_string(progress.packets) + " SMPs sent, " + elapsed());
                               }});
  } catch (const CollectError& error) {
    throw CommandError(error.kind() == CollectError::kNoPort ? kNoFabric : kBadInput, error.what());
  }
  // A signal that comes from here on finds nothing to cut short.
  const bool isInterrupted = interruption.isAsked();
  collected.snapshot.fabric = command.fabric;
  printLines(collected.warnings);
  printLines(collected.missing);
  if (collected.snapshot.discovered.fabric.nodeByName.empty())
    throw CommandError(isInterrupted ? kPartial : kNoFabric,
                       isInterrupted ? "interrupted before the first node was found: nothing is written"
                                     : "no node was found: nothing is written");
  if (isInterrupted) printWarning("interrupted: the snapshot holds what was found until then");
  if (isInterrupted && !command.partial) output.giveWay();
  output.write(collected.snapshot);
  printNote(std::to_string(collected.snapshot.discovered.fabric.nodeByName.size()) + " nodes, " +
            std::to_string(collected.snapshot.discovered.fabric.portCount()) + " ports; " +
            std::to_string(collected.packets) + " SMPs in " + elapsed());
  return isInterrupted || !collected.missing.empty() ? kPartial : kDone;
}

}  // namespace

void addCollectCommand(CommandLine& line) {
  const auto told = std::make_shared<CollectCommand>();
  CollectOptions* options = &told->options;
  Command& command = line.addCommand(
      "collect", "Walk a live InfiniBand fabric, or read a saved discovery, into a fabric snapshot");
  const Option device =
      command.option("-C,--Ca", "CA", options->device, "Device of this host to collect through");
  const Option port = command.number("-P,--Port", "PORT", options->port, {1, 254}, "Port of that device");
  command.number("-t,--timeout", "MS", options->limits.timing.timeoutMs, {1, 600000},
                 "Milliseconds to wait for an answer");
  command.number("--outstanding-smps,--outstanding_smps", "N", options->limits.outstanding, {1, 1024},
                 "Requests to have under way at the same time");
  command.number("--max-hops", "N", options->limits.maxHops, {0, 63},
                 "Walk at most this many hops; 0, the default, is no limit");
  command
      .option("--load-cache", "FILE", options->cacheFile,
              "Read this file, written by ibnetdiscover --cache, and send nothing to the fabric")
      .excludes(device)
      .excludes(port);
  command.option("--node-name-map", "FILE", options->nodeNameMap,
                 "File with lines 0x<guid> \"<name>\"; the names become alternative names");
  command.option("--attribute-layouts", "FILE", options->attributeLayouts,
                 "File with lines SMP_RouterInfo attribute NUMBER and RECORD.FIELD bit NUMBER, for what the\n"
                 "InfiniBand libraries do not know; without it, routers are not asked for RouterInfo");
  command.option("--fabric", "NAME", told->fabric,
                 "Name of the fabric, for the header; it tells the snapshots of many fabrics apart");
  command.option("-o,--output", "SNAPSHOT", told->output,
                 "File to write; standard output by default, and for -");
  command.flag("--partial", told->partial,
               "Let an interrupted collection replace the file that is there; without this, the new\n"
               "file has .partial added to its name");
  command.footer(
      "Ctrl-C ends the walk: it writes what it has and exits with 5. A second Ctrl-C ends it at once.\n"
      "Example: siminfo collect -C mlx4_0 -P 1 --output fabric.jsonl");
  command.does([told] { return collect(*told); });
}

}  // namespace siminfo
