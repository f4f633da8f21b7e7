#include "siminfo/serve/serve.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>

#include "siminfo/process/child.h"
#include "siminfo/process/descriptors.h"
#include "siminfo/process/launch.h"
#include "siminfo/process/own_folder.h"
#include "siminfo/text/quoting.h"

namespace siminfo {
namespace {

/// The library that takes a program's management packets to the server.
std::string wrapperLibrary() {
  for (const std::filesystem::path root : {"/usr/lib", "/usr/lib64", "/usr/local/lib"}) {
    const std::filesystem::path inside = "umad2sim/libumad2sim.so";
    std::error_code ignored;
    if (std::filesystem::exists(root / inside, ignored)) return (root / inside).string();
    if (!std::filesystem::is_directory(root, ignored)) continue;
    for (const auto& entry : std::filesystem::directory_iterator(root)) {
      if (std::filesystem::exists(entry.path() / inside, ignored)) return (entry.path() / inside).string();
    }
  }
  throw ServeError(
      "libumad2sim.so, through which InfiniBand tools reach the server, was not found; install the "
      "package libumad2sim0");
}

/// The running server. It lives for as long as its standard input is open.
class RunningServer {
 public:
  RunningServer(const std::filesystem::path& root, const ServeRequest& request, const std::string& socket) {
    std::vector<std::string> command{serverProgram(root).string(), "--fabric", servedFile(root).string(),
                                     "--socket", socket};
    if (request.init) command.emplace_back("--init");
    if (!request.from.empty()) command.insert(command.end(), {"--from", request.from});
    ProgramSetup setup{command, lifeline_.readEnd(), output_.writeEnd()};
    setup.limits.memory = std::size_t{request.limits.memory} << 20U;
    child_.emplace(setup);
    lifeline_.closeRead();
    output_.closeWrite();
  }

  /// The words of the line that it prints once it answers. Throws a ServeError when it ends before.
  std::vector<std::string> waitUntilReady(const std::function<bool()>& isStopped) {
    std::string text;
    while (text.empty() || text.back() != '\n') {
      if (isStopped()) throw ServeError("interrupted: nothing was served");
      pollfd polled{output_.readEnd(), POLLIN, 0};
      constexpr int kLookMs = 50;
      if (poll(&polled, 1, kLookMs) <= 0) continue;
      std::array<char, 1024> bytes{};
      const ssize_t size = read(output_.readEnd(), bytes.data(), bytes.size());
      if (size <= 0) throw ServeError("the server did not start");
      text.append(bytes.data(), static_cast<std::size_t>(size));
    }
    std::vector<std::string> words(1);
    for (const char character : text.substr(0, text.size() - 1)) {
      if (character == '\t')
        words.emplace_back();
      else
        words.back() += character;
    }
    if (words.size() != 5) throw ServeError("the server printed an unknown first line: " + text);
    return words;
  }

  bool hasEnded() { return child_->status().has_value(); }
  /// Lets it say its last words.
  int end() {
    lifeline_.closeWrite();
    return child_->wait([] { return false; });
  }

 private:
  Pipe lifeline_;
  Pipe output_;
  std::optional<Child> child_;
};

std::map<std::string, std::string> clientEnvironment(const std::string& wrapper, const std::string& guid,
                                                     const std::string& socket) {
  const char* other = std::getenv("LD_PRELOAD");
  const std::string preload = other != nullptr && *other != '\0' ? wrapper + ":" + other : wrapper;
  return {{"LD_PRELOAD", preload}, {"SIM_HOST", guid}, {"IBSIM_SOCKNAME", socket}};
}

int runCommand(const ServeRequest& request, const Served& served, RunningServer& server,
               const ServeWatch& watch) {
  if (!request.command.empty()) {
    Child command({request.command, -1, -1, -1, served.environment});
    return command.wait([&] { return watch.isStopped() || server.hasEnded(); });
  }
  while (!watch.isStopped() && !server.hasEnded()) {
    constexpr int kLookMs = 100;
    poll(nullptr, 0, kLookMs);
  }
  return 0;
}

}  // namespace

int serve(Snapshot& snapshot, const std::vector<const IBNode*>& nodes, const ServeRequest& request,
          const ServeWatch& watch) {
  // Before a build that takes long, and would be for nothing.
  if (!request.command.empty() && !findProgram(request.command.front()))
    throw ServeError("there is no program " + inQuotes(request.command.front()) +
                     "; give one that PATH knows, or its path");
  const std::string wrapper = wrapperLibrary();
  const std::string socket = request.socket.empty() ? "siminfo-" + std::to_string(getpid()) : request.socket;
  const std::filesystem::path root = serveFolder(request.snapshotFile, request.exactPorts);
  makeOwnFolder(root);
  InMemoryDrovik engine(snapshot.discovered, root);
  const ModelWriter writer(engine, request.exactPorts);
  const ModelSet set = writer.findModels(nodes);

  // Another siminfo may serve the same snapshot: neither changes the project before the other has begun.
  auto lock = std::make_unique<FileHandle>(root / "lock", O_RDWR | O_CREAT);
  if (!lock->lock(watch.isStopped)) throw ServeError("interrupted: nothing was served");
  {
    SectionStream served;
    printServedFile(served, snapshot, set, request.told);
    writeServerProject(writer, set, served.text(), root);
  }
  buildServer(root, {watch.isStopped, [&] { watch.progress("building the server"); }, request.limits});
  RunningServer server(root, request, socket);
  watch.progress("restoring the nodes");
  const std::vector<std::string> ready = server.waitUntilReady(watch.isStopped);
  lock.reset();

  const Served served{set.nodes.size(), set.models.size(),
                      set.standIns,     "port " + ready[2] + " of " + ready[4],
                      ready[3],         clientEnvironment(wrapper, ready[1], socket)};
  watch.begun(served);
  const int status = runCommand(request, served, server, watch);
  if (server.end() != 0) throw ServeError("the server failed");
  return status;
}

}  // namespace siminfo
