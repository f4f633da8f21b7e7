#pragma once

#include <vector>

#include "siminfo/verify/difference.h"
#include "siminfo/verify/expectation.h"
#include "siminfo/verify/workshop.h"

namespace siminfo {

/// Compares what a set function did with what it had to do: every expected number of every image, and that
/// nothing else of any image changed. What is the same at several places is one difference.
std::vector<Difference> compareImages(const std::vector<ExpectedImage>& expected,
                                      const std::vector<FrameRun>& runs);

}  // namespace siminfo
