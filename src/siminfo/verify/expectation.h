#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/core/fabric.h"
#include "siminfo/verify/facts.h"

namespace siminfo {

/// What a snapshot asks of one frame of a node.
enum class Carriage : std::uint8_t {
  kCarried,  ///< the simulated node must answer with discovered values
  kOmitted,  ///< the attribute does not apply, or is optional and was not collected
  kRefused,  ///< the attribute should be there and was not collected: the simulator's build must stop
};

/// One frame of a node, and the ports whose records it carries.
struct FramePlan {
  Carriage carriage = Carriage::kOmitted;
  const IBPort* zero = nullptr;
  const IBPort* regular = nullptr;                ///< stands for all ports without a record of their own
  std::map<std::uint8_t, const IBPort*> special;  ///< by port number
  /// The line that stands in the frame in place of a block, whole and as it is written, from its mark to its
  /// quotation mark where it has one. Empty when the frame is carried.
  std::string line;
};

struct ExpectedNumber {
  std::string_view field;  ///< as generated source names it; of static life
  std::size_t bit;         ///< in the image
  std::size_t bits;
  std::uint64_t value;
};

/// What a stored image of the simulated node must hold. Bits of no number stay as they were.
struct ExpectedImage {
  std::string name;   ///< among the simulated node's images
  std::string place;  ///< for people: "port 5", "port 4, counter set 0"; empty for what a node has once
  std::vector<ExpectedNumber> numbers;
};

/// Says what the frames of a node must do, from the snapshot and the rules alone: nothing here asks the
/// generators, so that the two can be compared.
class Expectation {
 public:
  explicit Expectation(const Facts& facts) : facts_(facts) {}

  const Facts& facts() const { return facts_; }

  FramePlan plan(std::string_view frame) const;
  /// The images that the frame must have changed when it has run; none unless it is carried.
  std::vector<ExpectedImage> images(std::string_view frame) const;
  /// The comment lines of the frame's block in their order, without the spaces before them: the capabilities
  /// that it lists by name. None unless it is carried.
  std::vector<std::string> comments(std::string_view frame) const;
  /// Why the frame's record was not collected, in the snapshot's words; empty when it does not say.
  std::string absence(std::string_view frame) const;
  /// The keys of the push counters that the node must be prepared to store: those of every port with a
  /// record, chosen or not, so that a port's counters show where they should not be.
  std::vector<std::pair<unsigned, unsigned>> pushKeys() const;

 private:
  Facts facts_;
};

}  // namespace siminfo
