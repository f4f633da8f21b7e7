#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "siminfo/collect/collect_error.h"
#include "siminfo/collect/walk_limits.h"
#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// What to collect, and how.
struct CollectOptions {
  std::string device;  ///< empty: any
  int port = 0;        ///< 0: any
  WalkLimits limits;
  std::string cacheFile;         ///< a saved discovery to read instead of walking a fabric; empty: none
  std::string nodeNameMap;       ///< a file of names for GUIDs; empty: none
  std::string attributeLayouts;  ///< a file of what libibmad has no decoders for; empty: none
};

struct CollectProgress {
  std::size_t nodes = 0;
  std::uint64_t packets = 0;
};

/// Called for every packet and a few times a second.
struct CollectWatch {
  std::function<bool()> isInterrupted;  ///< once it says true, the work ends with what there is
  std::function<void(const CollectProgress&)> progress;
};

struct Collected {
  Snapshot snapshot;
  std::uint64_t packets = 0;          ///< SMPs sent, retries included
  std::vector<std::string> missing;   ///< a line for everything that should be there and is not
  std::vector<std::string> warnings;  ///< what else the user should know
};

/// Walks the fabric, or reads a saved discovery, into a snapshot. Whatever devices answer or leave
/// unanswered, the snapshot is valid. Throws a CollectError.
Collected collectFabric(const CollectOptions& options, const CollectWatch& watch);

}  // namespace siminfo
