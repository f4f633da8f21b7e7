#pragma once

#include <string>
#include <tuple>
#include <vector>

#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// A value of a node, or of some of its ports, that is another one now. Values are spelled as a person reads
/// them: numbers in hexadecimal, words where the snapshot has words, "none" for what is not there.
struct Change {
  std::string what;  ///< "FWInfo.SubMinor", "SMP_PortInfo.MTUCap", "state"
  std::string before;
  std::string after;
  std::vector<unsigned> ports;  ///< ascending; empty: of the node itself

  bool operator<(const Change& other) const {
    return std::tie(what, before, after, ports) <
           std::tie(other.what, other.before, other.after, other.ports);
  }
};

/// Compares a node of one snapshot with the one that it became in another, names, GUIDs and cables apart.
/// Values of counters are left out unless asked for. The snapshots are borrowed; any number of threads may
/// compare at a time.
class NodeComparison {
 public:
  NodeComparison(const Snapshot& before, const Snapshot& after, bool withCounters)
      : before_(before), after_(after), withCounters_(withCounters) {}

  /// What changed: first of the node, then of its ports, in the order of the snapshot's keys.
  std::vector<Change> compare(const IBNode& before, const IBNode& after) const;

 private:
  const Snapshot& before_;
  const Snapshot& after_;
  bool withCounters_;
};

}  // namespace siminfo
