#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "siminfo/collect/smp.h"
#include "siminfo/collect/walk_limits.h"

namespace siminfo {

/// A management port: what sends SMPs into the fabric and receives them.
class MadPort {
 public:
  virtual ~MadPort() = default;
  /// False when the port takes no packet.
  virtual bool send(Packet& packet, unsigned timeoutMs) = 0;
  /// Waits for a packet, or for the given time; false when none came.
  virtual bool receive(Packet& packet, unsigned timeoutMs) = 0;
};

/// How a request ended.
enum class SmpOutcome : std::uint8_t {
  kAnswered,      ///< with any status
  kTimedOut,      ///< in spite of every retry
  kDeviceSilent,  ///< not sent: the device at the end of the route had timed out again and again
  kInterrupted,   ///< not sent, or not waited for: the user wants an end
  kFabricSilent,  ///< not sent: nothing answers any more, or the management port takes no packets
};

/// What is known of the work while it goes on, from one exchange to the next; tick() is called for every
/// packet and a few times a second.
struct SmpWatch {
  std::function<bool()> isInterrupted;
  std::function<void()> tick;
  std::uint64_t sent = 0;  ///< packets, retries included
  /// A request that the nearest device has answered. While that one answers, the fabric is alive.
  std::optional<Packet> nearest;
};

/// Requests on their way through a management port: sends, waits, asks again, and gives up.
///
/// The kernel would retry as well; doing it here bounds the time on any port, and lets an interrupted or
/// failed work end at once.
class SmpExchange {
 public:
  struct Completed {
    Packet packet;  ///< the answer, or the request when there is none
    SmpOutcome outcome;
  };

  /// Port and watch are borrowed.
  SmpExchange(MadPort& port, const SmpTiming& timing, SmpWatch& watch)
      : port_(port), timing_(timing), watch_(watch) {}

  /// Sends the request. Its transaction id must be none of the pending ones.
  void submit(Packet request);
  /// Waits until one of the requests has ended; nothing when none is under way.
  std::optional<Completed> next();

 private:
  using Clock = std::chrono::steady_clock;
  struct Pending {
    Packet request;
    bool isProbe;  // ours, to see whether the fabric is alive
    unsigned attempts = 0;
    Clock::time_point deadline{};
  };
  using PendingMap = std::map<std::uint32_t, Pending>;

  void transmit(Pending& pending);
  void take(Packet& received);
  PendingMap::iterator retryOrGiveUp(PendingMap::iterator at);
  void giveUp(const Pending& pending);
  void probe();
  void expire();
  void giveUpAll(SmpOutcome outcome);
  unsigned waitMs() const;

  MadPort& port_;
  SmpTiming timing_;
  SmpWatch& watch_;
  PendingMap pending_;                          // by transaction
  std::deque<Completed> completed_;             // and not yet given out
  std::map<std::string, unsigned> timedOutAt_;  // requests in a row that a route's end did not answer
  unsigned failedSends_ = 0;                    // in a row
  unsigned timedOut_ = 0;                       // requests in a row, wherever they went
  bool isFabricSilent_ = false;
};

}  // namespace siminfo
