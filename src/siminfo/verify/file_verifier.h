#pragma once

#include <filesystem>
#include <vector>

#include "siminfo/verify/verifier.h"

namespace siminfo {

/// Verifies a file of the nodes that is there already, perhaps edited since it was generated: every node's
/// frames are compiled as they stand in it, nodes with the same text once. Works in the folder `root`.
Verification verifyFile(Snapshot& snapshot, const std::vector<const IBNode*>& nodes,
                        const VerifyRequest& request, const std::filesystem::path& root,
                        const VerifyWatch& watch);

}  // namespace siminfo
