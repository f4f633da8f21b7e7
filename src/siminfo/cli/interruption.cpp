#include "siminfo/cli/interruption.h"

#include <array>
#include <atomic>
#include <csignal>

namespace siminfo {
namespace {

constexpr std::array kEndSignals{SIGINT, SIGTERM};

std::atomic<bool> wasAsked = false;
static_assert(std::atomic<bool>::is_always_lock_free);  // a signal handler sets it

void setEndSignals(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  // A second signal waits until the first one is dealt with, and then is the end.
  for (const int signal : kEndSignals) sigaddset(&action.sa_mask, signal);
  for (const int signal : kEndSignals) sigaction(signal, &action, nullptr);
}

/// Two signals at once may come to two threads, and each of these is in here then.
void askForEnd(int signal) {
  const bool isSecond = wasAsked.exchange(true);
  setEndSignals(SIG_DFL);
  if (isSecond) std::raise(signal);
}

}  // namespace

Interruption::Interruption() {
  wasAsked = false;
  setEndSignals(askForEnd);
}

Interruption::~Interruption() { setEndSignals(SIG_DFL); }

bool Interruption::isAsked() const { return wasAsked; }

}  // namespace siminfo
