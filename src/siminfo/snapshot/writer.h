#pragma once

#include <ostream>

#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// Writes the snapshot in its canonical form: a document a line, nodes by name, ports by number, records and
/// fields in the order of their tables. Reading and writing it again gives the same bytes. The caller checks
/// the stream.
void writeSnapshot(const Snapshot& snapshot, std::ostream& out);

}  // namespace siminfo
