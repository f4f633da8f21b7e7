#pragma once

// The programs that are attached to ports of the fabric.

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "fabric.h"
#include "protocol.h"
#include "sockets.h"

namespace drovik {

struct Client {
  bool isThere = false;
  u_int16_t ticket = 0;  ///< never 0 of one that is there, and not soon that of another
  u_int32_t process = 0;
  PortAt at;
  bool isManager = false;
  std::deque<MadMessage> waiting;  ///< what it has had no room for
};

class Clients {
 public:
  /// Takes the sockets of the name. Throws std::runtime_error when another server has them.
  explicit Clients(std::string name) : name_(std::move(name)) {
    control_.emplace();
    if (!control_->bind(Address(name_ + ":ctl")))
      throw std::runtime_error("the socket name " + name_ + " is taken: another server of it is running");
    for (unsigned i = 0; i < kMostClients; ++i) {
      Socket& socket = sockets_.emplace_back();
      if (!socket.bind(Address(name_ + ":out" + std::to_string(i))))
        throw std::runtime_error("the socket name " + name_ + " is taken in part");
    }
  }

  const Socket& control() const { return *control_; }
  const Socket& socket(unsigned number) const { return sockets_[number]; }
  Client& operator[](unsigned number) { return clients_[number]; }
  Address controlAddress(u_int32_t process) const { return Address(name_ + ":ctl" + processText(process)); }

  /// The number of a new client at a port; nothing when all are taken, or nobody is there to send to.
  std::optional<unsigned> add(u_int32_t process, PortAt at) {
    for (unsigned number = 0; number < kMostClients; ++number) {
      if (clients_[number].isThere) continue;
      drain(number);
      if (!sockets_[number].connect(Address(name_ + ":in" + processText(process)))) return std::nullopt;
      lastTicket_ = static_cast<u_int16_t>(lastTicket_ % 0xffffU + 1);
      clients_[number] = {true, lastTicket_, process, at, false, {}};
      return number;
    }
    return std::nullopt;
  }

  std::optional<unsigned> withTicket(unsigned ticket) const {
    for (unsigned number = 0; number < kMostClients; ++number) {
      if (clients_[number].isThere && clients_[number].ticket == ticket) return number;
    }
    return std::nullopt;
  }

  void remove(unsigned number) {
    clients_[number] = {};
    sockets_[number].disconnect();
    drain(number);
  }

  bool isFull() const {
    for (const Client& client : clients_) {
      if (!client.isThere) return false;
    }
    return true;
  }

  /// Whether the client's own socket is still there. It goes with the process, however that ends. Since it is
  /// connected with ours it takes no other connection, and says so.
  bool isAlive(unsigned number) const {
    const Address address(name_ + ":in" + processText(clients_[number].process));
    return Socket().connect(address) || errno != ECONNREFUSED;
  }

  /// Sends, or keeps for later what the client has no room for. A client that takes nothing for so long that
  /// thousands wait has the newest left out, as a port with full buffers does.
  void send(unsigned number, const MadMessage& message) {
    Client& client = clients_[number];
    if (client.waiting.empty() && sockets_[number].send(&message, sizeof message)) return;
    if (client.waiting.size() < kMostWaiting) client.waiting.push_back(message);
  }
  void sendWaiting(unsigned number) {
    auto& waiting = clients_[number].waiting;
    while (!waiting.empty() && sockets_[number].send(&waiting.front(), sizeof(MadMessage)))
      waiting.pop_front();
  }

 private:
  static constexpr std::size_t kMostWaiting = 4096;

  /// Clients print the number of their process with a sign.
  static std::string processText(u_int32_t process) { return std::to_string(static_cast<int>(process)); }

  /// What an earlier client, or nobody of ours, has left in the socket.
  void drain(unsigned number) {
    u_int8_t nothing = 0;
    while (sockets_[number].receive(&nothing, 1) >= 0) {
    }
  }

  std::string name_;
  std::optional<Socket> control_;
  std::deque<Socket> sockets_;
  std::array<Client, kMostClients> clients_;
  u_int16_t lastTicket_ = 0;
};

}  // namespace drovik
