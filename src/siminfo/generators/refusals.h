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

}  // namespace siminfo
