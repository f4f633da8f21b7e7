#pragma once

#include <map>
#include <string>
#include <string_view>

#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// What lies behind the words of a diagnostic, and what would put a block in its place.
struct Explanation {
  std::string_view piece;       ///< of the words, by which they are known
  bool isLack;                  ///< the node lacks something; else the attribute does not apply to it
  std::string_view nodeRecord;  ///< that the node lacks; empty when it is something else
  std::string_view portRecord;  ///< that a port of the node lacks
  std::string_view mend;        ///< empty when there is nothing to mend
};

/// The explanation of a diagnostic's words; what no row knows is a lack without a mend.
const Explanation& explanationOf(std::string_view words);

/// Reasons, each as "record: reason", and how many nodes have it.
using ReasonCounts = std::map<std::string, std::size_t>;

/// Adds the reasons that the snapshot has for the node's lack, each once.
void addReasons(const Snapshot& snapshot, const IBNode& node, const Explanation& explanation,
                ReasonCounts& reasons);

}  // namespace siminfo
