#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "siminfo/core/fabric.h"
#include "siminfo/snapshot/identity.h"

namespace siminfo {

/// Judges links once all nodes are known: the two ends of a cable must say the same, where both are there.
class LinkJudge {
 public:
  /// A port's link, and where it stands for whoever reads of a fault.
  struct End {
    const IBNode* node;
    std::uint8_t port;
    const Link* link;
    std::size_t place;  ///< the caller's own
  };
  /// Receives the end that is wrong, and in which way.
  using Refuse = std::function<void(const End& end, const std::string& what)>;

  /// Nodes and links are borrowed.
  void add(const End& end) { ends_.push_back(end); }
  /// Calls `refuse` for every fault that one end shows, or, when there is none, for those that take two.
  void judge(const IBFabric& fabric, const Refuse& refuse) const;

 private:
  std::vector<End> ends_;
};

}  // namespace siminfo
