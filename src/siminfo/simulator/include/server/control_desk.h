#pragma once

// Answers control messages: clients come and go, ask for what their host's files say, and become subnet
// managers.

#include <cstdio>
#include <cstring>

#include "agent_request.h"
#include "attachment.h"
#include "clients.h"
#include "subnet_agent.h"

namespace drovik {

class ControlDesk {
 public:
  ControlDesk(Fabric& fabric, Clients& clients, SubnetAgent& agent, PortAt attachment)
      : fabric_(fabric), clients_(clients), agent_(agent), attachment_(attachment) {}

  /// A datagram of `size` bytes that came to the control socket. What is no control message is left alone.
  void take(ControlMessage message, ssize_t size, const Address& sender) {
    if (size != sizeof message || message.magic != kControlMagic) return;
    if (message.type == kConnect)
      connect(message, sender);
    else if (!isOf(message.client, sender))
      refuse(message);
    else
      serve(message);
    clients_.control().sendTo(sender, &message, sizeof message);
  }

  /// Clients that have ended without a word are forgotten.
  void forgetDead() {
    for (unsigned i = 0; i < kMostClients; ++i) {
      if (clients_[i].isThere && !clients_.isAlive(i)) forget(i);
    }
  }

 private:
  bool isOf(u_int32_t number, const Address& sender) {
    return number < kMostClients && clients_[number].isThere &&
           clients_.controlAddress(clients_[number].process) == sender;
  }

  static void refuse(ControlMessage& message) { message.type = kControlRefused; }

  void connect(ControlMessage& message, const Address& sender) {
    ConnectData data{};
    std::memcpy(&data, message.data, sizeof data);
    const std::string word(data.node, strnlen(data.node, sizeof data.node));
    refuse(message);
    if (!(clients_.controlAddress(data.process) == sender)) return;
    forgetDead();
    forgetEarlier(data.process);
    const auto at = word.empty() ? attachment_ : findAttachment(fabric_, word);
    if (!at) return complain(data.process, "no node has the name or GUID that SIM_HOST says");
    if (clients_.isFull())
      return complain(data.process, "10 clients are there already, and there is room for no more");
    const auto number = clients_.add(data.process, *at);
    if (!number) return complain(data.process, "it has no socket to be answered at");
    message.type = kConnect;
    data.process = *number;
    std::memcpy(message.data, &data, sizeof data);
  }

  static void complain(u_int32_t process, const char* why) {
    std::fprintf(stderr, "siminfo: warning: a client is refused, process %u: %s\n", process, why);
  }

  /// A process that connects again is no longer what it was.
  void forgetEarlier(u_int32_t process) {
    for (unsigned i = 0; i < kMostClients; ++i) {
      if (clients_[i].isThere && clients_[i].process == process) forget(i);
    }
  }

  void forget(unsigned number) {
    setManager(number, false);
    clients_.remove(number);
  }

  void serve(ControlMessage& message) {
    switch (message.type) {
      case kDisconnect:
        return forget(message.client);
      case kAskVendor:
        return tellVendor(message);
      case kAskPort:
        return tellPort(message);
      case kAskGid:
      case kAskGuid:
        return tellGuid(message);
      case kAskNodeInfo:
        return tell(message, kNodeInfo);
      case kAskPortInfo:
        return tell(message, kPortInfo);
      case kAskKeys:
        return tellKeys(message);
      case kSetManager:
        return setManager(message.client, message.data[0] != 0);
      default:
        return refuse(message);
    }
  }

  const ServedNode& nodeOf(const ControlMessage& message) {
    return fabric_.node(clients_[message.client].at);
  }

  void tellVendor(ControlMessage& message) {
    const SMP_NodeInfo info = nodeOf(message).nodeRecord();
    struct {
      u_int32_t vendor, part, hardware, unused;
      u_int64_t firmware;
    } const answer{info.VendorID, info.DeviceID, info.revision, 0, 1};
    std::memcpy(message.data, &answer, sizeof answer);
  }

  void tellPort(ControlMessage& message) {
    const Client& client = clients_[message.client];
    const ServedNode& node = fabric_.node(client.at);
    const auto lid = static_cast<u_int16_t>(node.lid(client.at.port));
    std::memset(message.data, 0, sizeof message.data);
    std::memcpy(message.data, &lid, sizeof lid);
    message.data[2] = static_cast<u_int8_t>(node.state(client.at.port));
  }

  void tellGuid(ControlMessage& message) {
    const Client& client = clients_[message.client];
    const u_int64_t guid = fabric_.node(client.at).ports[client.at.port].guid;
    std::memset(message.data, 0, sizeof message.data);
    const bool isGid = message.type == kAskGid;
    if (isGid) put(message.data, {0, 64}, get(fabric_.portInfo(client.at), port_info::kGidPrefix));
    std::memcpy(message.data + (isGid ? 8 : 0), &guid, sizeof guid);
  }

  /// What the client's own node answers, whatever it refuses to others: without it no program can begin.
  void tell(ControlMessage& message, unsigned attribute) {
    const Client& client = clients_[message.client];
    Mad packet{};
    put(packet.data(), mad::kMethod, kGet);
    put(packet.data(), mad::kAttribute, attribute);
    put(packet.data(), mad::kModifier, attribute == kPortInfo ? client.at.port : 0U);
    Request request(fabric_, client.at, packet);
    agent_.answer(request);
    std::memcpy(message.data, request.data, sizeof message.data);
  }

  void tellKeys(ControlMessage& message) {
    const Client& client = clients_[message.client];
    std::memset(message.data, 0, sizeof message.data);
    const auto& tables = fabric_.node(client.at).images.portPkeyTables;
    if (client.at.port >= tables.size()) return;
    const auto& keys = tables[client.at.port];
    for (u_int16_t i = 0; i < 32 && i < keys.size(); ++i)
      put(message.data, {static_cast<u_int16_t>(16 * i), 16}, keys[i]);
  }

  /// IsSM is the clients': it is set while one of a port's clients is a subnet manager.
  void setManager(unsigned number, bool isManager) {
    clients_[number].isManager = isManager;
    const PortAt at = clients_[number].at;
    bool isAny = false;
    for (unsigned i = 0; i < kMostClients; ++i) {
      const Client& other = clients_[i];
      isAny =
          isAny || (other.isThere && other.isManager && other.at.node == at.node && other.at.port == at.port);
    }
    SMP_PortInfo record = fabric_.node(at).portRecord(at.port);
    record.CapMsk = isAny ? record.CapMsk | port_info::kIsManager : record.CapMsk & ~port_info::kIsManager;
    SMP_PortInfo_pack(&record, fabric_.portInfo(at));
  }

  Fabric& fabric_;
  Clients& clients_;
  SubnetAgent& agent_;
  PortAt attachment_;
};

}  // namespace drovik
