#pragma once

#include <memory>
#include <string>

#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// Reads the snapshot on `jobs` threads, or on every core when it is 0, showing progress. Throws a
/// CommandError when it cannot be read or is refused.
std::unique_ptr<Snapshot> loadSnapshot(const std::string& fileName, unsigned jobs);

}  // namespace siminfo
