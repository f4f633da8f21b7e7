#include "collect/smp_exchange.h"

#include <algorithm>
#include <utility>

namespace siminfo {
namespace {

using std::chrono::milliseconds;

// The kernel reports a time-out itself; only where no kernel is behind the port does this bound the wait.
constexpr milliseconds kGrace{100};
// Between the looks at whether the user wants an end.
constexpr unsigned kSliceMs = 100;
// A port that refuses a packet may take it a little later.
constexpr milliseconds kSendAgain{20};
constexpr unsigned kMaxFailedSends = 10;
// A device that left so many requests unanswered, each of them asked again and again, is not asked any more.
constexpr unsigned kMaxTimedOut = 2;

}  // namespace

void SmpExchange::submit(Packet request) {
  const auto silent = timedOutAt_.find(std::string(request.route()));
  if (watch_.isInterrupted()) {
    completed_.push_back({request, Outcome::kInterrupted});
  } else if (hasPortFailed()) {
    completed_.push_back({request, Outcome::kPortFailed});
  } else if (silent != timedOutAt_.end() && silent->second >= kMaxTimedOut) {
    completed_.push_back({request, Outcome::kDeviceSilent});
  } else {
    const std::uint32_t transaction = request.transaction();
    transmit(pending_.insert_or_assign(transaction, Pending{request, 0, {}}).first->second);
  }
}

std::optional<SmpExchange::Completed> SmpExchange::next() {
  while (completed_.empty() && !pending_.empty()) {
    Packet received;
    if (watch_.isInterrupted())
      giveUpAll(Outcome::kInterrupted);
    else if (hasPortFailed())
      giveUpAll(Outcome::kPortFailed);
    else if (port_.receive(received, waitMs()))
      take(received);
    expire();
    watch_.tick();
  }
  if (completed_.empty()) return std::nullopt;
  const Completed first = completed_.front();
  completed_.pop_front();
  return first;
}

void SmpExchange::transmit(Pending& pending) {
  ++pending.attempts;
  ++watch_.sent;
  const bool isSent = port_.send(pending.request, timing_.timeoutMs);
  failedSends_ = isSent ? 0 : failedSends_ + 1;
  pending.deadline = Clock::now() + (isSent ? milliseconds(timing_.timeoutMs) + kGrace : kSendAgain);
}

void SmpExchange::take(Packet& received) {
  const auto found = pending_.find(received.transaction());
  if (found == pending_.end()) return;  // an answer that came too late, or twice
  if (umad_status(received.bytes.data()) != 0) {
    retryOrGiveUp(found);
  } else if (answers(received, found->second.request)) {
    timedOutAt_.erase(std::string(found->second.request.route()));
    completed_.push_back({received, Outcome::kAnswered});
    pending_.erase(found);
  }
}

SmpExchange::PendingMap::iterator SmpExchange::retryOrGiveUp(PendingMap::iterator at) {
  if (at->second.attempts <= timing_.retries) {
    transmit(at->second);
    return std::next(at);
  }
  ++timedOutAt_[std::string(at->second.request.route())];
  completed_.push_back({at->second.request, Outcome::kTimedOut});
  return pending_.erase(at);
}

void SmpExchange::expire() {
  const Clock::time_point now = Clock::now();
  for (auto at = pending_.begin(); at != pending_.end();)
    at = at->second.deadline <= now ? retryOrGiveUp(at) : std::next(at);
}

void SmpExchange::giveUpAll(Outcome outcome) {
  for (const auto& [transaction, pending] : pending_) completed_.push_back({pending.request, outcome});
  pending_.clear();
}

unsigned SmpExchange::waitMs() const {
  const auto first = std::ranges::min_element(
      pending_, {}, [](const PendingMap::value_type& entry) { return entry.second.deadline; });
  const auto left = std::chrono::ceil<milliseconds>(first->second.deadline - Clock::now()).count();
  return static_cast<unsigned>(std::clamp<std::int64_t>(left, 0, kSliceMs));
}

bool SmpExchange::hasPortFailed() const { return failedSends_ >= kMaxFailedSends; }

}  // namespace siminfo
