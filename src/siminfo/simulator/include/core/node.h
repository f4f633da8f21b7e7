#pragma once

#include <infiniband/drovik/drovik_fabric.h>
#include <sys/types.h>

#include <array>
#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

using phys_port_t = u_int8_t;

namespace drovik {

/// A simulated node: the stored attributes that a dump's set functions restore. Members are named as the
/// generated source names them.
class Node {
 public:
  static constexpr unsigned kCounterSets = 8;  ///< per port
  static constexpr u_int8_t kLeanPipe = 0x0F;  ///< the pipe whose counters a dump restores

  /// `lastPort` is the highest port number, as NodeInfo counts the ports.
  explicit Node(phys_port_t lastPort)
      : numPorts(static_cast<phys_port_t>(lastPort + 1)),
        nodePortsInfo(numPorts),
        nodeExtPortsInfo(numPorts),
        nodePortsInfoExt(numPorts),
        portPkeyTables(numPorts) {
    for (unsigned port = 1; port <= lastPort; ++port) {
      for (unsigned set = 0; set < kCounterSets; ++set) counterSets[{port, set, kLeanPipe}] = {};
    }
  }

  /// Port 0 is counted, so this is one past the last port number: generated loops run below it, and have
  /// cases for the last port.
  phys_port_t numPorts;

  SMP_NodeInfo_image nodeInfo;
  SMP_SwitchInfo_image switchInfo;
  SMP_RouterInfo_image routerInfo;
  GeneralInfoCapabilityMask_image capMaskSMP;
  GeneralInfoCapabilityMask_image capMaskGMP;
  SWInfo_Block_Element_image swInfo;
  FWInfo_Block_Element_image fwInfo;
  HWInfo_Block_Element_image hwInfo;
  ib_extended_node_info_image extNodeInfo;
  ib_private_lft_info_image plftInfo;
  adaptive_routing_info_image AdaptiveRoutingInfo;
  CC_EnhancedCongestionInfo_image enhancedCongestionInfo;
  CC_CongestionSwitchGeneralSettings_image congSWGeneralInfo;
  IB_ClassPortInfo_image zyr_rma_class_port_info;
  ZYRReductionInfo_image zyr_red_info;

  // By port number, port 0 included.
  std::vector<SMP_PortInfo_image> nodePortsInfo;
  std::vector<SMP_KrelExtPortInfo_image> nodeExtPortsInfo;
  std::vector<SMP_PortInfoExtended_image> nodePortsInfoExt;
  std::vector<std::vector<u_int16_t>> portPkeyTables;
  /// One for each value of a port number, whether the node has that port or not.
  std::array<ZYRReductionPortInfo_image, 256> zyrReductionPortInfo;

  SMP_ExtendedSwitchInfo_image* getExtendedSwitchInfo() { return &extendedSwitchInfo; }

  /// Gives every port's partition-key table that many entries; keys that fit in stay.
  void resizePortPkeyTable(std::size_t entries) {
    for (auto& table : portPkeyTables) table.resize(entries);
  }

  /// A port's counter set, or null when the node has none of that number.
  const ib_zyr_reduction_counters_t* getZyrReductionCounters(unsigned port, unsigned set,
                                                             u_int8_t leanPipe) const {
    const auto found = counterSets.find({port, set, leanPipe});
    return found != counterSets.end() ? &found->second : nullptr;
  }
  void setZyrReductionCounters(unsigned port, unsigned set, u_int8_t leanPipe,
                               const ib_zyr_reduction_counters_t* counters) {
    counterSets[{port, set, leanPipe}] = *counters;
  }

  /// Push-reduction counters, found and stored by their two header fields; null when the node has none.
  const ZYRPushReductionCounters_view_t* getZyrPushReductionCounters(unsigned header0,
                                                                     unsigned header1) const {
    const auto found = pushCounters.find({header0, header1});
    return found != pushCounters.end() ? &found->second : nullptr;
  }
  void setZyrReductionCounters(unsigned header0, unsigned header1,
                               const ZYRPushReductionCounters_view_t* counters) {
    pushCounters[{header0, header1}] = *counters;
  }

  SMP_ExtendedSwitchInfo_image extendedSwitchInfo;
  std::map<std::array<unsigned, 3>, ib_zyr_reduction_counters_t> counterSets;  ///< by port, set, lean pipe
  std::map<std::pair<unsigned, unsigned>, ZYRPushReductionCounters_view_t> pushCounters;  ///< by headers

  /// Calls `visit(name, bytes, size)` with every stored image. Names are those of the members, with the port
  /// or key behind them.
  template <class Visit>
  void visitImages(Visit visit) {
    const auto one = [&visit](const std::string& name, auto& image) {
      visit(name, &image.bytes[0], sizeof image.bytes);
    };
    one("nodeInfo", nodeInfo);
    one("switchInfo", switchInfo);
    one("routerInfo", routerInfo);
    one("capMaskSMP", capMaskSMP);
    one("capMaskGMP", capMaskGMP);
    one("swInfo", swInfo);
    one("fwInfo", fwInfo);
    one("hwInfo", hwInfo);
    one("extNodeInfo", extNodeInfo);
    one("plftInfo", plftInfo);
    one("AdaptiveRoutingInfo", AdaptiveRoutingInfo);
    one("enhancedCongestionInfo", enhancedCongestionInfo);
    one("congSWGeneralInfo", congSWGeneralInfo);
    one("zyr_rma_class_port_info", zyr_rma_class_port_info);
    one("zyr_red_info", zyr_red_info);
    one("extendedSwitchInfo", extendedSwitchInfo);

    const auto byPort = [&one](const std::string& name, auto& images) {
      for (std::size_t port = 0; port < images.size(); ++port)
        one(name + "[" + std::to_string(port) + "]", images[port]);
    };
    byPort("nodePortsInfo", nodePortsInfo);
    byPort("nodeExtPortsInfo", nodeExtPortsInfo);
    byPort("nodePortsInfoExt", nodePortsInfoExt);
    byPort("zyrReductionPortInfo", zyrReductionPortInfo);

    for (auto& [key, image] : counterSets)
      one("counterSets[" + std::to_string(key[0]) + ", " + std::to_string(key[1]) + ", " +
              std::to_string(key[2]) + "]",
          image);
    for (auto& [key, view] : pushCounters)
      one("pushCounters[" + std::to_string(key.first) + ", " + std::to_string(key.second) + "]", view.image);
  }
};

}  // namespace drovik
