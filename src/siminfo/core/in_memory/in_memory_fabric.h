#pragma once

#include <deque>
#include <ostream>
#include <string>
#include <vector>

#include "siminfo/core/fabric.h"

namespace siminfo {

/// A fabric that owns its nodes and ports, and numbers both from 0 as their keys into the record store.
class InMemoryFabric final : public IBFabric {
 public:
  /// What the fabric was discovered from, for the header of generated files; empty when it is not known.
  std::string source;

  /// Adds a node whose port list is one null entry, or returns null when the name is taken.
  IBNode* addNode(const std::string& name, std::uint8_t numPorts);
  /// Adds port `num`, which is at most the node's port count, and makes the port list as long as that takes.
  IBPort* addPort(IBNode& node, std::uint8_t num);

  /// Number of ports of all nodes.
  std::size_t portCount() const { return ports_.size(); }

  void WriteFileHeader(std::ostream& out, const char* commentPrefix) const override;

 private:
  std::deque<IBNode> nodes_;
  std::deque<IBPort> ports_;
};

/// While it lives, no other nodes of the fabric take part in the run. The generator selects by GUID, and
/// several nodes may have one.
class OnlyThese {
 public:
  /// The fabric is borrowed.
  OnlyThese(const IBFabric& fabric, std::vector<const IBNode*> nodes);
  ~OnlyThese();
  OnlyThese(const OnlyThese&) = delete;
  OnlyThese& operator=(const OnlyThese&) = delete;

 private:
  std::vector<IBNode*> leftOut_;
};

}  // namespace siminfo
