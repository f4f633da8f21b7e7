#pragma once

#include <string>

#include "siminfo/collect/smp_exchange.h"

namespace siminfo {

/// The functions of libibumad itself, whatever else the program defines by their names.
int realUmadSend(int port, int agent, void* umad, int length, int timeoutMs, int retries);
int realUmadReceive(int port, void* umad, int* length, int timeoutMs);

/// A management port of this host.
class UmadPort final : public MadPort {
 public:
  /// Opens the port for directed-route requests. Throws a CollectError when it cannot be opened.
  UmadPort(const std::string& device, int portNumber);
  /// Borrows a port that somebody else has opened and registered at.
  UmadPort(int port, int agent) : port_(port), agent_(agent), isOwner_(false) {}
  ~UmadPort() override;
  UmadPort(const UmadPort&) = delete;
  UmadPort& operator=(const UmadPort&) = delete;

  bool send(Packet& packet, unsigned timeoutMs) override;
  bool receive(Packet& packet, unsigned timeoutMs) override;
  int agent() const { return agent_; }

 private:
  int port_;
  int agent_;
  bool isOwner_;
};

}  // namespace siminfo
