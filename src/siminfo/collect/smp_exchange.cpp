#include "siminfo/collect/smp_exchange.h"

#include <algorithm>
#include <utility>

namespace siminfo {
namespace {

using std::chrono::milliseconds;

// Between the looks at whether the user wants an end.
constexpr unsigned kSliceMs = 100;
// A port that refuses a packet may take it a little later.
constexpr milliseconds kSendAgain{20};
constexpr unsigned kMaxFailedSends = 10;
// A device that left so many requests unanswered, each of them asked again and again, is not asked any more.
constexpr unsigned kMaxTimedOut = 2;
// So many in a row that nobody answered are reason to see whether the fabric is still there.
constexpr unsigned kProbeAfter = 8;

}  // namespace

void SmpExchange::submit(Packet request) {
  const auto silent = timedOutAt_.find(std::string(request.route()));
  if (watch_.isInterrupted()) {
    completed_.push_back({request, SmpOutcome::kInterrupted});
  } else if (isFabricSilent_) {
    completed_.push_back({request, SmpOutcome::kFabricSilent});
  } else if (silent != timedOutAt_.end() && silent->second >= kMaxTimedOut) {
    completed_.push_back({request, SmpOutcome::kDeviceSilent});
  } else {
    const std::uint32_t transaction = request.transaction();
    transmit(pending_.insert_or_assign(transaction, Pending{request, false}).first->second);
  }
}

std::optional<SmpExchange::Completed> SmpExchange::next() {
  while (completed_.empty() && !pending_.empty()) {
    Packet received;
    if (watch_.isInterrupted())
      giveUpAll(SmpOutcome::kInterrupted);
    else if (isFabricSilent_)
      giveUpAll(SmpOutcome::kFabricSilent);
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
  if (failedSends_ >= kMaxFailedSends) isFabricSilent_ = true;
  const milliseconds mostWait{timing_.timeoutMs + timing_.graceMs};
  pending.deadline = Clock::now() + (isSent ? mostWait : kSendAgain);
}

void SmpExchange::take(Packet& received) {
  const auto found = pending_.find(received.transaction());
  if (found == pending_.end()) return;  // an answer that came too late, or twice
  if (umad_status(received.bytes.data()) != 0) {
    retryOrGiveUp(found);
    return;
  }
  Pending& pending = found->second;
  if (!answers(received, pending.request)) return;
  timedOut_ = 0;
  timedOutAt_.erase(std::string(pending.request.route()));
  if (!watch_.nearest || watch_.nearest->route().empty()) watch_.nearest = pending.request;
  if (!pending.isProbe) completed_.push_back({received, SmpOutcome::kAnswered});
  pending_.erase(found);
}

SmpExchange::PendingMap::iterator SmpExchange::retryOrGiveUp(PendingMap::iterator at) {
  if (at->second.attempts <= timing_.retries) {
    transmit(at->second);
    return std::next(at);
  }
  giveUp(at->second);
  return pending_.erase(at);
}

void SmpExchange::giveUp(const Pending& pending) {
  if (pending.isProbe) {
    isFabricSilent_ = true;
    return;
  }
  Packet request = pending.request;
  ++timedOutAt_[std::string(request.route())];
  completed_.push_back({request, SmpOutcome::kTimedOut});
  if (++timedOut_ % kProbeAfter == 0) probe();
}

void SmpExchange::probe() {
  if (!watch_.nearest) {
    isFabricSilent_ = true;
    return;
  }
  Packet request = *watch_.nearest;
  mad_set_field64(request.mad(), 0, IB_MAD_TRID_F, mad_trid());
  transmit(pending_.insert_or_assign(request.transaction(), Pending{request, true}).first->second);
}

void SmpExchange::expire() {
  const Clock::time_point now = Clock::now();
  for (auto at = pending_.begin(); at != pending_.end();)
    at = at->second.deadline <= now ? retryOrGiveUp(at) : std::next(at);
}

void SmpExchange::giveUpAll(SmpOutcome outcome) {
  for (const auto& [transaction, pending] : pending_) {
    if (!pending.isProbe) completed_.push_back({pending.request, outcome});
  }
  pending_.clear();
}

unsigned SmpExchange::waitMs() const {
  const auto first = std::ranges::min_element(
      pending_, {}, [](const PendingMap::value_type& entry) { return entry.second.deadline; });
  const auto left = std::chrono::ceil<milliseconds>(first->second.deadline - Clock::now()).count();
  return static_cast<unsigned>(std::clamp<std::int64_t>(left, 0, kSliceMs));
}

}  // namespace siminfo
