#pragma once

#include <ostream>

#include "siminfo/core/block_emitter.h"

namespace siminfo {

/// Writes the comment of a switch attribute on another kind of node and returns true, or writes nothing.
inline bool RefusesNonSwitch(std::ostream& os, const IBNode& node) {
  if (node.type == kSwitch) return false;
  BlockEmitter(os) << "// The node=" << node.name << " is not a switch";
  return true;
}

/// Writes on a line of its own, which stops the simulator's build, that the lines of one record were asked
/// for without the record, and returns true; or writes nothing.
template <class Record>
bool RefusesNull(std::ostream& os, const Record* record) {
  if (record != nullptr) return false;
  BlockEmitter(os) << "\n#error \"Failed to dump "
                   << kRecordName<Record> << " MAD. Null pointer is provided.\"";
  return true;
}

}  // namespace siminfo
