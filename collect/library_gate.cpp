#include "collect/library_gate.h"

#include <dlfcn.h>

#include <algorithm>
#include <cerrno>

namespace siminfo {
namespace {

LibraryGate* theGate = nullptr;

}  // namespace

LibraryGate::LibraryGate(const SmpTiming& timing, SmpWatch& watch, std::size_t& nodesFound)
    : timing_(timing), watch_(watch), nodesFound_(nodesFound) {
  theGate = this;
}

LibraryGate::~LibraryGate() { theGate = nullptr; }

int LibraryGate::send(int port, int agent, void* umad, int length) {
  std::unique_ptr<Opened>& opened = ports_[port];
  if (!opened) opened = std::make_unique<Opened>(port, agent, timing_, watch_);
  Packet request;
  const std::size_t size = umad_size() + static_cast<std::size_t>(std::max(length, 0));
  std::copy_n(static_cast<const std::uint8_t*>(umad), std::min(size, request.bytes.size()),
              request.bytes.begin());
  opened->exchange.submit(request);
  return 0;
}

int LibraryGate::receive(int port, void* umad, int* length, int timeoutMs) {
  const auto opened = ports_.find(port);
  if (opened == ports_.end()) return realUmadReceive(port, umad, length, timeoutMs);
  std::optional<SmpExchange::Completed> completed = opened->second->exchange.next();
  if (!completed) return -ETIMEDOUT;
  Packet& packet = completed->packet;
  const bool isAnswered = completed->outcome == Outcome::kAnswered;
  reinterpret_cast<ib_user_mad*>(packet.bytes.data())->status = isAnswered ? 0 : ETIMEDOUT;
  if (isAnswered && packet.field(IB_MAD_ATTRID_F) == IB_ATTR_NODE_INFO &&
      packet.field(IB_DRSMP_STATUS_F) == 0) {
    guids_.insert(mad_get_field64(packet.mad(), IB_SMP_DATA_OFFS, IB_NODE_GUID_F));
    nodesFound_ = guids_.size();
  }
  const std::size_t size = umad_size() + static_cast<std::size_t>(std::clamp(*length, 0, int{IB_MAD_SIZE}));
  std::copy_n(packet.bytes.begin(), size, static_cast<std::uint8_t*>(umad));
  *length = IB_MAD_SIZE;
  return opened->second->umad.agent();
}

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

}  // namespace siminfo

extern "C" int umad_send(int portid, int agentid, void* umad, int length, int timeout_ms, int retries) {
  if (siminfo::theGate == nullptr)
    return siminfo::realUmadSend(portid, agentid, umad, length, timeout_ms, retries);
  return siminfo::theGate->send(portid, agentid, umad, length);
}

extern "C" int umad_recv(int portid, void* umad, int* length, int timeout_ms) {
  if (siminfo::theGate == nullptr) return siminfo::realUmadReceive(portid, umad, length, timeout_ms);
  return siminfo::theGate->receive(portid, umad, length, timeout_ms);
}
