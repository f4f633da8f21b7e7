#pragma once

#include <ostream>

#include "siminfo/snapshot/json_line.h"
#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// Writes the snapshot in its canonical form: a document a line, nodes by name, ports by number, records and
/// fields in the order of their tables. Reading that and writing it again gives the same bytes. Whether the
/// stream took everything is the caller's to check.
void writeSnapshot(const Snapshot& snapshot, std::ostream& out);

/// Adds the node's document, as it stands in a snapshot, to the line.
void writeNode(JsonLine& line, const IBNode& node, const Snapshot& snapshot);

}  // namespace siminfo
