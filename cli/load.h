#pragma once

#include <memory>
#include <string>

#include "snapshot/snapshot.h"

namespace siminfo {

/// Reads the snapshot, showing progress. Throws a CommandError when it cannot be read or is refused.
std::unique_ptr<Snapshot> loadSnapshot(const std::string& fileName);

}  // namespace siminfo
