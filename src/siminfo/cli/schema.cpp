#include "siminfo/snapshot/schema.h"

#include "siminfo/cli/command_line.h"
#include "siminfo/cli/console.h"

namespace siminfo {

void addSchemaCommand(CommandLine& line) {
  Command& command = line.addCommand(
      "schema", "Print the JSON schema (draft 2020-12) of a snapshot's documents, the header and the nodes");
  command.footer(
      "A snapshot is a sequence of such documents. The reader checks more than a schema can express;\n"
      "docs/snapshot.md lists it.\n"
      "Example: siminfo schema > snapshot.schema.json");
  command.does([] {
    printResult(snapshotSchema());
    return kDone;
  });
}

}  // namespace siminfo
