#pragma once

// Takes the MADs that clients send to where they are for, and brings back what comes of them.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "clients.h"
#include "performance_agent.h"
#include "subnet_agent.h"
#include "walk.h"

namespace drovik {

/// MADs by class and by what became of them.
class Counts {
 public:
  enum Outcome : unsigned { kAnswered, kRefused, kTimedOut, kPassedOn, kOutcomes };
  void add(unsigned managementClass, Outcome outcome) { ++counts_[nameOf(managementClass)][outcome]; }

  /// "SMPs by route 12 answered, 1 refused; SA 3 passed on".
  std::string text() const {
    static const char* const kWords[]{" answered", " refused", " timed out", " passed on"};
    std::string text;
    for (const auto& [name, numbers] : counts_) {
      text += text.empty() ? name : "; " + name;
      const char* separator = " ";
      for (unsigned outcome = 0; outcome < kOutcomes; ++outcome) {
        if (numbers[outcome] == 0) continue;
        text += separator + std::to_string(numbers[outcome]) + kWords[outcome];
        separator = ", ";
      }
    }
    return text.empty() ? "no MADs" : text;
  }

 private:
  static std::string nameOf(unsigned managementClass) {
    switch (managementClass) {
      case kSmpByRoute:
        return "SMPs by route";
      case kSmpByLid:
        return "SMPs by LID";
      case kPerformance:
        return "performance";
      case kAdministration:
        return "SA";
      default:
        return "other classes";
    }
  }
  std::map<std::string, std::array<u_int64_t, kOutcomes>> counts_;
};

class MadDesk {
 public:
  MadDesk(Fabric& fabric, Clients& clients, SubnetAgent& agent, LinkStates& links)
      : fabric_(fabric), clients_(clients), agent_(agent), links_(links) {}

  const Counts& counts() const { return counts_; }

  /// A datagram of `size` bytes from a client. What is no MAD of version 1 is left alone.
  void take(unsigned number, MadMessage& message, ssize_t size) {
    if (size != sizeof message || !clients_[number].isThere) return;
    Mad packet{};
    std::memcpy(packet.data(), message.mad, packet.size());
    if (get(packet.data(), mad::kBaseVersion) != 1) return;
    const unsigned lid = lidOf(message.destination);
    const auto at = walk(fabric_, clients_[number].at, lid, packet);
    if (!at)
      answerTimeOut(number, message, packet);
    else if (!passOn(number, *at, message, packet))
      answer(number, *at, message, packet);
    for (const u_int32_t changed : links_.takeChanged()) sendTrap(changed);
  }

 private:
  static unsigned lidOf(const u_int8_t* bytes) { return static_cast<unsigned>(bytes[0] << 8U | bytes[1]); }
  static void putLid(u_int8_t* bytes, unsigned lid) {
    bytes[0] = static_cast<u_int8_t>(lid >> 8U);
    bytes[1] = static_cast<u_int8_t>(lid);
  }
  static unsigned classOf(const Mad& packet) {
    return static_cast<unsigned>(get(packet.data(), mad::kClass));
  }
  static unsigned methodOf(const Mad& packet) {
    return static_cast<unsigned>(get(packet.data(), mad::kMethod));
  }
  static bool isAnswer(const Mad& packet) {
    return (methodOf(packet) & mad::kAnswerBit) != 0 || methodOf(packet) == kTrapRepress;
  }
  static bool wantsAnswer(const Mad& packet) {
    const unsigned method = methodOf(packet);
    return !isAnswer(packet) && method != kSend && method != kTrap;
  }

  /// The client has the MAD back at once with a status, as the kernel gives it back when the time is over.
  void answerTimeOut(unsigned number, MadMessage& message, const Mad& packet) {
    counts_.add(classOf(packet), Counts::kTimedOut);
    if (!wantsAnswer(packet)) return;
    message.status[3] = kErrorTimedOut;
    clients_.send(number, message);
  }

  /// What the agents of nodes do not answer is for clients: SMInfo, subnet administration, and answers.
  bool passOn(unsigned sender, PortAt at, const MadMessage& message, Mad& packet) {
    const unsigned managementClass = classOf(packet);
    const bool isSmp = managementClass == kSmpByLid || managementClass == kSmpByRoute;
    const auto attribute = get(packet.data(), mad::kAttribute);
    if (isAnswer(packet)) return answerClient(sender, at, message, packet);
    const bool isForManager = (isSmp && (attribute == kManagerInfo || methodOf(packet) == kTrap)) ||
                              managementClass == kAdministration;
    if (!isForManager) return false;
    for (unsigned i = 0; i < kMostClients; ++i) {
      if (!isAt(clients_[i], at) || !clients_[i].isManager) continue;
      // The upper half of the transaction is not the sender's own, and tells whose answer it will be. The
      // sender's number would not do: a client that comes after it has the same, and transactions like it.
      put(packet.data(), kSenderOfTransaction, clients_[sender].ticket);
      deliver(i, sender, message, packet);
      return true;
    }
    return false;
  }

  bool answerClient(unsigned sender, PortAt at, const MadMessage& message, Mad& packet) {
    const auto asker = clients_.withTicket(static_cast<unsigned>(get(packet.data(), kSenderOfTransaction)));
    if (asker && isAt(clients_[*asker], at)) {
      put(packet.data(), kSenderOfTransaction, 0);
      deliver(*asker, sender, message, packet);
    } else {
      counts_.add(classOf(packet), Counts::kAnswered);  // to a trap, or to a client that is gone
    }
    return true;
  }

  static bool isAt(const Client& client, PortAt at) {
    return client.isThere && client.at.node == at.node && client.at.port == at.port;
  }

  void deliver(unsigned receiver, unsigned sender, MadMessage message, const Mad& packet) {
    const PortAt from = clients_[sender].at;
    putLid(message.source, fabric_.node(from).lid(from.port));
    std::memcpy(message.mad, packet.data(), packet.size());
    // A program counts the records of an answer by its length: ibqueryerrors crashes on those that nobody
    // sent.
    if (isAnswer(packet)) put(message.length, {0, 64}, std::min(get(message.length, {0, 64}), kKeptLength));
    counts_.add(classOf(packet), Counts::kPassedOn);
    clients_.send(receiver, message);
  }

  void answer(unsigned number, PortAt at, MadMessage& message, Mad& packet) {
    if (!wantsAnswer(packet)) return counts_.add(classOf(packet), Counts::kAnswered);
    const Status status = ask(at, packet);
    if (status == kSilence) return answerTimeOut(number, message, packet);
    counts_.add(classOf(packet), status == kDone ? Counts::kAnswered : Counts::kRefused);
    const bool isByRoute = classOf(packet) == kSmpByRoute;
    put(packet.data(), mad::kMethod,
        methodOf(packet) == kSet ? kGet | mad::kAnswerBit : methodOf(packet) | mad::kAnswerBit);
    put(packet.data(), mad::kStatus, static_cast<unsigned>(status) | (isByRoute ? mad::kDirectionBit : 0U));
    if (isByRoute) put(packet.data(), mad::kHopPointer, 0);
    if (!isByRoute) {
      putLid(message.source, lidOf(message.destination));
      const PortAt to = clients_[number].at;
      putLid(message.destination, fabric_.node(to).lid(to.port));
    }
    std::memcpy(message.mad, packet.data(), packet.size());
    clients_.send(number, message);
  }

  Status ask(PortAt at, Mad& packet) {
    Request request(fabric_, at, packet);
    switch (classOf(packet)) {
      case kSmpByLid:
      case kSmpByRoute:
        return agent_.answer(request);
      case kPerformance:
        return performance_.answer(request);
      default:
        return kBadClass;
    }
  }

  /// Tells the subnet manager that a port of the switch came or went.
  void sendTrap(u_int32_t at) {
    const ServedNode& node = fabric_.nodes[at];
    const unsigned lid = node.lid(0);
    const auto manager = static_cast<unsigned>(get(node.portInfo(0), port_info::kManagerLid));
    const auto to = manager == 0 ? std::nullopt : walkByLid(fabric_, {at, 0}, manager);
    if (!to) return;
    MadMessage message{};
    putLid(message.destination, manager);
    putLid(message.source, lid);
    put(message.length, {0, 64}, sizeof message.mad);
    Mad packet{};
    put(packet.data(), mad::kBaseVersion, 1);
    put(packet.data(), mad::kClass, kSmpByLid);
    put(packet.data(), mad::kClassVersion, 1);
    put(packet.data(), mad::kMethod, kTrap);
    put(packet.data(), mad::kTransaction, ++traps_);
    put(packet.data(), mad::kAttribute, kNotice);
    u_int8_t* notice = packet.data() + kDataOffset;
    put(notice, {0, 8}, 0x81);   // generic, urgent
    put(notice, {8, 24}, 2);     // by a switch
    put(notice, {32, 16}, 128);  // its link state changed
    put(notice, {48, 16}, lid);
    put(notice, {80, 16}, lid);
    std::memcpy(message.mad, packet.data(), packet.size());
    for (unsigned i = 0; i < kMostClients; ++i) {
      if (isAt(clients_[i], *to) && clients_[i].isManager) clients_.send(i, message);
    }
  }

  static constexpr Place kSenderOfTransaction{64, 16};

  Fabric& fabric_;
  Clients& clients_;
  SubnetAgent& agent_;
  LinkStates& links_;
  PerformanceAgent performance_;
  Counts counts_;
  u_int32_t traps_ = 0;
};

}  // namespace drovik
