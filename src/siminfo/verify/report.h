#pragma once

#include <array>
#include <string>
#include <vector>

#include "siminfo/verify/verifier.h"

namespace siminfo {

/// Number of frames by outcome.
using OutcomeCounts = std::array<std::size_t, kOutcomes>;
OutcomeCounts countOutcomes(const std::vector<NodeResult>& results);

/// The results for people: a table of nodes by frames, why frames are not carried, and every difference.
std::string reportText(const std::vector<NodeResult>& results);

/// "6 nodes, 132 frames: 46 proven, ..."
std::string summaryText(const std::vector<NodeResult>& results);

}  // namespace siminfo
