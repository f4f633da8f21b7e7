#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// What to collect, and how. The defaults are those of the InfiniBand diagnostic tools.
struct CollectOptions {
  std::string device;            ///< empty: any
  int port = 0;                  ///< 0: any
  unsigned timeoutMs = 1000;     ///< for the answer to one packet
  unsigned outstanding = 2;      ///< packets that are under way at a time
  unsigned maxHops = 0;          ///< 0: no limit
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

/// Nothing could be collected.
class CollectError : public std::runtime_error {
 public:
  enum Kind : std::uint8_t {
    kNoPort,    ///< or no fabric behind it, or this build cannot look
    kBadInput,  ///< a file cannot be read, or is not what it should be
  };
  CollectError(Kind kind, const std::string& what) : std::runtime_error(what), kind_(kind) {}
  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

/// Walks the fabric, or reads a saved discovery, into a snapshot. Whatever devices answer or leave
/// unanswered, the snapshot is valid. Throws a CollectError.
Collected collectFabric(const CollectOptions& options, const CollectWatch& watch);

}  // namespace siminfo
