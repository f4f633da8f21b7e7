#include "siminfo/cli/interruption.h"

#include <array>
#include <atomic>
#include <csignal>

namespace siminfo {
namespace {

constexpr std::array kEndSignals{SIGINT, SIGTERM, SIGHUP};

std::atomic<bool> wasAsked = false;
static_assert(std::atomic<bool>::is_always_lock_free);  // a signal handler sets it

void setEndSignals(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  // A second signal to the same thread waits until the first one is dealt with.
  for (const int signal : kEndSignals) sigaddset(&action.sa_mask, signal);
  for (const int signal : kEndSignals) {
    // What nohup and shells have a program ignore, it goes on to ignore.
    struct sigaction before {};
    if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
      sigaction(signal, &action, nullptr);
  }
}

/// Two signals may come to two threads at the same moment.
void askForEnd(int signal) {
  if (!wasAsked.exchange(true)) return;
  setEndSignals(SIG_DFL);
  raise(signal);
}

}  // namespace

Interruption::Interruption() {
  wasAsked = false;
  setEndSignals(askForEnd);
}

Interruption::~Interruption() { setEndSignals(SIG_DFL); }

bool Interruption::isAsked() const { return wasAsked; }

}  // namespace siminfo
