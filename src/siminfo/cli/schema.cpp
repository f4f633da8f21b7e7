#include "siminfo/snapshot/schema.h"

#include "siminfo/cli/command_line.h"
#include "siminfo/cli/console.h"

namespace siminfo {

void addSchemaCommand(CommandLine& line) {
  Command& command = line.addCommand(
      "schema", "Print the JSON schema (draft 2020-12) of a document of a snapshot, a header or a node");
  command.footer(
      "A snapshot is a sequence of such documents. The reader asks for more than a schema can say:\n"
      "docs/snapshot.md tells what.\n"
      "Example: siminfo schema > snapshot.schema.json");
  command.does([] {
    printResult(snapshotSchema());
    return kDone;
  });
}

}  // namespace siminfo
