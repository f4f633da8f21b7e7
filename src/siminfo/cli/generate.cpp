#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <system_error>

#include "siminfo/cli/arguments.h"
#include "siminfo/cli/command_line.h"
#include "siminfo/cli/console.h"
#include "siminfo/cli/depfile.h"
#include "siminfo/cli/generate_options.h"
#include "siminfo/cli/load.h"
#include "siminfo/cli/selection.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/simulator/headers.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

using NodesByClass = std::map<std::string, std::vector<const IBNode*>>;

NodesByClass byClass(const SimInfoDumpCPP& generator, const std::vector<const IBNode*>& nodes) {
  NodesByClass classes;
  for (const IBNode* node : nodes) classes[generator.GetDumpedNodeType(*node)].push_back(node);
  return classes;
}

/// Leaves the first node of each class, and says which were left out.
void keepFirstOfEachClass(NodesByClass& classes) {
  std::vector<std::string> dropped;
  for (auto& [nodeClass, nodes] : classes) {
    for (std::size_t i = 1; i < nodes.size(); ++i) dropped.push_back(printable(nodes[i]->name));
    nodes.resize(1);
  }
  if (!dropped.empty())
    printNote("left out by --one-per-class: " + counted(dropped.size(), "node") + ": " + someOf(dropped));
}

void warnOfSharedClasses(const NodesByClass& nodes) {
  std::string classes;
  for (const auto& [nodeClass, ofClass] : nodes) {
    if (ofClass.size() > 1)
      classes +=
          (classes.empty() ? "" : ", ") + nodeClass + " (" + std::to_string(ofClass.size()) + " nodes)";
  }
  if (classes.empty()) return;
  printWarning("functions are defined more than once, so the file will not compile: " + classes +
               "; select one node of each class with --guid, or the first of each with --one-per-class");
}

void checkOptions(const GenerateOptions& options) {
  checkName(options.name, options.simulatorHeader || options.project);
  if (options.outputDir == "-")
    throw CommandError(
        kBadCommandLine,
        "--output-dir: the files cannot go to standard output; expected a directory (./- is one that "
        "is named -)");
  if (options.depfile.empty()) return;
  if (options.snapshot == "-")
    throw CommandError(kBadCommandLine,
                       "--depfile: standard input has no name to depend on; give the snapshot as a file");
  for (const std::string& path : {options.snapshot, options.selection.guidFile, options.outputDir})
    checkDepfilePath(path);
}

void makeDirectory(const std::string& name) {
  std::error_code error;
  std::filesystem::create_directories(name, error);
  if (!error && !std::filesystem::is_directory(name, error))
    error = std::make_error_code(std::errc::not_a_directory);
  if (error) throw CommandError(kBadInput, "--output-dir: " + name + ": " + error.message());
}

/// Beside the source, under the name by which the source includes it. Returns its path.
std::filesystem::path writeSimulatorHeader(const GenerateOptions& options) {
  OutputDirectory files(options.outputDir);
  std::ofstream out;
  if (files.open(SimInfoDumpCPP::LowerName(options.name) + ".h", out) == 0) {
    out << dumpHeader(options.name);
    files.close(out);
  }
  if (!files.failure().empty()) throw CommandError(kBadInput, files.failure());
  return files.path();
}

/// The nodes themselves: one file, and its header. Returns their paths.
std::vector<std::filesystem::path> generateNodes(const GenerateOptions& options, Snapshot& snapshot,
                                                 const std::vector<const IBNode*>& selected) {
  InMemoryDrovik engine(snapshot.discovered, options.outputDir);
  const SimInfoDumpCPP generator(
      engine, options.buildable ? SimInfoDumpCPP::BuildableFrames() : SimInfoDumpCPP::Frames(),
      options.missing);
  NodesByClass classes = byClass(generator, selected);
  if (options.onePerClass) keepFirstOfEachClass(classes);
  warnOfSharedClasses(classes);
  std::vector<const IBNode*> nodes;
  for (const auto& [nodeClass, ofClass] : classes) nodes.insert(nodes.end(), ofClass.begin(), ofClass.end());

  GenerationSummary summary;
  const OnlyThese onlyThese(snapshot.discovered.fabric, std::move(nodes));
  generator.Generate(options.name, {}, summary);
  if (!engine.files().failure().empty()) throw CommandError(kBadInput, engine.files().failure());
  std::vector<std::filesystem::path> paths{engine.files().path()};
  if (options.simulatorHeader) paths.push_back(writeSimulatorHeader(options));
  reportFrames(counted(summary.nodes, "node"), summary, options.missing);
  return paths;
}

ExitStatus generate(const GenerateOptions& options) {
  checkOptions(options);
  const SelectionTerms terms = readSelection(options.selection);
  const std::unique_ptr<Snapshot> snapshot = loadSnapshot(options.snapshot, options.jobs);
  const std::vector<const IBNode*> nodes =
      selectNodes(*snapshot, terms, options.snapshot, options.exactPorts);
  makeDirectory(options.outputDir);
  const std::vector<std::filesystem::path> written =
      options.models ? generateModels(options, *snapshot, nodes) : generateNodes(options, *snapshot, nodes);
  std::string paths;
  for (const std::filesystem::path& path : written) paths += path.string() + "\n";
  printResult(paths);
  // Last of all: it says that the run has done its work.
  if (!options.depfile.empty())
    writeDepfile(options.depfile, written, {options.snapshot, options.selection.guidFile});
  return kDone;
}

/// `others` are the options that have no say in a model's text.
void addModelOptions(Command& command, GenerateOptions& options, const std::vector<Option>& others) {
  const Option models =
      command.flag("--models", options.models,
                   "Write each distinct device once, as a class, and a table that says which node is which:\n"
                   "<lower name>_models_0.cpp, _nodes.tsv and _models.def");
  for (const Option& other : others) models.excludes(other);
  command.number("--shards", "N", options.shards, {1, 4096}, "Number of source files for the models")
      .needs(models);
  command
      .flag("--project", options.project,
            "Write a folder that builds by itself: the models, the reference simulator, CMakeLists.txt\n"
            "and a program that restores every node")
      .needs(models);
  command
      .flag("--exact-ports", options.exactPorts,
            "Give every port that has values of its own a branch, as special ports have")
      .needs(models);
}

}  // namespace

void reportFrames(const std::string& what, const GenerationSummary& summary, Missing missing) {
  const bool isComment = missing == Missing::kComment;
  printNote(what + ", " + counted(summary.frames(), "frame") + ": " + counted(summary.blocks, "block") +
            ", " + counted(summary.comments, "comment") + ", " +
            counted(summary.missingFrames(), isComment ? "comment" : "#error line") +
            (isComment ? " for what was not collected" : ""));
  if (!isComment || summary.missing.empty()) return;
  std::string methods;
  for (const auto& [method, frames] : summary.missing)
    methods.append(methods.empty() ? "" : ", ").append(method).append(" ").append(std::to_string(frames));
  printNote("not collected, so the simulator keeps its own values: " + methods);
}

void addGenerateCommand(CommandLine& line) {
  const auto options = std::make_shared<GenerateOptions>();
  Command& command = line.addCommand(
      "generate", "Write the simulator's C++ source, <lower name>_generated.cpp, from a fabric snapshot");
  addSnapshotArgument(command, options->snapshot);
  command
      .option("-n,--name", "NAME", options->name,
              "Name of the generated class, a C++ identifier; in lower case it names the file")
      .required();
  addSelectionOptions(command, options->selection);
  command.option("--guid-file", "FILE", options->selection.guidFile,
                 "Only the nodes whose GUIDs are in this file, one per line");
  command.option("-o,--output-dir", "DIR", options->outputDir,
                 "Directory to write to; made if it does not exist");
  const Option onePerClass =
      command.flag("--one-per-class", options->onePerClass,
                   "Only the first node, by name, of each class (SW, RTR, AN, HCA, Unknown)");
  const Option buildable =
      command.flag("--buildable", options->buildable,
                   "Write the two frames whose exact text no compiler accepts so that they compile: the GID\n"
                   "of the reduction class port info byte by byte, and each branch of the push counters in\n"
                   "its own scope");
  const Option header =
      command.flag("--simulator-header", options->simulatorHeader,
                   "Also write <lower name>.h, which declares the classes for the reference simulator");
  const Option missing = addMissingOption(command, options->missing);
  addModelOptions(command, *options, {onePerClass, buildable, header, missing});
  command.option("--depfile", "FILE", options->depfile,
                 "Also write which files the output was made from, as a rule that Make and Ninja read");
  addJobsOption(command, options->jobs, "Threads that read the snapshot");
  command.footer(
      "Prints the path of the file. It compiles if it has at most one node of each class.\n"
      "Example: siminfo generate fabric.jsonl --name Fab1 --guid 0x2c9 --output-dir out");
  command.does([options] { return generate(*options); });
}

}  // namespace siminfo
