#include <unistd.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <iterator>
#include <memory>
#include <system_error>
#include <thread>

#include "siminfo/cli/arguments.h"
#include "siminfo/cli/command.h"
#include "siminfo/cli/console.h"
#include "siminfo/cli/load.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/simulator/headers.h"
#include "siminfo/verify/report.h"

namespace siminfo {
namespace {

struct VerifyOptions {
  std::string snapshot;
  std::string name = "Fabric";
  std::vector<std::string> guids;
  unsigned jobs = std::max(1U, std::thread::hardware_concurrency());
  std::string compiler = "c++";
  std::string keep;
  std::string use;
  bool all = false;
  bool buildable = false;
};

/// The folder to work in: the one that is to be kept, or one that goes when the work is done.
class WorkFolder {
 public:
  explicit WorkFolder(const std::string& keep) : path_(keep), isKept_(!keep.empty()) {
    if (isKept_) return;
    std::string name = (std::filesystem::temp_directory_path() / "siminfo-verify-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    path_ = name;
  }
  ~WorkFolder() {
    std::error_code ignored;
    if (!isKept_) std::filesystem::remove_all(path_, ignored);
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  bool isKept_;
};

std::atomic<bool> isInterrupted = false;

/// Lets an interrupt end the work in order, so that no folder is left behind.
class InterruptGuard {
 public:
  InterruptGuard() : before_(std::signal(SIGINT, [](int) { isInterrupted = true; })) {}
  ~InterruptGuard() { std::signal(SIGINT, before_); }
  InterruptGuard(const InterruptGuard&) = delete;
  InterruptGuard& operator=(const InterruptGuard&) = delete;

 private:
  void (*before_)(int);
};

std::vector<Representative> selectNodes(const Snapshot& snapshot, const VerifyOptions& options) {
  const std::set<std::uint64_t> guids = readGuids(options.guids, {});
  std::vector<const IBNode*> nodes;
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) {
    if (SimInfoDumpCPP::Selects(guids, node)) nodes.push_back(node);
  }
  if (nodes.empty())
    throw CommandError(kBadInput, options.snapshot +
                                      ": has no node to verify; expected one of the sub-fabric" +
                                      (guids.empty() ? "" : " with a GUID given by --guid"));
  if (!options.all && options.use.empty()) return representatives(snapshot, nodes);
  std::vector<Representative> each;
  each.reserve(nodes.size());
  for (const IBNode* node : nodes) each.push_back({node, 1});
  return each;
}

/// Generates the chosen nodes, and returns the path of the file.
std::filesystem::path generateInto(const std::filesystem::path& folder, Snapshot& snapshot,
                                   const std::vector<Representative>& nodes, const VerifyOptions& options) {
  std::set<std::uint64_t> guids;
  for (const Representative& of : nodes) guids.insert(of.node->guid);
  InMemoryDrovik engine(snapshot.discovered, folder);
  SimInfoDumpCPP(engine, options.buildable ? SimInfoDumpCPP::BuildableFrames() : SimInfoDumpCPP::Frames())
      .Generate(options.name, guids);
  if (!engine.files().failure().empty()) throw CommandError(kBadInput, engine.files().failure());
  return engine.files().path();
}

/// The generated file in a folder of --output-dir, or in one that --keep left.
std::filesystem::path findIn(const std::filesystem::path& folder, const std::string& lowerName) {
  const std::string file = lowerName + "_generated.cpp";
  for (const auto& path : {folder / file, folder / "dumps" / lowerName / file}) {
    if (std::filesystem::exists(path)) return path;
  }
  throw CommandError(kBadInput, (folder / file).string() +
                                    ": is not there; expected what siminfo generate or "
                                    "siminfo verify --keep wrote with this --name");
}

std::string readFile(const std::filesystem::path& path) {
  errno = 0;
  std::ifstream file(path, std::ios_base::binary);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!file) throw std::system_error(errno != 0 ? errno : EIO, std::generic_category(), path.string());
  return text;
}

std::vector<NodeResult> runVerification(Snapshot& snapshot, const VerifyOptions& options) {
  std::vector<Representative> nodes = selectNodes(snapshot, options);
  const InterruptGuard guard;
  const WorkFolder folder(options.keep);
  const Workshop workshop(std::filesystem::absolute(folder.path()), options.compiler);
  workshop.writeDumpHeader(options.name);
  const std::string lowerName = SimInfoDumpCPP::LowerName(options.name);
  const std::filesystem::path path =
      options.use.empty() ? generateInto(workshop.dumpFolder(lowerName), snapshot, nodes, options)
                          : std::filesystem::absolute(findIn(options.use, lowerName));
  const DumpText text(readFile(path));
  if (!options.use.empty()) {
    std::erase_if(nodes,
                  [&](const Representative& of) { return text.sectionsOf({of.node}).front() == nullptr; });
    if (nodes.empty()) throw CommandError(kBadInput, path.string() + ": has no node of the snapshot in it");
  }
  Progress progress;
  const auto show = [&](std::size_t done) {
    progress.show("verifying: " + std::to_string(done) + " of " + std::to_string(nodes.size()) + " nodes");
    return !isInterrupted;
  };
  std::vector<NodeResult> results =
      verifyNodes(snapshot, {options.name, path, text}, nodes, workshop, options.jobs, show);
  if (isInterrupted) throw CommandError(kBadInput, "interrupted");
  return results;
}

ExitStatus verify(const VerifyOptions& options) {
  checkName(options.name, true);
  const std::unique_ptr<Snapshot> snapshot = loadSnapshot(options.snapshot, options.jobs);
  std::vector<NodeResult> results;
  try {
    results = runVerification(*snapshot, options);
  } catch (const std::system_error& error) {
    throw CommandError(kBadInput, error.what());
  }
  printResult(reportText(results));
  const OutcomeCounts counts = countOutcomes(results);
  const auto of = [&](Outcome outcome) { return counts.at(static_cast<std::size_t>(outcome)); };
  return of(Outcome::kDiffers) + of(Outcome::kBroken) == 0 ? kDone : kAnswerIsNo;
}

}  // namespace

void addVerifyCommand(CLI::App& program, Command& chosen) {
  const auto options = std::make_shared<VerifyOptions>();
  CLI::App* command = program.add_subcommand(
      "verify",
      "Compile what is generated with the reference simulator, run it, and compare the simulated nodes");
  command->add_option("SNAPSHOT", options->snapshot, "Fabric snapshot, or - for standard input")
      ->type_name("")
      ->required();
  command->add_option("--name", options->name, "Class of the dump, a C++ identifier")
      ->type_name("NAME")
      ->capture_default_str();
  command->add_option("--guid", options->guids, "Only the node of this GUID, in hexadecimal; may be repeated")
      ->type_name("GUID")
      ->allow_extra_args(false);
  command->add_flag("--all", options->all, "Every node, and not one of each shape");
  command->add_flag("--buildable", options->buildable,
                    "Generate the buildable form of the two frames that cannot compile as the format stands");
  command->add_option("--jobs", options->jobs, "Nodes compiled at a time")
      ->type_name("N")
      ->check(CLI::Range(1U, 256U))
      ->capture_default_str();
  command->add_option("--compiler", options->compiler, "C++ compiler, in the manner of g++ and clang++")
      ->type_name("CXX")
      ->capture_default_str();
  command->add_option("--keep", options->keep, "Work in this folder and keep it")->type_name("DIR");
  command
      ->add_option("--use", options->use,
                   "Verify the generated file in this folder, made by generate or by verify --keep with the\n"
                   "same --name, and every node that it holds")
      ->type_name("DIR");
  command->footer(
      "Exit status: 1 when something differs or does not compile; #error lines are faults of the snapshot, "
      "and\n"
      "reported, but no difference.\n"
      "Example: siminfo verify fabric.jsonl --buildable --jobs 8");
  command->callback([options, &chosen] { chosen = [options] { return verify(*options); }; });
}

}  // namespace siminfo
