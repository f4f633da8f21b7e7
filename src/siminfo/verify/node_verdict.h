#pragma once

#include <vector>

#include "siminfo/verify/file_check.h"
#include "siminfo/verify/frame_text.h"
#include "siminfo/verify/results.h"

namespace siminfo {

/// What can be said of a node of a file without a compiler.
struct NodeVerdict {
  NodeResult result;              ///< of the frames below: what stands unless running them shows otherwise
  std::vector<UnitFrame> frames;  ///< those that are to be compiled and run
};

/// Judges the text of the node's frames. `found` is of a check of the file; the result points into its text.
NodeVerdict judgeNode(const FoundNode& found, const ExpectedFile& expected, FrameForm form);

}  // namespace siminfo
