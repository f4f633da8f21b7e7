#include "siminfo/collect/umad_port.h"

#include <dlfcn.h>

#include "siminfo/collect/collect_error.h"
#include "siminfo/collect/port_choice.h"

namespace siminfo {
namespace {

/// The next definition behind the program's own.
template <class Function>
Function* nextDefinition(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

int realUmadSend(int port, int agent, void* umad, int length, int timeoutMs, int retries) {
  static auto* const real = nextDefinition<decltype(umad_send)>("umad_send");
  return real(port, agent, umad, length, timeoutMs, retries);
}

int realUmadReceive(int port, void* umad, int* length, int timeoutMs) {
  static auto* const real = nextDefinition<decltype(umad_recv)>("umad_recv");
  return real(port, umad, length, timeoutMs);
}

UmadPort::UmadPort(const std::string& device, int portNumber)
    : port_(umad_open_port(device.c_str(), portNumber)), agent_(-1), isOwner_(true) {
  constexpr int kClassVersion = 1;
  if (port_ >= 0) agent_ = umad_register(port_, IB_SMI_DIRECT_CLASS, kClassVersion, 0, nullptr);
  if (agent_ >= 0) return;
  const std::string fault = portFault({device, portNumber});
  if (port_ >= 0) umad_close_port(port_);
  throw CollectError(CollectError::kNoPort, fault);
}

UmadPort::~UmadPort() {
  if (!isOwner_) return;
  umad_unregister(port_, agent_);
  umad_close_port(port_);
}

bool UmadPort::send(Packet& packet, unsigned timeoutMs) {
  return realUmadSend(port_, agent_, packet.bytes.data(), IB_MAD_SIZE, static_cast<int>(timeoutMs), 0) == 0;
}

bool UmadPort::receive(Packet& packet, unsigned timeoutMs) {
  int length = IB_MAD_SIZE;
  return realUmadReceive(port_, packet.bytes.data(), &length, static_cast<int>(timeoutMs)) >= 0;
}

}  // namespace siminfo
