#pragma once

#include <array>
#include <string>
#include <vector>

#include "siminfo/verify/results.h"

namespace siminfo {

/// Number of frames of all nodes by outcome.
using OutcomeCounts = std::array<std::size_t, kOutcomes>;
OutcomeCounts countOutcomes(const Verification& verification);

/// Whether nothing differs and everything that should compile does.
bool isProven(const Verification& verification);

/// The results for people: a table of devices by frames, why frames are not carried, and every difference.
std::string reportText(const Verification& verification);

/// "6 nodes of 6 devices, 132 frames: 46 proven, ..."
std::string summaryText(const Verification& verification);

}  // namespace siminfo
