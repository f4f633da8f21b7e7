#include "siminfo/collect/library_gate.h"

#include <algorithm>
#include <cerrno>

#include "siminfo/collect/mad_fields.h"

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
    if (completed->outcome == SmpOutcome::kAnswered && admit(packet)) status = 0;
  }
  reinterpret_cast<ib_user_mad*>(packet.bytes.data())->status = status;
  const std::size_t size = umad_size() + static_cast<std::size_t>(std::clamp(*length, 0, int{IB_MAD_SIZE}));
  std::copy_n(packet.bytes.begin(), size, static_cast<std::uint8_t*>(umad));
  *length = IB_MAD_SIZE;
  return opened.umad.agent();
}

bool LibraryGate::admit(Packet& answer) {
  if (answer.field(IB_MAD_ATTRID_F) != IB_ATTR_NODE_INFO || answer.field(IB_DRSMP_STATUS_F) != 0) return true;
  // The library files the port under the number that the device says, in a list that is as long as the first
  // device of that GUID said, and does not look whether it fits.
  const Attribute info = answer.attribute();
  if (!isPlaced(info)) return false;
  const std::uint32_t portCount = madField(info, IB_NODE_NPORTS_F);
  const auto known = portCounts_.try_emplace(madField64(info, IB_NODE_GUID_F), portCount).first;
  nodesFound_ = portCounts_.size();
  return madField(info, IB_NODE_LOCAL_PORT_F) <= known->second;
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
