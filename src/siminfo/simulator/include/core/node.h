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

// The attributes that a node stores: the record whose image it is, and the member, which is called what
// generated source calls it.
//   ONCE       the node has one
//   BEHIND     the same, and generated source reaches it through an accessor
//   BY_PORT    one for each port, port 0 included: generated loops run over all that there are
//   BY_NUMBER  one for each value of a port number, whether the node has that port or not: generated loops
//              begin at port 1 and run below numPorts
#define DROVIK_NODE_IMAGES(ONCE, BEHIND, BY_PORT, BY_NUMBER)                \
  ONCE(SMP_NodeInfo, nodeInfo)                                              \
  ONCE(SMP_SwitchInfo, switchInfo)                                          \
  ONCE(SMP_RouterInfo, routerInfo)                                          \
  ONCE(GeneralInfoCapabilityMask, capMaskSMP)                               \
  ONCE(GeneralInfoCapabilityMask, capMaskGMP)                               \
  ONCE(SWInfo_Block_Element, swInfo)                                        \
  ONCE(FWInfo_Block_Element, fwInfo)                                        \
  ONCE(HWInfo_Block_Element, hwInfo)                                        \
  ONCE(ib_extended_node_info, extNodeInfo)                                  \
  ONCE(ib_private_lft_info, plftInfo)                                       \
  ONCE(adaptive_routing_info, AdaptiveRoutingInfo)                          \
  ONCE(CC_EnhancedCongestionInfo, enhancedCongestionInfo)                   \
  ONCE(CC_CongestionSwitchGeneralSettings, congSWGeneralInfo)               \
  ONCE(IB_ClassPortInfo, zyr_rma_class_port_info)                           \
  ONCE(ZYRReductionInfo, zyr_red_info)                                      \
  BEHIND(SMP_ExtendedSwitchInfo, extendedSwitchInfo, getExtendedSwitchInfo) \
  BY_PORT(SMP_PortInfo, nodePortsInfo)                                      \
  BY_PORT(SMP_KrelExtPortInfo, nodeExtPortsInfo)                            \
  BY_PORT(SMP_PortInfoExtended, nodePortsInfoExt)                           \
  BY_NUMBER(ZYRReductionPortInfo, zyrReductionPortInfo)

namespace drovik {

/// A simulated node: the stored attributes that a dump's set functions restore.
class Node {
 public:
  static constexpr unsigned kCounterSets = 8;  ///< per port
  static constexpr u_int8_t kLeanPipe = 0x0F;  ///< the pipe whose counters a dump restores

  /// `lastPort` is the highest port number, as NodeInfo counts the ports.
  explicit Node(phys_port_t lastPort)
      : numPorts(static_cast<phys_port_t>(lastPort + 1)), portPkeyTables(numPorts) {
    for (unsigned port = 1; port <= lastPort; ++port) {
      for (unsigned set = 0; set < kCounterSets; ++set) counterSets[{port, set, kLeanPipe}] = {};
    }
  }

  /// Port 0 is counted, so this is one past the last port number: generated loops run below it, and have
  /// cases for the last port.
  phys_port_t numPorts;

#define DROVIK_ONCE(Record, member) Record##_image member;
#define DROVIK_BEHIND(Record, member, accessor) \
  Record##_image member;                        \
  Record##_image* accessor() { return &member; }
#define DROVIK_BY_PORT(Record, member) \
  std::vector<Record##_image> member = std::vector<Record##_image>(numPorts);
#define DROVIK_BY_NUMBER(Record, member) std::array<Record##_image, 256> member;
  DROVIK_NODE_IMAGES(DROVIK_ONCE, DROVIK_BEHIND, DROVIK_BY_PORT, DROVIK_BY_NUMBER)
#undef DROVIK_ONCE
#undef DROVIK_BEHIND
#undef DROVIK_BY_PORT
#undef DROVIK_BY_NUMBER

  std::vector<std::vector<u_int16_t>> portPkeyTables;  ///< by port number

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

  std::map<std::array<unsigned, 3>, ib_zyr_reduction_counters_t> counterSets;  ///< by port, set, lean pipe
  std::map<std::pair<unsigned, unsigned>, ZYRPushReductionCounters_view_t> pushCounters;  ///< by headers

  /// Calls `visit(name, bytes, size)` with every stored image. Names are those of the members, with the port
  /// or key behind them.
  template <class Visit>
  void visitImages(Visit visit) {
    const auto one = [&visit](const std::string& name, auto& image) {
      visit(name, &image.bytes[0], sizeof image.bytes);
    };
    const auto byPort = [&one](const std::string& name, auto& images) {
      for (std::size_t port = 0; port < images.size(); ++port)
        one(name + "[" + std::to_string(port) + "]", images[port]);
    };
#define DROVIK_ONCE(Record, member) one(#member, member);
#define DROVIK_BEHIND(Record, member, accessor) one(#member, member);
#define DROVIK_BY_PORT(Record, member) byPort(#member, member);
    DROVIK_NODE_IMAGES(DROVIK_ONCE, DROVIK_BEHIND, DROVIK_BY_PORT, DROVIK_BY_PORT)
#undef DROVIK_ONCE
#undef DROVIK_BEHIND
#undef DROVIK_BY_PORT
    for (auto& [key, image] : counterSets)
      one("counterSets[" + std::to_string(key[0]) + ", " + std::to_string(key[1]) + ", " +
              std::to_string(key[2]) + "]",
          image);
    for (auto& [key, view] : pushCounters)
      one("pushCounters[" + std::to_string(key.first) + ", " + std::to_string(key.second) + "]", view.image);
  }
};

}  // namespace drovik

#undef DROVIK_NODE_IMAGES
