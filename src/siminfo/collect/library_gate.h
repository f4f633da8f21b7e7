#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>

#include "siminfo/collect/smp_exchange.h"
#include "siminfo/collect/umad_port.h"

namespace siminfo {

/// While it lives, what the discovery library sends and receives passes through an SmpExchange of ours.
///
/// The library's discovery is one call that waits for ever, says nothing while it runs and cannot be
/// interrupted. Its sends and receives are calls of umad_send() and umad_recv(), and the program defines both
/// of these names itself, so that they come before those of libibumad. So requests are counted, each ends in
/// a bounded time, and when the user wants an end they all time out at once: the library then returns what it
/// has found so far. The limit of hops is kept here as well: the library's own lets one device further in and
/// then leaves out others that are nearer. And answers that would lead the library outside its own lists
/// count as lost. Where the names are not taken over (a statically linked library, say) discovery still
/// works, and only its end has to be waited for.
class LibraryGate {
 public:
  /// One gate at a time. The watch is borrowed; `nodesFound` is kept up to date.
  LibraryGate(const WalkLimits& limits, SmpWatch& watch, std::size_t& nodesFound);
  ~LibraryGate();
  LibraryGate(const LibraryGate&) = delete;
  LibraryGate& operator=(const LibraryGate&) = delete;

  /// These behave as the functions of libibumad do.
  int send(int port, int agent, void* umad, int length);
  int receive(int port, void* umad, int* length, int timeoutMs);

 private:
  struct Opened {
    Opened(int port, int agent, const SmpTiming& timing, SmpWatch& watch)
        : umad(port, agent), exchange(umad, timing, watch) {}
    UmadPort umad;
    SmpExchange exchange;
    std::deque<Packet> tooFar;  // requests that are not sent
  };

  /// Whether the library can take the answer.
  bool admit(Packet& answer);

  WalkLimits limits_;
  SmpWatch& watch_;
  std::size_t& nodesFound_;
  std::map<int, std::unique_ptr<Opened>> ports_;       // by the library's handle
  std::map<std::uint64_t, std::uint32_t> portCounts_;  // of the nodes that answered, by GUID
};

}  // namespace siminfo
