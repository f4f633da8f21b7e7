#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "siminfo/collect/smp.h"
#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// The far end of a port's cable.
struct PeerPort {
  std::uint64_t nodeGuid = 0;
  unsigned port = 0;
};

/// A port as its device described it: attributes as they were answered.
struct WalkedPort {
  std::optional<Attribute> info;      ///< PortInfo
  std::optional<Attribute> extended;  ///< PortInfoExtended
  std::uint64_t guid = 0;             ///< 0 when it is not known
  std::optional<PeerPort> peer;       ///< what was found behind it
  bool isExpected = false;            ///< the device must answer for this port
  AbsentRecords absent;
};

/// A node as it described itself.
struct WalkedNode {
  std::uint64_t guid = 0;
  int type = 0;
  unsigned numPorts = 0;                ///< at most 255
  Attribute info{};                     ///< NodeInfo
  std::optional<Attribute> switchInfo;  ///< of switches alone
  std::optional<Attribute> routerInfo;  ///< of routers alone
  std::string description;              ///< the bytes before the first zero
  bool isDescribed = true;              ///< the device answered with a description, be it an empty one
  Route route;                          ///< from this host; of no meaning in a saved discovery
  std::vector<WalkedPort> ports;        ///< by number, 0 included whatever the type
  AbsentRecords absent;

  /// A switch answers for port 0, its management port; other nodes have none.
  unsigned firstPort() const { return type == IB_NODE_SWITCH ? 0 : 1; }
};

/// A fabric that was walked, live or long ago.
struct WalkedFabric {
  std::vector<WalkedNode> nodes;  // by GUID, which is unique
};

/// The node of a NodeInfo attribute, with its ports and nothing known about them.
WalkedNode makeNode(const Attribute& nodeInfo);

/// The text in a NodeDescription attribute.
std::string descriptionText(const std::uint8_t* bytes);

}  // namespace siminfo
