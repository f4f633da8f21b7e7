#pragma once

#include <string>
#include <vector>

#include "siminfo/verify/expectation.h"
#include "siminfo/verify/workshop.h"

namespace siminfo {

/// A value that the simulated node does not answer with.
struct Difference {
  std::string place;  ///< "port 5", or empty for what the node has once
  std::string field;
  std::string expected;
  std::string found;
};

/// Compares what a set function did with what it had to do: every expected number of every image, and that
/// nothing else of any image changed.
std::vector<Difference> compareImages(const std::vector<ExpectedImage>& expected,
                                      const std::vector<FrameRun>& runs);

}  // namespace siminfo
