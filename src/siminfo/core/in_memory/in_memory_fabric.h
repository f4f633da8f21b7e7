#pragma once

#include <deque>
#include <ostream>
#include <string>

#include "siminfo/core/fabric.h"

namespace siminfo {

/// A fabric that owns its nodes and ports, and numbers both from 0 as their keys into the record store.
class InMemoryFabric final : public IBFabric {
 public:
  /// What the fabric was discovered from, for the header of generated files; empty when it is not known.
  std::string source;

  /// Adds a node with a port list of `numPorts` + 1 null entries, or returns null when the name is taken.
  IBNode* addNode(const std::string& name, std::uint8_t numPorts);
  /// Adds port `num`, which is at most the node's port count, in place of the null entry of that number.
  IBPort* addPort(IBNode& node, std::uint8_t num);

  /// Number of ports of all nodes.
  std::size_t portCount() const { return ports_.size(); }

  void WriteFileHeader(std::ostream& out, const char* commentPrefix) const override;

 private:
  std::deque<IBNode> nodes_;
  std::deque<IBPort> ports_;
};

}  // namespace siminfo
