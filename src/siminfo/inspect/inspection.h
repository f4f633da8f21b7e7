#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/inspect/cables.h"
#include "siminfo/inspect/explanations.h"
#include "siminfo/inspect/frame_outcomes.h"
#include "siminfo/models/model.h"

namespace siminfo {

/// Stands for the node's name in the bodies of a model.
inline constexpr std::string_view kAnyNode = "NODE";

/// What `siminfo generate` would write for the selected nodes of a snapshot, before it is written. Borrows
/// the snapshot's nodes.
struct Inspection {
  ModelSet set;                        ///< the models and which node is of which
  std::vector<NodeOutcomes> outcomes;  ///< by model; in bodies, kAnyNode stands for the node
  std::vector<std::string> letters;    ///< of the outcomes, by model

  bool hasErrors() const;
};

/// Runs the frames of every model once.
Inspection inspect(Snapshot& snapshot, const std::vector<const IBNode*>& nodes);

/// Nodes that a table shows in one row.
struct NodeGroup {
  std::string nodeClass;
  unsigned ports = 0;
  const SMP_NodeInfo* device = nullptr;  ///< of the first; vendor and device are those of all. Null: unknown
  std::string letters;
  std::size_t nodes = 0;
  std::size_t models = 0;
  const IBNode* first = nullptr;
  std::vector<std::size_t> members;  ///< the nodes' places among the inspection's
};

/// Rows for nodes that share class, port count, vendor, device and outcomes; the largest first.
std::vector<NodeGroup> groupNodes(const Snapshot& snapshot, const Inspection& inspection);

/// Nodes that get no block for an attribute, for the same words.
struct Gap {
  std::size_t frame = 0;  ///< in SimInfoDumpCPP::Frames()
  BodyKind kind = BodyKind::kComment;
  std::string words;  ///< with kAnyNode for the node
  const Explanation* explanation = nullptr;
  std::size_t nodes = 0;
  std::map<std::string, std::size_t> classes;  ///< of these nodes
  ReasonCounts reasons;                        ///< that the snapshot has
};

/// In the order of the frames; within one, #error lines first.
std::vector<Gap> gapsOf(const Snapshot& snapshot, const Inspection& inspection);

/// Ports from 1 on that are above Down.
std::size_t portsUp(const IBNode& node);

}  // namespace siminfo
