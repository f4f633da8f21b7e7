#include "siminfo/serve/serve.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <string_view>
#include <system_error>

#include "siminfo/cli/arguments.h"
#include "siminfo/cli/command_line.h"
#include "siminfo/cli/console.h"
#include "siminfo/cli/generate_options.h"
#include "siminfo/cli/interruption.h"
#include "siminfo/cli/load.h"
#include "siminfo/cli/selection.h"
#include "siminfo/text/quoting.h"

namespace siminfo {
namespace {

void tell(const Served& served, const ServeRequest& request) {
  printNote("serving " + counted(served.nodes, "node") + " of " + counted(served.models, "model") +
            ", begun in " + served.seconds + " s; programs are at " + served.client +
            " unless SIM_HOST says otherwise");
  reportStandIns(served.standIns, request.exactPorts);
  if (!request.command.empty()) return;
  std::string exports = "export";
  for (const auto& [name, value] : served.environment)
    exports.append(" ").append(name).append("=").append(value);
  printResult(exports + "\n");
  printNote("the line above makes InfiniBand tools of a shell ask this fabric; Ctrl-C ends it");
}

struct ServeOptions {
  ServeRequest request;
  Selection selection;
  std::string attributeLayouts;
};

/// Clients read the name from their environment, and the system has little room for it.
void checkSocket(const std::string& name) {
  constexpr std::size_t kMost = 80;
  const auto isAllowed = [](unsigned char character) {
    return std::isalnum(character) != 0 ||
           std::string_view("._-").find(static_cast<char>(character)) != std::string_view::npos;
  };
  if (name.size() > kMost || !std::ranges::all_of(name, isAllowed))
    throw CommandError(kBadCommandLine, "--socket: " + inQuotes(name) +
                                            " is no name of sockets; expected up to 80 letters, digits, "
                                            "points, underscores and hyphens");
}

ExitStatus runServe(const ServeOptions& options) {
  ServeRequest request = options.request;
  checkSocket(request.socket);
  if (!options.attributeLayouts.empty()) {
    const std::string fault = readAttributeLayouts(options.attributeLayouts, request.told);
    if (!fault.empty()) throw CommandError(kBadInput, fault);
  }
  const SelectionTerms terms = readSelection(options.selection);
  const std::unique_ptr<Snapshot> snapshot = loadSnapshot(request.snapshotFile, 0);
  const std::vector<const IBNode*> nodes =
      selectNodes(*snapshot, terms, request.snapshotFile, request.exactPorts);
  const Interruption interruption;
  Progress line;
  try {
    return static_cast<ExitStatus>(
        serve(*snapshot, nodes, request,
              {[&] { return interruption.isAsked(); }, [&](const std::string& text) { line.show(text); },
               [&](const Served& served) {
                 line.clear();
                 tell(served, request);
               }}));
  } catch (const ServeError& error) {
    throw CommandError(kBadInput, error.what());
  } catch (const std::system_error& error) {
    throw CommandError(kBadInput, error.what());
  }
}

}  // namespace

void addServeCommand(CommandLine& line) {
  const auto options = std::make_shared<ServeOptions>();
  ServeRequest* request = &options->request;
  Command& command = line.addCommand(
      "serve", "Let InfiniBand tools of this machine talk to the simulated nodes of a snapshot");
  addSnapshotArgument(command, request->snapshotFile);
  command.flag("--init", request->init,
               "Begin with every link at Initialize and without LIDs, for a subnet manager");
  command.option("--socket", "NAME", request->socket,
                 "Name of the sockets; one of this process's own when missing");
  command.option(
      "--from", "NODE", request->from,
      "Node that programs are at, by name or GUID; the first adapter with a linked port when missing");
  addSelectionOptions(command, options->selection);
  command.flag("--exact-ports", request->exactPorts, "Every port answers with its own values");
  command.option(
      "--attribute-layouts", "FILE", options->attributeLayouts,
      "File of lines SMP_RouterInfo attribute NUMBER and RECORD.FIELD bit NUMBER, as collect takes it;\n"
      "without it, routers refuse RouterInfo");
  addLimitOptions(command, request->limits.seconds, request->limits.memory, "either step of building");
  command.rest("COMMAND", request->command, "Program to run on the fabric, behind --, with its arguments");
  command.footer(
      "Without a COMMAND it serves until Ctrl-C, and prints the environment for other shells. With one it "
      "ends\n"
      "with the COMMAND and its exit status.\n"
      "Example: siminfo serve fabric.jsonl -- ibnetdiscover");
  command.does([options] { return runServe(*options); });
}

}  // namespace siminfo
