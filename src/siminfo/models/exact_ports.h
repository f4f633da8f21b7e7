#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "siminfo/core/drovik.h"

namespace siminfo {

/// Ports whose own values the simulated node does not answer with, by the frame that should restore them.
using StandIns = std::map<std::string_view, std::size_t>;

/// Adds the ports of the node that answer with the values of the port that stands for the ordinary ones,
/// though their own differ. With `exactPorts` only frames that have one record for all ports have such.
void countStandIns(const Drovik& engine, const IBNode& node, bool exactPorts, StandIns& counts);

/// How one frame that is written by port serves the ports of a node.
struct PortShares {
  /// A field in which a port's own value is not the one that the simulated node answers with.
  struct Difference {
    const IBPort* port;
    std::string_view field;
    std::uint64_t own;
    std::uint64_t standing;
  };
  std::string_view method;
  const IBPort* standing = nullptr;     ///< whose values all ordinary ports answer with
  std::vector<const IBPort*> special;   ///< that have a branch of their own
  std::vector<Difference> differences;  ///< of the ports that have none, by port and field
};

/// The frames by port for which some port of the node stands. Ports are borrowed.
std::vector<PortShares> portSharesOf(const Drovik& engine, const IBNode& node);

/// A copy of a node for one frame, in which every port with values of its own is special, so that the frame
/// restores all of them: the format gives each special port a branch, and all others the values of one. The
/// generators do not know; they are given another node.
class ExactNode {
 public:
  /// `method` is the frame's; of a frame without ports the copy is the node itself.
  ExactNode(const Drovik& engine, const IBNode& node, std::string_view method);
  ExactNode(const ExactNode&) = delete;
  ExactNode& operator=(const ExactNode&) = delete;

  const IBNode& node() const { return node_; }

 private:
  IBNode node_;
  std::deque<IBPort> ports_;  // those that differ from the original's
};

/// The two header fields of sets of push counters.
using PushKeys = std::set<std::pair<std::uint16_t, std::uint16_t>>;

/// Those by which the node's frame stores push counters.
PushKeys pushKeysOf(const Drovik& engine, const IBNode& node, bool exactPorts);

}  // namespace siminfo
