#pragma once

// The images of the served nodes. First comes the background, who the node is and how its ports stand; then
// the model's functions, whose values nothing else writes; and then what is made up, in places that no
// function assigns, from what the functions restored.

#include <algorithm>

#include "fabric.h"

namespace drovik {

class ImageMaker {
 public:
  /// `init` leaves every link at Initialize and every LID at 0, for a subnet manager.
  ImageMaker(Fabric& fabric, bool init) : fabric_(fabric), init_(init) {}

  void make() {
    for (ServedNode& node : fabric_.nodes) {
      background(node);
      restore(*node.model, node.images);
    }
    for (ServedNode& node : fabric_.nodes) complete(node);
  }

 private:
  void background(ServedNode& node) const {
    u_int8_t* info = &node.images.nodeInfo.bytes[0];
    put(info, node_info::kType, node.type);
    put(info, node_info::kPorts, node.lastPort());
    put(info, node_info::kSystemGuid, node.systemGuid);
    put(info, node_info::kGuid, node.guid);
    for (unsigned port = 0; port <= node.lastPort(); ++port) portBackground(node, port);
  }

  void portBackground(ServedNode& node, unsigned number) const {
    const ServedPort& port = node.ports[number];
    u_int8_t* info = node.portInfo(number);
    const bool isManagement = node.isSwitch() && number == 0;
    const unsigned initial = isManagement ? kActive : port.peer ? kInitialize : kStateDown;
    const unsigned physical = isManagement || port.peer ? kLinkUp : kPolling;
    put(info, port_info::kState, init_ ? initial : port.state);
    put(info, port_info::kPhysicalState, init_ ? physical : port.physicalState);
    if (node.hasAddress(number) && !init_) {
      put(info, port_info::kLid, port.lid);
      put(info, port_info::kLmc, port.lmc);
    }
    put(info, port_info::kWidthActive, port.active.width);
    put(info, port_info::kSpeedActive, port.active.speed);
    put(info, port_info::kExtendedActive, port.active.speedExt);
    if (port.widthSupported) {
      SMP_PortInfo record = node.portRecord(number);
      record.LinkWidthSup = static_cast<u_int8_t>(*port.widthSupported);
      SMP_PortInfo_pack(&record, info);
    }
  }

  /// What nobody recorded and tools expect.
  void complete(ServedNode& node) const {
    for (unsigned port = 0; port <= node.lastPort(); ++port) completePort(node, port);
    auto& tables = node.images.portPkeyTables;
    if (node.isSwitch()) {
      put(&node.images.switchInfo.bytes[0], switch_info::kLifeTime, kLifeTime);
      for (std::size_t port = 1; port < tables.size(); ++port)
        tables[port].resize(node.switchRecord().PartEnfCap);
    }
    for (auto& keys : tables) {
      if (!keys.empty()) keys.front() = kDefaultKey;
    }
  }

  void completePort(ServedNode& node, unsigned port) const {
    u_int8_t* info = node.portInfo(port);
    const SMP_PortInfo record = node.portRecord(port);
    put(info, port_info::kWidthEnabled, record.LinkWidthSup);
    put(info, port_info::kSpeedEnabled, record.LinkSpeedSup);
    put(info, port_info::kExtendedEnabled, record.LinkSpeedExtSup);
    put(info, port_info::kNeighborMtu, neighborMtu(node, port));
    put(info, port_info::kDownDefault, kPolling);
    put(info, port_info::kLaneCap, kEightLanes);
    put(info, port_info::kOperationalLanes, kEightLanes);
    put(info, port_info::kHighCap, kArbitrationEntries);
    put(info, port_info::kLowCap, kArbitrationEntries);
    if (node.hasAddress(port)) completeAddress(info);
  }

  void completeAddress(u_int8_t* info) const {
    put(info, port_info::kGuidCap, kGuids);
    put(info, port_info::kSubnetTimeout, kSubnetTimeout);
    put(info, port_info::kResponseTime, kResponseTime);
    if (!init_) put(info, port_info::kGidPrefix, kLinkLocalPrefix);
  }

  u_int64_t neighborMtu(const ServedNode& node, unsigned port) const {
    const u_int64_t own = node.portRecord(port).MTUCap;
    if (!node.ports[port].peer) return own;
    const PortAt peer = *node.ports[port].peer;
    return std::min<u_int64_t>(own, fabric_.node(peer).portRecord(peer.port).MTUCap);
  }

  static constexpr u_int64_t kLinkLocalPrefix = 0xfe80000000000000U;
  static constexpr u_int16_t kDefaultKey = 0xffff;
  static constexpr unsigned kEightLanes = 4;  // the code of VL0 to VL7
  static constexpr unsigned kArbitrationEntries = 8;
  static constexpr unsigned kGuids = 8;
  static constexpr unsigned kSubnetTimeout = 18;
  static constexpr unsigned kResponseTime = 16;
  static constexpr unsigned kLifeTime = 18;

  Fabric& fabric_;
  bool init_;
};

}  // namespace drovik
