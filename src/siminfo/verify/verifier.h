#pragma once

#include <functional>
#include <optional>

#include "siminfo/verify/comparison.h"
#include "siminfo/verify/dump_text.h"
#include "siminfo/verify/shapes.h"
#include "siminfo/verify/workshop.h"

namespace siminfo {

/// What came of a frame.
enum class Outcome : std::uint8_t {
  kProven,        ///< compiled, ran, and the simulated node answers as discovered
  kOmitted,       ///< not carried, as the snapshot has it, and nothing of the node was changed
  kRefused,       ///< an #error line, as the snapshot has it
  kUncompilable,  ///< cannot compile as the format stands
  kDiffers,       ///< does something else than the snapshot asks
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
  std::vector<FrameResult> frames;  ///< in the order of SimInfoDumpCPP::Frames()
};

/// A generated file whose nodes are to be verified.
struct GeneratedSource {
  std::string name;  ///< of the dump's class
  std::filesystem::path path;
  const DumpText& text;
};

/// Verifies the nodes, `jobs` of them at a time; `progress` is called with the number of those that are done,
/// never by two threads at once, and may stop the work by returning false: then the results are cut short.
/// A null section means that the file does not hold the node. Throws what a thread of it threw.
std::vector<NodeResult> verifyNodes(const Snapshot& snapshot, const GeneratedSource& source,
                                    const std::vector<Representative>& nodes, const Workshop& workshop,
                                    unsigned jobs, const std::function<bool(std::size_t)>& progress);

}  // namespace siminfo
