#pragma once

// The program that serves a fabric:
//
//   server --fabric FILE --socket NAME [--init] [--from NODE]
//
// Prints a line to standard output once it answers, and ends when its standard input does, or on SIGTERM.

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>

#include "control_desk.h"
#include "fabric_file.h"
#include "images.h"
#include "mad_desk.h"

namespace drovik {

struct ServeOptions {
  std::string fabric;
  std::string socket;
  std::string from;  ///< where a client is that says nothing; empty: the first adapter with a link
  bool init = false;
};

class Server {
 public:
  Server(Fabric& fabric, const std::string& socket, PortAt attachment)
      : clients_(socket),
        links_(fabric),
        agent_(fabric, links_),
        control_(fabric, clients_, agent_, attachment),
        mads_(fabric, clients_, agent_, links_) {}

  /// Answers until the standard input ends or somebody asks for an end.
  void run() {
    std::array<pollfd, kMostClients + 2> polled{};
    polled[kInput] = {STDIN_FILENO, POLLIN, 0};
    polled[kControl] = {clients_.control().handle(), POLLIN, 0};
    for (;;) {
      for (unsigned i = 0; i < kMostClients; ++i) polled[kFirst + i] = waitFor(i);
      poll(polled.data(), polled.size(), kLookMs);
      if (isEnded || (polled[kInput].revents != 0 && isInputOver())) return;
      lookForDead();
      if (polled[kControl].revents != 0) takeControl();
      const auto now = Clock::now();
      const bool isSoon = isLingering_ && now < quietEnd_ && now > restEnd_;
      for (unsigned i = 0; i < kMostClients; ++i) {
        if (polled[kFirst + i].revents != 0) takeMad(i);
      }
      if (isSoon) linger();
    }
  }

  const Counts& counts() const { return mads_.counts(); }
  static void end(int) { isEnded = 1; }

 private:
  using Clock = std::chrono::steady_clock;
  enum : unsigned { kInput, kControl, kFirst };
  static constexpr int kLookMs = 500;  // between the looks for clients that are gone
  static constexpr std::chrono::microseconds kQuiet{50};
  static constexpr Clock::duration kShortestRest = std::chrono::milliseconds(1);

  /// Sockets of nobody cost nothing.
  pollfd waitFor(unsigned number) {
    const Client& client = clients_[number];
    if (!client.isThere) return {-1, 0, 0};
    const short out = client.waiting.empty() ? short{0} : short{POLLOUT};
    return {clients_.socket(number).handle(), static_cast<short>(POLLIN | out), 0};
  }

  static bool isInputOver() {
    char nothing = 0;
    const ssize_t size = read(STDIN_FILENO, &nothing, 1);
    return size == 0 || (size < 0 && errno != EINTR && errno != EAGAIN);
  }

  /// Clients that have ended without a word are forgotten within a moment, however busy the others are.
  void lookForDead() {
    const auto now = Clock::now();
    if (now < nextLook_) return;
    control_.forgetDead();
    nextLook_ = now + std::chrono::milliseconds(kLookMs);
  }

  void takeControl() {
    Address sender;
    ControlMessage message{};
    const ssize_t size = clients_.control().receive(&message, sizeof message, sender);
    if (size >= 0) control_.take(message, size, sender);
  }

  /// One at a time, so that no client keeps the others waiting.
  void takeMad(unsigned number) {
    clients_.sendWaiting(number);
    MadMessage message;
    const ssize_t size = clients_.socket(number).receive(&message, sizeof message);
    if (size < 0) return;
    mads_.take(number, message, size);
    quietEnd_ = Clock::now() + kQuiet;
  }

  /// A client that has asked soon after an answer asks on as soon, and waking up takes longer than answering
  /// does. So the server stays awake for a moment, but never for long without a look at all else. Where it
  /// waited in vain, as it does when processors are short, it sleeps for a while before it tries again.
  void linger() {
    constexpr std::chrono::milliseconds kMost{2}, kLongestRest{100};
    Clock::time_point now = Clock::now();
    for (const auto end = now + kMost; now < quietEnd_ && now < end; now = Clock::now()) {
      for (unsigned i = 0; i < kMostClients; ++i) {
        if (clients_[i].isThere) takeMad(i);
      }
    }
    const bool isVain = now >= quietEnd_;
    if (isVain) restEnd_ = now + rest_;
    rest_ = isVain ? std::min<Clock::duration>(2 * rest_, kLongestRest) : kShortestRest;
  }

  static inline volatile std::sig_atomic_t isEnded = 0;

  /// The only processor is the client's.
  const bool isLingering_ = std::thread::hardware_concurrency() > 1;
  Clock::time_point quietEnd_;  ///< once nothing more is expected for now
  Clock::time_point restEnd_;   ///< until when it sleeps whenever there is nothing to answer
  Clock::duration rest_{kShortestRest};
  Clock::time_point nextLook_;
  Clients clients_;
  LinkStates links_;
  SubnetAgent agent_;
  ControlDesk control_;
  MadDesk mads_;
};

inline ServeOptions readServeOptions(int argc, char** argv) {
  ServeOptions options;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--init") {
      options.init = true;
      continue;
    }
    std::string* value = word == "--fabric"   ? &options.fabric
                         : word == "--socket" ? &options.socket
                         : word == "--from"   ? &options.from
                                              : nullptr;
    if (value == nullptr || i + 1 == argc)
      throw std::runtime_error(word + ": expected --fabric, --socket, --from or --init");
    *value = argv[++i];
  }
  if (options.fabric.empty() || options.socket.empty())
    throw std::runtime_error("expected --fabric and --socket");
  return options;
}

inline PortAt attachmentOf(const Fabric& fabric, const std::string& from) {
  if (from.empty()) return defaultAttachment(fabric);
  const auto at = findAttachment(fabric, from);
  if (!at) throw std::runtime_error("no node that is served has the name or GUID " + from);
  return *at;
}

inline void serveFabric(const Models& models, const ServeOptions& options) {
  const auto start = std::chrono::steady_clock::now();
  Fabric fabric = FabricFile(models, options.fabric).read();
  if (fabric.nodes.empty()) throw std::runtime_error(options.fabric + ": has no node in it");
  const PortAt attachment = attachmentOf(fabric, options.from);
  ImageMaker(fabric, options.init).make();
  if (!options.init) ShortestPaths(fabric).fill();
  Server server(fabric, options.socket, attachment);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  std::printf("ready\t%s\t%u\t%.2f\t%s\n", clientWord(fabric, attachment).c_str(),
              static_cast<unsigned>(attachment.port), taken.count(), fabric.node(attachment).name.c_str());
  std::fclose(stdout);
  // Until here a signal ends the program as it stands; from now on it has last words.
  struct sigaction action {};
  action.sa_handler = Server::end;
  sigaction(SIGTERM, &action, nullptr);
  server.run();
  std::fprintf(stderr, "siminfo: served: %s\n", server.counts().text().c_str());
}

/// The program's exit status: 0, or 1 behind a line that says what is wrong.
inline int serveMain(const Models& models, int argc, char** argv) {
  // The terminal's interrupt goes to whoever started the server and ends it by its standard input.
  std::signal(SIGINT, SIG_IGN);
  std::signal(SIGPIPE, SIG_IGN);
  try {
    serveFabric(models, readServeOptions(argc, argv));
    return 0;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr,
                 "siminfo: error: the nodes with all their ports need more memory than there is; serve fewer "
                 "nodes, or allow more with --memory-limit\n");
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "siminfo: error: %s\n", error.what());
    return 1;
  }
}

}  // namespace drovik
