#pragma once

#include <string>

#include "siminfo/inspect/screen.h"
#include "siminfo/inspect/snapshot_diff.h"

namespace siminfo {

/// The difference for a person, nodes that changed alike in one row. Empty when there is none.
std::string diffText(const SnapshotDiff& diff, const Screen& screen);
/// The same as a JSON document.
std::string diffJson(const SnapshotDiff& diff);

}  // namespace siminfo
