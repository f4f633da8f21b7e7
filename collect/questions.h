#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "collect/live_discovery.h"

namespace siminfo {

/// Asks the devices of a walked fabric for what discovery does not ask for, and once more for what it did not
/// get. What a device refuses or leaves unanswered stands in the fabric with the reason.
class Questions {
 public:
  /// Port, limits and watch are borrowed.
  Questions(MadPort& port, const WalkLimits& limits, SmpWatch& watch)
      : exchange_(port, limits.timing, watch), limits_(limits) {}

  /// `localPort` is the number of the port that the fabric was walked from.
  void askAll(WalkedFabric& fabric, unsigned localPort);

  /// A line for each thing that should have been answered and was not.
  const std::vector<std::string>& missing() const { return missing_; }

 private:
  struct Question {
    Route route;
    std::uint16_t attribute;
    std::uint32_t modifier;
    /// Takes the attribute, or nothing and the reason why there is none.
    std::function<void(const std::optional<Attribute>& data, const std::string& reason)> take;
  };

  void addDescription(WalkedNode& node);
  void addSwitchInfo(WalkedNode& node);
  void addPortInfo(WalkedNode& node, unsigned number);
  void addExtended(WalkedNode& node, unsigned number);
  void addPeer(const WalkedNode& node, unsigned number);
  /// Asks what was added, several at a time.
  void ask();

  SmpExchange exchange_;
  const WalkLimits& limits_;
  std::vector<Question> questions_;
  std::vector<std::string> missing_;
};

/// Whether the port says that it has PortInfoExtended. A switch says so for all of its ports at port 0.
bool supportsExtended(const WalkedNode& node, unsigned number);

}  // namespace siminfo
