#include "siminfo/verify/whole_file.h"

#include <algorithm>
#include <set>

#include "siminfo/verify/file_words.h"
#include "siminfo/verify/node_file.h"

namespace siminfo {
namespace {

/// Why there is no use in compiling it; empty when there is. A file of which something else is known to be
/// wrong would only say so again.
std::string hindranceOf(const Verification& verification) {
  const auto has = [&](std::initializer_list<Outcome> outcomes) {
    return std::ranges::any_of(verification.devices, [&](const DeviceResult& device) {
      return std::ranges::any_of(device.frames, [&](const FrameResult& frame) {
        return std::ranges::find(outcomes, frame.outcome) != outcomes.end();
      });
    });
  };
  if (!verification.differences.empty() || has({Outcome::kDiffers, Outcome::kBroken})) return "it differs";
  if (has({Outcome::kRefused})) return "it has #error lines";
  if (has({Outcome::kUncompilable})) return "it has frames that cannot compile as the format stands";
  std::set<std::string> classes;
  for (const DeviceResult& device : verification.devices) {
    for (const IBNode* node : device.nodes) {
      if (!classes.insert(nodeClass(*node)).second) return "it has two nodes of class " + nodeClass(*node);
    }
  }
  return {};
}

}  // namespace

void judgeWhole(Verification& verification, const Workshop& workshop, const std::filesystem::path& file) {
  const std::string hindrance = hindranceOf(verification);
  if (!hindrance.empty()) {
    verification.whole = "not compiled as a whole: " + hindrance;
    return;
  }
  const DumpText text(readText(file));
  const std::string fault = workshop.wholeFault(text.lines(), file);
  verification.whole = fault.empty() ? "compiles as a whole" : "does not compile as a whole";
  if (!fault.empty())
    verification.differences.push_back({"", "the file as a whole", "one that compiles", fault});
}

}  // namespace siminfo
