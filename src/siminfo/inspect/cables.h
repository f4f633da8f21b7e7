#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// "4xEDR", as far as the link's codes are known ones; else empty.
std::string speedWords(const Link& link);

/// What every port of a snapshot is connected to, also where one end alone says so. Borrows from the
/// snapshot.
class Cables {
 public:
  struct Far {
    const IBNode* node;       ///< null when it is not in the snapshot
    const std::string* name;  ///< of the node
    std::uint8_t port;
    const Link* link;  ///< as one of the two ends tells it
  };

  explicit Cables(const Snapshot& snapshot);

  /// The other end of the port's cable, or null.
  const Far* find(const IBNode& node, std::uint8_t port) const;
  /// Cables with both ends in the snapshot.
  std::size_t inside() const { return inside_; }
  /// Those that lead to a node that is not in it.
  std::size_t leaving() const { return leaving_; }

 private:
  std::unordered_map<std::uint64_t, Far> far_;  // by the node's recordIndex and port
  std::size_t inside_ = 0;
  std::size_t leaving_ = 0;
};

}  // namespace siminfo
