#include <memory>
#include <system_error>
#include <thread>

#include "siminfo/cli/arguments.h"
#include "siminfo/cli/command_line.h"
#include "siminfo/cli/console.h"
#include "siminfo/cli/interruption.h"
#include "siminfo/cli/load.h"
#include "siminfo/cli/selection.h"
#include "siminfo/process/launch.h"
#include "siminfo/text/quoting.h"
#include "siminfo/text/text_rules.h"
#include "siminfo/verify/report.h"
#include "siminfo/verify/verifier.h"

namespace siminfo {
namespace {

VerifyRequest defaultRequest() {
  VerifyRequest request;
  request.name = "Fabric";
  request.jobs = 0;  // every core
  request.compiler = "c++";
  return request;
}

struct VerifyOptions {
  std::string snapshot;
  Selection selection;
  bool all = false;
  VerifyRequest request = defaultRequest();
};

/// Results of a verification that was cut short would prove nothing, so an interrupt is a failure.
Verification verifyInterruptibly(Snapshot& snapshot, const std::vector<const IBNode*>& nodes,
                                 const VerifyRequest& request) {
  const Interruption interruption;
  Progress line;
  Verification verification =
      verify(snapshot, nodes, request,
             {[&] { return interruption.isAsked(); },
              [&](std::size_t done, std::size_t of) {
                line.show("verifying: " + std::to_string(done) + " of " + std::to_string(of) + " programs");
              }});
  if (interruption.isAsked()) throw VerifyError("interrupted: nothing was proven");
  return verification;
}

/// What is kept is made anew, and so cannot be what is read.
void checkFolders(const VerifyRequest& request) {
  if (request.keep.empty() || request.use.empty()) return;
  const std::string used = (std::filesystem::weakly_canonical(request.use) / "").string();
  if (used.starts_with((std::filesystem::weakly_canonical(request.keep) / "").string()))
    throw CommandError(kBadInput, "--keep: " + inQuotes(request.keep.string()) +
                                      " contains the folder that --use reads; choose another one");
}

void checkCompiler(const std::string& name) {
  if (!findProgram(name))
    throw CommandError(kBadInput, "there is no C++ compiler called " + inQuotes(name) +
                                      "; install g++ or clang, or name another one with --compiler");
}

ExitStatus runVerify(const VerifyOptions& options) {
  checkName(options.request.name, true);
  VerifyRequest request = options.request;
  if (request.jobs == 0) request.jobs = std::max(1U, std::thread::hardware_concurrency());
  checkFolders(request);
  checkCompiler(request.compiler);
  const SelectionTerms terms = readSelection(options.selection);
  const std::unique_ptr<Snapshot> snapshot = loadSnapshot(options.snapshot, request.jobs);
  const std::vector<const IBNode*> nodes =
      selectNodes(*snapshot, terms, options.snapshot, request.exactPorts);
  try {
    const Verification verification = verifyInterruptibly(*snapshot, nodes, request);
    printResult(terminalText(reportText(verification)));
    return isProven(verification) ? kDone : kAnswerIsNo;
  } catch (const VerifyError& error) {
    throw CommandError(kBadInput, error.what());
  } catch (const std::system_error& error) {
    throw CommandError(kBadInput, error.what());
  }
}

}  // namespace

void addVerifyCommand(CommandLine& line) {
  const auto options = std::make_shared<VerifyOptions>();
  Command& command = line.addCommand(
      "verify", "Check every line of the generated source, run it in a simulator, and compare the nodes");
  addSnapshotArgument(command, options->snapshot);
  command.option("-n,--name", "NAME", options->request.name, "Name of the generated class, a C++ identifier");
  addSelectionOptions(command, options->selection);
  command.flag("--all", options->all, "Every node; this is the default, and the option changes nothing");
  const Option buildable =
      command.flag("--buildable", options->request.form.isBuildable,
                   "Expect the two frames whose exact text no compiler accepts in the form that compiles");
  const Option missing = addMissingOption(command, options->request.form.missing);
  const Option exactPorts =
      command.flag("--exact-ports", options->request.exactPorts,
                   "Verify the models that generate --models --exact-ports writes, in which every port has\n"
                   "its own values; the file with a class for each node is not verified then");
  addJobsOption(command, options->request.jobs, "Programs to compile at the same time");
  command.option("--compiler", "CXX", options->request.compiler,
                 "C++ compiler that takes the options of g++ and clang++");
  addLimitOptions(command, options->request.timeLimit, options->request.memoryLimit,
                  "each run of the compiler or of a compiled program");
  command.option("--keep", "DIR", options->request.keep,
                 "Work in this folder, which is new or left by an earlier --keep, and keep it");
  const Option use = command.option(
      "--use", "DIR", options->request.use,
      "Verify the generated file that is in this folder, as generate or verify --keep wrote it\n"
      "with the same --name and selection");
  exactPorts.excludes(buildable).excludes(missing).excludes(use);
  command.footer(
      "Exit status: 1 when something differs or does not compile; 3 also when it was interrupted.\n"
      "An #error line shows a fault of the snapshot; it is reported, but it is not a difference.\n"
      "Example: siminfo verify fabric.jsonl --buildable --jobs 8");
  command.does([options] { return runVerify(*options); });
}

}  // namespace siminfo
