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

/// What came of nodes whose frames are the same and must be.
struct DeviceResult {
  std::string device;                ///< their model, or in a file of nodes their class
  std::string calledAs;              ///< what the words of its frames name
  std::vector<const IBNode*> nodes;  ///< in the order of their names
  std::vector<FrameResult> frames;   ///< one for each of the rules
};

/// What came of generated files.
struct Verification {
  std::vector<DeviceResult> devices;
  std::vector<Difference> differences;  ///< outside the frames
  std::string whole;                    ///< what came of the file of the nodes as a whole, in words
};

}  // namespace siminfo
