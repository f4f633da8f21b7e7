#pragma once

// Where a client is attached: by the node's name or GUID, or by that of a port.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "fabric.h"

namespace drovik {

/// The port that a node's host uses: the management port of a switch, the first linked port of any other.
inline PortAt hostPort(const Fabric& fabric, u_int32_t at) {
  const ServedNode& node = fabric.nodes[at];
  if (node.isSwitch()) return {at, 0};
  for (unsigned port = 1; port <= node.lastPort(); ++port) {
    if (node.ports[port].peer) return {at, static_cast<u_int8_t>(port)};
  }
  return {at, static_cast<u_int8_t>(node.lastPort() == 0 ? 0 : 1)};
}

/// The first adapter with a linked port, or else the first node.
inline PortAt defaultAttachment(const Fabric& fabric) {
  for (u_int32_t i = 0; i < fabric.nodes.size(); ++i) {
    const PortAt at = hostPort(fabric, i);
    if (fabric.nodes[i].type == kAdapter && fabric.node(at).ports[at.port].peer) return at;
  }
  return hostPort(fabric, 0);
}

/// By what a client says that it is at the node: its GUID, or nothing where another node has the same.
inline std::string clientWord(const Fabric& fabric, PortAt at) {
  const u_int64_t guid = fabric.node(at).guid;
  const auto sharesGuid = [guid](const ServedNode& node) { return node.guid == guid; };
  if (std::count_if(fabric.nodes.begin(), fabric.nodes.end(), sharesGuid) > 1) return {};
  std::array<char, sizeof "0x0123456789abcdef"> text{};
  std::snprintf(text.data(), text.size(), "0x%016llx", static_cast<unsigned long long>(guid));
  return text.data();
}

inline std::optional<PortAt> findAttachment(const Fabric& fabric, const std::string& word) {
  char* end = nullptr;
  const u_int64_t guid = std::strtoull(word.c_str(), &end, 16);
  const bool isGuid = !word.empty() && *end == '\0' && guid != 0;
  for (u_int32_t i = 0; i < fabric.nodes.size(); ++i) {
    if (fabric.nodes[i].name == word) return hostPort(fabric, i);
  }
  for (u_int32_t i = 0; isGuid && i < fabric.nodes.size(); ++i) {
    const ServedNode& node = fabric.nodes[i];
    if (node.guid == guid) return hostPort(fabric, i);
    for (unsigned port = 1; port <= node.lastPort(); ++port) {
      if (node.hasAddress(port) && node.ports[port].guid == guid)
        return PortAt{i, static_cast<u_int8_t>(port)};
    }
  }
  return std::nullopt;
}

}  // namespace drovik
