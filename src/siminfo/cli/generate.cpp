#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <system_error>

#include "siminfo/cli/arguments.h"
#include "siminfo/cli/command.h"
#include "siminfo/cli/console.h"
#include "siminfo/cli/load.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/simulator/headers.h"
#include "siminfo/text/number_text.h"

namespace siminfo {
namespace {

struct GenerateOptions {
  std::string snapshot;
  std::string name;
  std::vector<std::string> guids;
  std::string guidFile;
  std::string outputDir = ".";
  bool onePerClass = false;
  bool buildable = false;
  bool simulatorHeader = false;
  unsigned jobs = 0;
};

using NodesByClass = std::map<std::string, std::vector<const IBNode*>>;

NodesByClass selectedNodes(const SimInfoDumpCPP& generator, const IBFabric& fabric,
                           const std::set<std::uint64_t>& guids) {
  NodesByClass nodes;
  for (const auto& [name, node] : fabric.nodeByName) {
    if (SimInfoDumpCPP::Selects(guids, node)) nodes[generator.GetDumpedNodeType(*node)].push_back(node);
  }
  return nodes;
}

std::set<std::uint64_t> firstOfEachClass(const NodesByClass& nodes) {
  std::set<std::uint64_t> guids;
  for (const auto& [nodeClass, ofClass] : nodes) guids.insert(ofClass.front()->guid);
  return guids;
}

void warnOfUnknownGuids(const IBFabric& fabric, std::set<std::uint64_t> guids) {
  for (const auto& [name, node] : fabric.nodeByName) {
    if (node->inSubFabric) guids.erase(node->guid);
  }
  for (const std::uint64_t guid : guids)
    printWarning("GUID " + guidText(guid) + " is no node of the sub-fabric; nothing is generated for it");
}

void warnOfSharedClasses(const NodesByClass& nodes) {
  std::string classes;
  for (const auto& [nodeClass, ofClass] : nodes) {
    if (ofClass.size() > 1)
      classes +=
          (classes.empty() ? "" : ", ") + nodeClass + " (" + std::to_string(ofClass.size()) + " nodes)";
  }
  if (classes.empty()) return;
  printWarning("a C++ compiler will see the same member functions defined more than once: " + classes +
               "; select one node of each class with --guid, or the first of each with --one-per-class");
}

void checkOptions(const GenerateOptions& options) {
  checkName(options.name, options.simulatorHeader);
  std::error_code error;
  if (std::filesystem::exists(options.outputDir, error) &&
      !std::filesystem::is_directory(options.outputDir, error))
    throw CommandError(kBadCommandLine, "--output-dir: " + options.outputDir + " is no directory");
}

std::string counted(std::size_t number, const std::string& thing) {
  return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

/// Beside the source, under the name by which the source includes it.
void writeSimulatorHeader(const GenerateOptions& options) {
  OutputDirectory files(options.outputDir);
  std::ofstream out;
  if (files.open(SimInfoDumpCPP::LowerName(options.name) + ".h", out) == 0) {
    out << dumpHeader(options.name);
    files.close(out);
  }
  if (!files.failure().empty()) throw CommandError(kBadInput, files.failure());
  printResult(files.path().string() + "\n");
}

ExitStatus generate(const GenerateOptions& options) {
  checkOptions(options);
  std::set<std::uint64_t> guids = readGuids(options.guids, options.guidFile);
  const std::unique_ptr<Snapshot> snapshot = loadSnapshot(options.snapshot, options.jobs);

  std::error_code error;
  std::filesystem::create_directories(options.outputDir, error);
  if (error)
    throw CommandError(kBadCommandLine, "--output-dir: " + options.outputDir + ": " + error.message());

  InMemoryDrovik engine(snapshot->discovered, options.outputDir);
  const SimInfoDumpCPP generator(
      engine, options.buildable ? SimInfoDumpCPP::BuildableFrames() : SimInfoDumpCPP::Frames());
  warnOfUnknownGuids(engine.fabric(), guids);
  NodesByClass nodes = selectedNodes(generator, engine.fabric(), guids);
  if (options.onePerClass && !nodes.empty()) {
    guids = firstOfEachClass(nodes);
    nodes = selectedNodes(generator, engine.fabric(), guids);
  }
  warnOfSharedClasses(nodes);

  GenerationSummary summary;
  generator.Generate(options.name, guids, summary);
  if (!engine.files().failure().empty()) throw CommandError(kBadInput, engine.files().failure());
  printResult(engine.files().path().string() + "\n");
  if (options.simulatorHeader) writeSimulatorHeader(options);
  printNote(counted(summary.nodes, "node") + ", " + counted(summary.frames(), "frame") + ": " +
            counted(summary.blocks, "block") + ", " + counted(summary.comments, "comment") + ", " +
            counted(summary.errors, "#error line"));
  return kDone;
}

}  // namespace

void addGenerateCommand(CLI::App& program, Command& chosen) {
  const auto options = std::make_shared<GenerateOptions>();
  CLI::App* command = program.add_subcommand(
      "generate", "Write the simulator's C++ source, <lower name>_generated.cpp, from a fabric snapshot");
  command->add_option("SNAPSHOT", options->snapshot, "Fabric snapshot, or - for standard input")
      ->type_name("")
      ->required();
  command
      ->add_option("--name", options->name,
                   "Class of the dump, a C++ identifier; lower-cased it names the file")
      ->type_name("NAME")
      ->required();
  command->add_option("--guid", options->guids, "Only the node of this GUID, in hexadecimal; may be repeated")
      ->type_name("GUID")
      ->allow_extra_args(false);
  command
      ->add_option("--guid-file", options->guidFile, "Only the nodes whose GUIDs the file lists, one a line")
      ->type_name("FILE");
  command->add_option("--output-dir", options->outputDir, "Directory of the file; made when it is missing")
      ->type_name("DIR")
      ->capture_default_str();
  command->add_flag("--one-per-class", options->onePerClass,
                    "Only the first node, by name, of each class (SW, RTR, AN, HCA, Unknown)");
  command->add_flag(
      "--buildable", options->buildable,
      "In the two frames whose exact text no compiler accepts: the GID of the reduction class port\n"
      "info byte by byte, and each branch of the push counters in a scope of its own");
  command->add_flag(
      "--simulator-header", options->simulatorHeader,
      "Write <lower name>.h as well, the header of the dump's classes for the reference simulator");
  command->add_option("--jobs", options->jobs, "Threads that read the snapshot; every core unless given")
      ->type_name("N")
      ->check(CLI::Range(1, 1024));
  command->footer(
      "Prints the path of the file. A C++ compiler takes one node of each class in a file.\n"
      "Example: siminfo generate fabric.jsonl --name Fab1 --guid 0x2c9 --output-dir out");
  command->callback([options, &chosen] { chosen = [options] { return generate(*options); }; });
}

}  // namespace siminfo
