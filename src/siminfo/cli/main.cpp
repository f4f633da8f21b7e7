#include "siminfo/cli/commands.h"
#include "siminfo/cli/process.h"
#include "siminfo/core/version.h"

namespace siminfo {
namespace {

ExitStatus run(int argc, char** argv) {
  CommandLine line(kProgramDescription, toolNameAndVersion(), kProgramFooter);
  addCommands(line, [&](const CollectCommand&) -> ExitStatus {
    becomeCollector({argv + 2, argv + argc});  // the first word was the command's name
  });
  return line.run(argc, argv);
}

}  // namespace
}  // namespace siminfo

int main(int argc, char** argv) {
  return siminfo::runProcess([&] { return siminfo::run(argc, argv); });
}
