#pragma once

// How a packet gets through the fabric, hop by hop.

#include "fabric.h"

namespace drovik {

constexpr unsigned kPermissiveLid = 0xffff;

/// From a node, which the packet is at already, to the port that has the LID: through the port of an adapter
/// and by the linear tables of switches. Nothing when it is lost on the way.
inline std::optional<PortAt> walkByLid(const Fabric& fabric, PortAt at, unsigned lid) {
  for (unsigned hop = 0; hop <= kMostHops; ++hop) {
    const ServedNode& node = fabric.node(at);
    if (node.owns(at.port, lid)) return at;
    if (!node.isSwitch() && hop > 0) return std::nullopt;  // adapters take what is theirs and forward nothing
    u_int8_t out = at.port;
    if (node.isSwitch()) out = lid < node.linearTable.size() ? node.linearTable[lid] : u_int8_t{0};
    const auto next = fabric.cross({at.node, out});
    if (!next) return std::nullopt;
    at = *next;
  }
  return std::nullopt;
}

/// From a node along the ports of a directed route's path, and notes the ports of arrival in its way back.
inline std::optional<PortAt> walkByPath(const Fabric& fabric, PortAt at, Mad& packet) {
  const u_int64_t hops = get(packet.data(), mad::kHopCount);
  if (hops > kMostHops) return std::nullopt;
  for (std::size_t hop = 1; hop <= hops; ++hop) {
    const u_int8_t out = packet[kPathOffset + hop];
    // Only switches forward; an adapter sends through the port that its host uses.
    if (!fabric.node(at).isSwitch() && (hop > 1 || out != at.port)) return std::nullopt;
    const auto next = fabric.cross({at.node, out});
    if (!next) return std::nullopt;
    at = *next;
    packet[kReturnPathOffset + hop] = at.port;
  }
  return at;
}

/// The same way back, for an answer that a program gives: the ports of arrival are those to leave by.
inline std::optional<PortAt> walkBack(const Fabric& fabric, PortAt at, const Mad& packet) {
  const u_int64_t hops = get(packet.data(), mad::kHopCount);
  if (hops > kMostHops) return std::nullopt;
  for (std::size_t hop = hops; hop >= 1; --hop) {
    const auto next = fabric.cross({at.node, packet[kReturnPathOffset + hop]});
    if (!next) return std::nullopt;
    at = *next;
  }
  return at;
}

/// Takes a packet from the port where its sender is to the port that it is for: `lid` is the LID that it is
/// sent to. A directed route may have a part by LID before and behind it.
inline std::optional<PortAt> walk(const Fabric& fabric, PortAt sender, unsigned lid, Mad& packet) {
  if (get(packet.data(), mad::kClass) != kSmpByRoute) return walkByLid(fabric, sender, lid);
  if ((get(packet.data(), mad::kStatus) & mad::kDirectionBit) != 0) return walkBack(fabric, sender, packet);
  std::optional<PortAt> at = sender;
  if (get(packet.data(), mad::kDirectedSource) != kPermissiveLid) at = walkByLid(fabric, *at, lid);
  if (at) at = walkByPath(fabric, *at, packet);
  const auto last = static_cast<unsigned>(get(packet.data(), mad::kDirectedDestination));
  if (at && last != kPermissiveLid) at = walkByLid(fabric, *at, last);
  return at;
}

}  // namespace drovik
