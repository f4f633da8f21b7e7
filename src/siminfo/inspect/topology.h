#pragma once

#include <string>
#include <vector>

#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// The selected nodes and the cables between them in the text form of ibnetdiscover, which simulators of
/// fabrics load. A cable that leads to anything else is a comment.
std::string topologyText(const Snapshot& snapshot, const std::vector<const IBNode*>& nodes);

}  // namespace siminfo
