#include "siminfo/cli/interruption.h"

#include <array>
#include <atomic>
#include <csignal>

namespace siminfo {
namespace {

constexpr std::array kEndSignals{SIGINT, SIGTERM, SIGHUP};

std::atomic<bool> wasAsked = false;
static_assert(std::atomic<bool>::is_always_lock_free);  // a signal handler sets it

std::array<struct sigaction, kEndSignals.size()> before;

void restoreSignals() {
  for (std::size_t i = 0; i < kEndSignals.size(); ++i) sigaction(kEndSignals[i], &before[i], nullptr);
}

/// Two signals may come to two threads at the same moment.
void askForEnd(int signal) {
  if (!wasAsked.exchange(true)) return;
  restoreSignals();
  raise(signal);
}

}  // namespace

Interruption::Interruption() {
  wasAsked = false;
  struct sigaction action {};
  action.sa_handler = askForEnd;
  // A second signal to the same thread waits until the first one is dealt with.
  for (const int signal : kEndSignals) sigaddset(&action.sa_mask, signal);
  for (std::size_t i = 0; i < kEndSignals.size(); ++i) {
    sigaction(kEndSignals[i], nullptr, &before[i]);
    // What nohup and shells have a program ignore, it goes on to ignore.
    if (before[i].sa_handler != SIG_IGN) sigaction(kEndSignals[i], &action, nullptr);
  }
}

Interruption::~Interruption() { restoreSignals(); }

bool Interruption::isAsked() const { return wasAsked; }

}  // namespace siminfo
