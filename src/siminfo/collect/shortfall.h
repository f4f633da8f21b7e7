#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "siminfo/collect/walked_fabric.h"

namespace siminfo {

/// What should be in a snapshot and is not, gathered for a person to read: a line for each node, thing and
/// reason, whatever the number of ports.
class Shortfall {
 public:
  void add(const WalkedNode& node, const std::string& what, const std::string& reason);
  void add(const WalkedNode& node, unsigned port, const std::string& what, const std::string& reason);
  /// Something that many nodes lack for the same reason, of which none has to be named.
  void addCommon(const std::string& what, const std::string& reason);

  /// "sw1 (0x00000000000002c9): SMP_PortInfo of port 3, 4: timed out"
  std::vector<std::string> lines() const;

 private:
  struct Entry {
    std::string node;  // empty for a common one
    std::set<unsigned> ports;
    std::size_t count = 0;
  };
  Entry& entry(std::uint64_t guid, const std::string& what, const std::string& reason);

  std::map<std::tuple<std::uint64_t, std::string, std::string>, Entry> entries_;  // by GUID, what and reason
};

}  // namespace siminfo
