#pragma once

// The fabric that is served: restored nodes, who they are, and the links between them.

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "../core/model_registry.h"
#include "wire.h"

namespace drovik {

enum NodeType : unsigned { kAdapter = 1, kSwitch = 2, kRouter = 3 };

/// A port of a node of the fabric, by the node's place in it.
struct PortAt {
  u_int32_t node = 0;
  u_int8_t port = 0;
};

/// Of PortInfo.
struct ActiveCodes {
  unsigned width = 0;
  unsigned speed = 0;
  unsigned speedExt = 0;
};

/// What is known of a port beside its restored images. States, LIDs and all that a subnet manager sets are
/// in the image of PortInfo and nowhere else.
struct ServedPort {
  u_int64_t guid = 0;
  unsigned state = kStateDown;
  unsigned physicalState = kPolling;
  u_int16_t lid = 0;
  unsigned lmc = 0;
  std::optional<unsigned> widthSupported;  ///< where no generated function assigns it
  ActiveCodes active;
  std::optional<PortAt> peer;       ///< at the other end of its cable
  Status info = kBadAttribute;      ///< how PortInfo is answered
  Status extended = kBadAttribute;  ///< how PortInfoExtended is answered
};

struct ServedNode {
  ServedNode(const Model& itsModel, unsigned lastPort)
      : model(&itsModel), images(static_cast<phys_port_t>(lastPort)), ports(lastPort + 1) {}

  const Model* model;
  Node images;
  std::vector<ServedPort> ports;  ///< by number, 0 included whatever the type
  std::string name;
  AttributeBytes description{};
  u_int64_t guid = 0;
  u_int64_t systemGuid = 0;
  unsigned type = 0;
  Status nodeInfo = kBadAttribute;
  Status switchInfo = kBadAttribute;
  Status routerInfo = kBadAttribute;

  std::vector<u_int8_t> linearTable;  ///< of a switch: port by LID
  /// Tables that were set, block by block: by attribute and modifier. Blocks that were not are made up when
  /// they are asked for.
  std::map<std::pair<unsigned, u_int32_t>, AttributeBytes> blocks;

  unsigned lastPort() const { return static_cast<unsigned>(ports.size() - 1); }
  bool isSwitch() const { return type == kSwitch; }
  u_int8_t* portInfo(unsigned port) { return &images.nodePortsInfo[port].bytes[0]; }
  const u_int8_t* portInfo(unsigned port) const { return &images.nodePortsInfo[port].bytes[0]; }
  unsigned state(unsigned port) const {
    return static_cast<unsigned>(get(portInfo(port), port_info::kState));
  }

  /// A switch has one address for all of its ports, which is that of port 0.
  bool hasAddress(unsigned port) const { return isSwitch() == (port == 0); }
  unsigned lid(unsigned port) const { return static_cast<unsigned>(get(portInfo(port), port_info::kLid)); }
  bool owns(unsigned port, unsigned someLid) const {
    const unsigned first = lid(isSwitch() ? 0 : port);
    const auto lmc = static_cast<unsigned>(get(portInfo(isSwitch() ? 0 : port), port_info::kLmc));
    return first != 0 && first <= someLid && someLid < first + (1U << lmc);
  }

  SMP_PortInfo portRecord(unsigned port) const {
    SMP_PortInfo record(0);
    SMP_PortInfo_unpack(&record, portInfo(port));
    return record;
  }
  SMP_NodeInfo nodeRecord() const {
    SMP_NodeInfo record(0);
    SMP_NodeInfo_unpack(&record, &images.nodeInfo.bytes[0]);
    return record;
  }
  SMP_SwitchInfo switchRecord() const {
    SMP_SwitchInfo record(0);
    SMP_SwitchInfo_unpack(&record, &images.switchInfo.bytes[0]);
    return record;
  }
};

/// A field that is answered in another place than the image has it.
struct MovedField {
  Place from;
  Place to;
};

struct Fabric {
  std::deque<ServedNode> nodes;
  unsigned routerInfoAttribute = 0;  ///< its number; 0: nobody told it
  std::vector<MovedField> routerInfoFields;
  std::vector<MovedField> portInfoFields;

  ServedNode& node(PortAt at) { return nodes[at.node]; }
  const ServedNode& node(PortAt at) const { return nodes[at.node]; }
  u_int8_t* portInfo(PortAt at) { return node(at).portInfo(at.port); }

  /// Where the cable of a port leads to; nothing when there is none, or an end of it is down.
  std::optional<PortAt> cross(PortAt from) const {
    const ServedNode& near = node(from);
    if (from.port == 0 || from.port > near.lastPort() || !near.ports[from.port].peer) return std::nullopt;
    const PortAt to = *near.ports[from.port].peer;
    if (near.state(from.port) == kStateDown || node(to).state(to.port) == kStateDown) return std::nullopt;
    return to;
  }
};

}  // namespace drovik
