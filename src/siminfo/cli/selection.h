#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "siminfo/cli/command_line.h"
#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// Which nodes of a snapshot a command is about, as its command line says. A node is selected by any value of
/// an option, and by every option that is given.
struct Selection {
  std::vector<std::string> guids;   ///< --guid, in hexadecimal
  std::string guidFile;             ///< --guid-file; empty when there is none
  std::vector<std::string> names;   ///< --name-match, patterns as of a shell
  std::vector<std::string> types;   ///< --type, in the snapshot's words or those of the source's classes
  std::vector<std::string> models;  ///< --model, or how their names begin
};

/// Adds --guid, --name-match, --type and --model, each of which excludes the others that are told. The
/// selection must live as long as the command.
void addSelectionOptions(Command& command, Selection& selection, const std::vector<Option>& others = {});

/// The values of a selection, once they are known to be some.
struct SelectionTerms {
  std::set<std::uint64_t> guids;
  Selection words;  ///< its names, types and models

  bool isEverything() const {
    return guids.empty() && words.names.empty() && words.types.empty() && words.models.empty();
  }
};
/// Reads what the options hold. Throws a CommandError for a value that can be none.
SelectionTerms readSelection(const Selection& selection);

/// The selected nodes of the sub-fabric, or all of its nodes when nothing is asked for, in name order. Warns
/// of GUIDs that select nothing. Throws a CommandError that names what is near when nothing is selected;
/// `label` is what it calls the snapshot. Models are those that `exactPorts` makes.
std::vector<const IBNode*> selectNodes(Snapshot& snapshot, const SelectionTerms& terms,
                                       const std::string& label, bool exactPorts = false);

/// What a selection finds in a snapshot, for who judges that by himself.
struct SelectedNodes {
  std::vector<const IBNode*> nodes;      ///< in name order
  std::set<std::uint64_t> unknownGuids;  ///< that were asked for
  std::string nearness;                  ///< what is near, when there is no node
};
SelectedNodes findNodes(Snapshot& snapshot, const SelectionTerms& terms, bool exactPorts = false);

/// The nodes that a person calls so: by name, by the GUID of a node, or by that of a port. Throws a
/// CommandError that names what is near when there is none.
std::vector<const IBNode*> namedNodes(const Snapshot& snapshot, const std::string& nameOrGuid,
                                      const std::string& label);

/// "a, b and 3 more": the first eight of the names.
std::string someOf(const std::vector<std::string>& names);

/// "1 node", "2 nodes".
std::string counted(std::size_t number, const std::string& thing);

}  // namespace siminfo
