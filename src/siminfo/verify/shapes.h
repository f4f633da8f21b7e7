#pragma once

#include <vector>

#include "siminfo/verify/expectation.h"

namespace siminfo {

/// A node that stands for others of its shape.
struct Representative {
  const IBNode* node;
  std::size_t alike;  ///< nodes of this shape, itself included
};

/// One node of each shape, the first in the given order. Nodes have one shape when the same source is
/// generated for them, values, capability names and reasons apart: the same class and port count, the same
/// frames carried, omitted and refused, and in every frame with ports the same special ports.
std::vector<Representative> representatives(const Snapshot& snapshot,
                                            const std::vector<const IBNode*>& nodes);

}  // namespace siminfo
