#pragma once

// What a subnet manager does to ports and their links, and what the fabric makes of it.

#include <vector>

#include "fabric.h"

namespace drovik {

class LinkStates {
 public:
  explicit LinkStates(Fabric& fabric) : fabric_(fabric) {}

  /// Sets the two states that a Set of PortInfo asks for, 0 standing for no change.
  Status set(PortAt at, unsigned state, unsigned physicalState) {
    const unsigned now = fabric_.node(at).state(at.port);
    const bool isAllowed = state == 0 || state == kStateDown ||
                           (state == kArmed && (now == kInitialize || now == kArmed)) ||
                           (state == kActive && (now == kArmed || now == kActive));
    if (!isAllowed || physicalState > kDisabled) return kBadValue;
    if (at.port == 0) return kDone;  // a management port is always up
    if (physicalState == kSleep || physicalState == kDisabled)
      cut(at, physicalState);
    else if (physicalState == kPolling || state == kStateDown)
      train(at);
    else if (state != 0)
      put(fabric_.portInfo(at), port_info::kState, state);
    return kDone;
  }

  /// The switches of which a port came or went since the last call.
  std::vector<u_int32_t> takeChanged() {
    std::vector<u_int32_t> changed;
    changed.swap(changed_);
    return changed;
  }

 private:
  void cut(PortAt at, unsigned physicalState) {
    enter(at, kStateDown, physicalState);
    if (const auto peer = fabric_.node(at).ports[at.port].peer; peer && !isOff(*peer))
      enter(*peer, kStateDown, kPolling);
  }

  /// A link whose both ends want it begins anew.
  void train(PortAt at) {
    const auto peer = fabric_.node(at).ports[at.port].peer;
    if (!peer || isOff(*peer)) return enter(at, kStateDown, kPolling);
    enter(at, kInitialize, kLinkUp);
    enter(*peer, kInitialize, kLinkUp);
  }

  bool isOff(PortAt at) {
    const u_int64_t state = get(fabric_.portInfo(at), port_info::kPhysicalState);
    return state == kSleep || state == kDisabled;
  }

  void enter(PortAt at, unsigned state, unsigned physicalState) {
    ServedNode& node = fabric_.node(at);
    const bool isChanged = node.state(at.port) != state;
    put(node.portInfo(at.port), port_info::kState, state);
    put(node.portInfo(at.port), port_info::kPhysicalState, physicalState);
    if (!isChanged || !node.isSwitch()) return;
    put(&node.images.switchInfo.bytes[0], switch_info::kStateChange, 1);
    changed_.push_back(at.node);
  }

  Fabric& fabric_;
  std::vector<u_int32_t> changed_;
};

}  // namespace drovik
