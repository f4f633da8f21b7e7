#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "siminfo/generators/drovik_sim_info_dump.h"

namespace siminfo {

/// What the generator wrote into one frame of a node, in the exact form.
struct FrameOutcome {
  BodyKind kind;
  std::string body;  ///< as it stands between the frame's braces, without the last line end

  /// Why there is no block: the words of the comment or of the #error line. Empty for a block.
  std::string_view words() const;
};

/// The outcomes of a node, in the order of SimInfoDumpCPP::Frames().
using NodeOutcomes = std::vector<FrameOutcome>;

/// Runs the frames of the node under a name that may be another than its own.
NodeOutcomes runFrames(Drovik& engine, const IBNode& node, const std::string& name);

/// 'B' a block, 'c' a comment, 'E' an #error line.
char letterOf(BodyKind kind);
/// A letter for each frame.
std::string lettersOf(const NodeOutcomes& outcomes);

}  // namespace siminfo
