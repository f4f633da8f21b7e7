#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "siminfo/core/fabric.h"
#include "siminfo/verify/difference.h"

namespace siminfo {

/// What came of a frame.
enum class Outcome : std::uint8_t {
  kProven,        ///< compiled, ran, and the simulated node answers as discovered
  kOmitted,       ///< not carried, as the snapshot has it, and nothing of the node was changed
  kRefused,       ///< an #error line, as the snapshot has it
  kUncompilable,  ///< proven but for the lines that no compiler takes as the format stands
  kDiffers,       ///< is or does something else than the snapshot asks
  kBroken,        ///< does not compile, though the format would have it
};
inline constexpr std::size_t kOutcomes = 6;

struct FrameResult {
  Outcome outcome;
  std::string reason;   ///< the comment, the #error line or the compiler's message
  std::string absence;  ///< why the frame's record was not collected, when the snapshot says so
  std::vector<Difference> differences;
};

struct NodeResult {
  const IBNode* node;
  std::string nodeClass;
  std::size_t alike;
  std::vector<FrameResult> frames;  ///< one for each of the rules
};

/// What came of a generated file.
struct Verification {
  std::vector<NodeResult> nodes;
  std::vector<Difference> differences;  ///< of the file outside the nodes' frames
  std::string whole;                    ///< whether it was compiled as a whole, in words
};

}  // namespace siminfo
