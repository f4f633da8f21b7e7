#pragma once

#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "siminfo/verify/expectation.h"
#include "siminfo/verify/facts.h"

namespace siminfo {

/// What a node must have for a frame to hold a block.
struct Requirement {
  std::function<bool(const Facts&, const FramePlan& ports)> isMet;
  /// The line that stands in the frame when it is not met: a comment where the attribute is left out, an
  /// #error line where the simulator's build must stop. "<node>" is where the node's name belongs, "<SMP rc>"
  /// and "<GMP rc>" where the error of a capability query does.
  std::string_view otherwise;
};

/// All that is known of a frame besides its text: a row of the book of rules.
struct Rule {
  std::string_view frame;
  std::string_view record;  ///< as snapshots name it; empty for the capability masks
  /// The first that is not met decides.
  std::vector<Requirement> requirements;
  /// The images of the simulated node that the frame changes when it holds a block.
  std::function<std::vector<ExpectedImage>(const Facts&, const FramePlan& ports)> images;
  /// The ports whose records a frame takes that goes by ports.
  FramePlan (*choosePorts)(const Facts&) = nullptr;
  /// The comment lines of a block, where there are any.
  std::vector<std::string> (*comments)(const Facts&, const FramePlan& ports) = nullptr;
};

/// The book: a rule for each frame, in the order in which frames are written.
std::span<const Rule> rules();

/// The rule of the frame; there must be one.
const Rule& ruleOf(std::string_view frame);
/// Its place among the rules.
std::size_t placeOfRule(std::string_view frame);

/// What the rule comes to for a node.
FramePlan planOf(const Rule& rule, const Facts& facts);

}  // namespace siminfo
