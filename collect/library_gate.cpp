#include "collect/library_gate.h"

#include <dlfcn.h>

#include <algorithm>
#include <cerrno>

namespace siminfo {
namespace {

LibraryGate* theGate = nullptr;

}  // namespace

LibraryGate::LibraryGate(const WalkLimits& limits, SmpWatch& watch, std::size_t& nodesFound)
    : limits_(limits), watch_(watch), nodesFound_(nodesFound) {
  theGate = this;
}

LibraryGate::~LibraryGate() { theGate = nullptr; }

int LibraryGate::send(int port, int agent, void* umad, int length) {
  std::unique_ptr<Opened>& opened = ports_[port];
  if (!opened) opened = std::make_unique<Opened>(port, agent, limits_.timing, watch_);
  Packet request;
  const std::size_t size = umad_size() + static_cast<std::size_t>(std::max(length, 0));
  std::copy_n(static_cast<const std::uint8_t*>(umad), std::min(size, request.bytes.size()),
              request.bytes.begin());
  if (limits_.maxHops != 0 && request.route().size() > limits_.maxHops)
    opened->tooFar.push_back(request);
  else
    opened->exchange.submit(request);
  return 0;
}

int LibraryGate::receive(int port, void* umad, int* length, int timeoutMs) {
  const auto found = ports_.find(port);
  if (found == ports_.end()) return realUmadReceive(port, umad, length, timeoutMs);
  Opened& opened = *found->second;
  Packet packet;
  std::uint32_t status = ETIMEDOUT;
  if (!opened.tooFar.empty()) {
    packet = opened.tooFar.front();
    opened.tooFar.pop_front();
  } else {
    const std::optional<SmpExchange::Completed> completed = opened.exchange.next();
    if (!completed) return -ETIMEDOUT;
    packet = completed->packet;
    if (completed->outcome == Outcome::kAnswered) {
      status = 0;
      count(packet);
    }
  }
  reinterpret_cast<ib_user_mad*>(packet.bytes.data())->status = status;
  const std::size_t size = umad_size() + static_cast<std::size_t>(std::clamp(*length, 0, int{IB_MAD_SIZE}));
  std::copy_n(packet.bytes.begin(), size, static_cast<std::uint8_t*>(umad));
  *length = IB_MAD_SIZE;
  return opened.umad.agent();
}

void LibraryGate::count(Packet& answer) {
  if (answer.field(IB_MAD_ATTRID_F) != IB_ATTR_NODE_INFO || answer.field(IB_DRSMP_STATUS_F) != 0) return;
  guids_.insert(mad_get_field64(answer.mad(), IB_SMP_DATA_OFFS, IB_NODE_GUID_F));
  nodesFound_ = guids_.size();
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
