#pragma once

#include <filesystem>
#include <vector>

#include "siminfo/verify/verifier.h"

namespace siminfo {

/// Verifies what siminfo generates of the nodes, in the folder `root`: their models, as a project that is
/// left in root/models, by running them; and the file of the nodes, in root/dumps, by comparing each node's
/// frames with those of its model. So every node is proven, and every distinct device compiled once.
Verification verifyModels(Snapshot& snapshot, const std::vector<const IBNode*>& nodes,
                          const VerifyRequest& request, const std::filesystem::path& root,
                          const VerifyWatch& watch);

}  // namespace siminfo
