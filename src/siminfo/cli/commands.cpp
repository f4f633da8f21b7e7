#include "siminfo/cli/commands.h"

namespace siminfo {

void addCommands(CommandLine& line, const std::function<ExitStatus(const CollectCommand&)>& collect) {
  addGenerateCommand(line);
  addCollectCommand(line, collect);
  addInspectCommand(line);
  addReportCommand(line);
  addDiffCommand(line);
  addVerifyCommand(line);
  addServeCommand(line);
  addSchemaCommand(line);
  line.addHelpCommand();
}

}  // namespace siminfo
