#include "siminfo/cli/collect.h"
#include "siminfo/cli/command_line.h"
#include "siminfo/cli/process.h"
#include "siminfo/core/version.h"

namespace siminfo {
namespace {

ExitStatus run(int argc, char** argv) {
  CommandLine line(
      "Turns a discovered InfiniBand fabric into the C++ source of simulated nodes.", toolNameAndVersion(),
      "Results go to standard output, everything else to standard error.\n"
      "Exit status: 0 done; 1 something differs or is missing; 2 bad command line; 3 bad input, or a file\n"
      "or standard output that cannot be read or written; 4 no usable port or fabric; 5 collected only\n"
      "in part.");
  addGenerateCommand(line);
  addCollectCommand(line, [&](const CollectCommand&) -> ExitStatus {
    becomeCollector({argv + 2, argv + argc});  // the first word was the command's name
  });
  addInspectCommand(line);
  addReportCommand(line);
  addDiffCommand(line);
  addVerifyCommand(line);
  addServeCommand(line);
  addSchemaCommand(line);
  line.addHelpCommand();
  return line.run(argc, argv);
}

}  // namespace
}  // namespace siminfo

int main(int argc, char** argv) {
  return siminfo::runProcess([&] { return siminfo::run(argc, argv); });
}
