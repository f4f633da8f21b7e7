#pragma once

// Linear forwarding tables from links and LIDs: nobody recorded them, and LID-routed requests need them.

#include <algorithm>
#include <vector>

#include "fabric.h"

namespace drovik {

class ShortestPaths {
 public:
  explicit ShortestPaths(Fabric& fabric)
      : fabric_(fabric), lidsBehind_(fabric.nodes.size()), cables_(fabric.nodes.size()) {
    for (u_int32_t i = 0; i < fabric_.nodes.size(); ++i) {
      gather(i);
      gatherCables(i);
    }
  }

  /// Fills the tables of all switches, as large as their LinearFDBCap takes and the LIDs need.
  void fill() {
    for (ServedNode& node : fabric_.nodes) {
      if (!node.isSwitch()) continue;
      const std::size_t size = std::min<std::size_t>(node.switchRecord().LinearFDBCap, highest_ + 1U);
      node.linearTable.assign(size, kNoPort);
      if (size > 0) put(&node.images.switchInfo.bytes[0], switch_info::kLinearTop, size - 1);
    }
    for (u_int32_t i = 0; i < fabric_.nodes.size(); ++i) {
      if (fabric_.nodes[i].isSwitch()) leadTo(i);
    }
  }

  static constexpr u_int8_t kNoPort = 0xff;

 private:
  struct Lids {
    unsigned first;
    unsigned count;
    u_int8_t port;  // of the switch that they are behind
  };

  /// A switch's own LIDs are behind its port 0, an adapter's behind the switch port that its cable leads to.
  void gather(u_int32_t at) {
    const ServedNode& node = fabric_.nodes[at];
    for (unsigned port = 0; port <= node.lastPort(); ++port) {
      if (!node.hasAddress(port) || node.lid(port) == 0) continue;
      const Lids lids{node.lid(port), 1U << get(node.portInfo(port), port_info::kLmc), 0};
      highest_ = std::max(highest_, std::min(lids.first + lids.count - 1, kMostLid));
      if (node.isSwitch()) {
        lidsBehind_[at].push_back(lids);
      } else if (const auto peer = fabric_.cross({at, static_cast<u_int8_t>(port)});
                 peer && fabric_.node(*peer).isSwitch()) {
        lidsBehind_[peer->node].push_back({lids.first, lids.count, peer->port});
      }
    }
  }

  /// The cables to other switches: looked at once, since every search asks for all of them.
  void gatherCables(u_int32_t at) {
    const ServedNode& node = fabric_.nodes[at];
    if (!node.isSwitch()) return;
    for (unsigned port = 1; port <= node.lastPort(); ++port) {
      const auto peer = fabric_.cross({at, static_cast<u_int8_t>(port)});
      if (peer && fabric_.node(*peer).isSwitch()) cables_[at].push_back(*peer);
    }
  }

  /// Goes through the switches from a destination on, breadth first. Whatever switch is reached leads to the
  /// destination's LIDs by the port that it was reached through.
  void leadTo(u_int32_t destination) {
    for (const Lids& lids : lidsBehind_[destination]) enter(destination, lids, lids.port);
    reached_.assign(fabric_.nodes.size(), false);
    reached_[destination] = true;
    queue_.assign(1, destination);
    for (std::size_t next = 0; next < queue_.size(); ++next) {
      for (const PortAt peer : cables_[queue_[next]]) {
        if (reached_[peer.node]) continue;
        reached_[peer.node] = true;
        queue_.push_back(peer.node);
        for (const Lids& lids : lidsBehind_[destination]) enter(peer.node, lids, peer.port);
      }
    }
  }

  void enter(u_int32_t at, const Lids& lids, u_int8_t port) {
    std::vector<u_int8_t>& table = fabric_.nodes[at].linearTable;
    for (std::size_t lid = lids.first; lid < lids.first + lids.count && lid < table.size(); ++lid)
      table[lid] = port;
  }

  static constexpr unsigned kMostLid = 0xbfff;  // what is above is multicast

  Fabric& fabric_;
  std::vector<std::vector<Lids>> lidsBehind_;  // by switch
  std::vector<std::vector<PortAt>> cables_;    // by switch: their far ends
  std::vector<bool> reached_;
  std::vector<u_int32_t> queue_;
  unsigned highest_ = 0;
};

}  // namespace drovik
