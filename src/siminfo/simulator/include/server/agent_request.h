#pragma once

#include "fabric.h"

namespace drovik {

/// A management request that has come to a node.
struct Request {
  Request(Fabric& fabric, PortAt where, Mad& packet)
      : at(where),
        node(&fabric.node(where)),
        arrival(where.port),
        method(static_cast<unsigned>(get(packet.data(), mad::kMethod))),
        attribute(static_cast<unsigned>(get(packet.data(), mad::kAttribute))),
        modifier(static_cast<u_int32_t>(get(packet.data(), mad::kModifier))),
        data(packet.data() + kDataOffset) {}

  PortAt at;
  ServedNode* node;
  unsigned arrival;  ///< the port that it came through; 0 at a switch that was asked by its own host
  unsigned method;
  unsigned attribute;
  u_int32_t modifier;
  u_int8_t* data;  ///< 64 bytes: what is set, and then the answer
};

}  // namespace drovik
