// The program siminfo-collect.
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

#include "siminfo/cli/collect.h"
#include "siminfo/cli/command_line.h"
#include "siminfo/cli/console.h"
#include "siminfo/cli/interruption.h"
#include "siminfo/cli/process.h"
#include "siminfo/core/in_memory/output_directory.h"
#include "siminfo/core/version.h"
#include "siminfo/snapshot/compression.h"
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
  explicit SnapshotOutput(const std::string& fileName)
      : fileName_(fileName == "-" ? "" : fileName), nameOfForm_(fileName) {
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
      if (const auto compressor = compressorFor(nameOfForm_, out))
        writeSnapshot(snapshot, *compressor);
      else
        writeSnapshot(snapshot, out);
      directory.close(out);
    }
    if (!directory.failure().empty()) throw CommandError(kBadInput, directory.failure());
  }

 private:
  std::filesystem::path folder() const { return fileName_.has_parent_path() ? fileName_.parent_path() : "."; }

  std::filesystem::path fileName_;  // empty for standard output
  std::string nameOfForm_;          // whose end says whether it is compressed
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

ExitStatus run(int argc, char** argv) {
  std::vector<const char*> words(argv, argv + argc);
  const std::string_view only = argc == 2 ? argv[1] : "";
  if (only != "-V" && only != "--version") words.insert(words.begin() + 1, "collect");
  CommandLine line("The part of siminfo that walks a live fabric.", toolNameAndVersion(), "");
  addCollectCommand(line, collect);
  return line.run(static_cast<int>(words.size()), words.data());
}

}  // namespace
}  // namespace siminfo

int main(int argc, char** argv) {
  return siminfo::runProcess([&] { return siminfo::run(argc, argv); });
}
