#pragma once

#include <string>
#include <vector>

#include "siminfo/verify/expectation.h"
#include "siminfo/verify/facts.h"

namespace siminfo {

// Which capabilities the comments of a block must list. The names are those of SimInfoData, of which there is
// one set; which of them are listed, in which order and how is worked out here, and not by the generators'
// code.

using Comments = std::vector<std::string>;

/// "// ---------- SMP Caps ----------" and a line for every named capability of the mask.
template <bool IsGMP>
Comments maskComments(const Facts& facts, const FramePlan& ports);

/// The lists of both masks of the only record that has them listed: a switch's port 0, or what all ports of
/// another node share.
Comments portInfoComments(const Facts& facts, const FramePlan& ports);

}  // namespace siminfo
