#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "siminfo/collect/shortfall.h"
#include "siminfo/collect/smp_exchange.h"
#include "siminfo/collect/walked_fabric.h"

namespace siminfo {

/// Asks the devices of a walked fabric for what discovery does not ask for, and once more for what it did not
/// get. What a device refuses or leaves unanswered stands in the fabric with the reason.
class Questions {
 public:
  /// All are borrowed. What should have been answered and was not goes to the shortfall.
  Questions(MadPort& port, const WalkLimits& limits, SmpWatch& watch, Shortfall& shortfall)
      : exchange_(port, limits.timing, watch), limits_(limits), shortfall_(shortfall) {}

  /// `localPort` is the number of the port that the fabric was walked from, `routerInfo` the number of
  /// RouterInfo: without one, routers are not asked for it.
  void askAll(WalkedFabric& fabric, unsigned localPort, std::optional<std::uint16_t> routerInfo);

 private:
  /// Why an attribute is not there.
  struct Reason {
    std::string text;
    bool isRefusal = false;  ///< the device answered, with a status
    bool isCommon = false;   ///< not the device's own
  };
  struct Question {
    Route route;
    std::uint16_t attribute;
    std::uint32_t modifier;
    /// Takes the attribute, or nothing and the reason why there is none.
    std::function<void(const std::optional<Attribute>& data, const Reason& reason)> take;
  };

  void addDescription(WalkedNode& node);
  void addOfNode(WalkedNode& node, std::uint16_t attribute, const std::string& record,
                 std::optional<Attribute>& place);
  void addRouterInfo(WalkedNode& node, std::optional<std::uint16_t> attribute);
  void addPortInfo(WalkedNode& node, unsigned number);
  void addExtended(WalkedNode& node, unsigned number);
  void addPeer(const WalkedFabric& fabric, const WalkedNode& node, unsigned number);
  void miss(const WalkedNode& node, const std::string& what, const Reason& reason);
  void missOfPort(const WalkedNode& node, unsigned number, const std::string& what, const Reason& reason);
  static Reason reasonFor(SmpOutcome outcome, std::uint32_t status);
  /// Asks what was added, several at a time.
  void ask();

  SmpExchange exchange_;
  const WalkLimits& limits_;
  std::vector<Question> questions_;
  Shortfall& shortfall_;
};

/// Whether the port says that it has PortInfoExtended. A switch says so for all of its ports at port 0.
bool supportsExtended(const WalkedNode& node, unsigned number);

}  // namespace siminfo
