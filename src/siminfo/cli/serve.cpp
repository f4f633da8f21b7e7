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
            ", ready after " + served.seconds + " s; programs run at " + served.client +
            " unless SIM_HOST names another node");
  reportStandIns(served.standIns, request.exactPorts);
  if (!request.command.empty()) return;
  std::string exports = "export";
  for (const auto& [name, value] : served.environment)
    exports.append(" ").append(name).append("=").append(value);
  printResult(exports + "\n");
  printNote(
      "paste the line above into a shell to let its InfiniBand tools ask this fabric; Ctrl-C stops serving");
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
                                            " is not a name for sockets; expected up to 80 letters, digits, "
                                            "dots, underscores and hyphens");
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
      "serve", "Let the InfiniBand tools of this machine ask the simulated nodes of a snapshot");
  addSnapshotArgument(command, request->snapshotFile);
  command.flag("--init", request->init,
               "Start with every link in state Initialize and without LIDs, for a subnet manager");
  command.option("--socket", "NAME", request->socket,
                 "Name of the sockets; by default one that no other process has");
  command.option(
      "--from", "NODE", request->from,
      "Node at which programs run, by name or GUID; by default the first adapter with a linked port");
  addSelectionOptions(command, options->selection);
  command.flag("--exact-ports", request->exactPorts, "Let every port answer with its own values");
  command.option(
      "--attribute-layouts", "FILE", options->attributeLayouts,
      "File with lines SMP_RouterInfo attribute NUMBER and RECORD.FIELD bit NUMBER, as for collect;\n"
      "without it, routers refuse RouterInfo");
  addLimitOptions(command, request->limits.seconds, request->limits.memory, "each of the two build steps");
  command.rest("COMMAND", request->command, "Program to run on the fabric, after --, with its arguments");
  command.footer(
      "Without a COMMAND it serves until Ctrl-C and prints the environment variables for other shells.\n"
      "With one it ends when the COMMAND ends, with the same exit status.\n"
      "Example: siminfo serve fabric.jsonl -- ibnetdiscover");
  command.does([options] { return runServe(*options); });
}

}  // namespace siminfo
