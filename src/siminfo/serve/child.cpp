#include "siminfo/serve/child.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <thread>

namespace siminfo {
namespace {

/// How long an end or a wish for one goes unnoticed.
constexpr std::chrono::milliseconds kLook{5};

[[noreturn]] void fail(int error, const std::string& what) {
  throw std::system_error(error, std::generic_category(), what);
}

/// Streams of siminfo's in place of a child's.
class Streams {
 public:
  explicit Streams(const ChildSetup& setup) {
    posix_spawn_file_actions_init(&actions_);
    put(setup.input, STDIN_FILENO);
    put(setup.output, STDOUT_FILENO);
    put(setup.errors, STDERR_FILENO);
  }
  ~Streams() { posix_spawn_file_actions_destroy(&actions_); }
  Streams(const Streams&) = delete;
  Streams& operator=(const Streams&) = delete;
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  void put(int from, int to) {
    if (from >= 0) posix_spawn_file_actions_adddup2(&actions_, from, to);
  }
  posix_spawn_file_actions_t actions_{};
};

/// A process group of its own, when it is to be one.
class Attributes {
 public:
  explicit Attributes(bool isGroup) {
    posix_spawnattr_init(&attributes_);
    if (isGroup) posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP);
  }
  ~Attributes() { posix_spawnattr_destroy(&attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& changes) {
  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text(*entry);
    if (!changes.contains(std::string(text.substr(0, text.find('='))))) environment.emplace_back(text);
  }
  for (const auto& [name, value] : changes)
    environment.push_back(std::string(name).append("=").append(value));
  return environment;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

Child::Child(const std::vector<std::string>& command, const ChildSetup& setup) : isGroup_(setup.isGroup) {
  std::vector<std::string> arguments = command;
  std::vector<std::string> environment = environmentWith(setup.environment);
  const Streams streams(setup);
  const Attributes attributes(setup.isGroup);
  const int error = posix_spawnp(&process_, command.front().c_str(), streams.get(), attributes.get(),
                                 pointersTo(arguments).data(), pointersTo(environment).data());
  if (error != 0) fail(error, command.front());
}

Child::~Child() {
  if (!status()) wait([] { return true; });
}

std::optional<int> Child::status() {
  int status = 0;
  if (!status_ && waitpid(process_, &status, WNOHANG) == process_)
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return status_;
}

int Child::wait(const std::function<bool()>& isStopped) {
  for (bool isAsked = false; !status(); std::this_thread::sleep_for(kLook)) {
    if (isAsked || !isStopped()) continue;
    kill(isGroup_ ? -process_ : process_, SIGTERM);
    isAsked = true;
  }
  return *status_;
}

Pipe::Pipe() {
  if (pipe2(ends_, O_CLOEXEC) != 0) fail(errno, "a pipe");
}
Pipe::~Pipe() {
  closeRead();
  closeWrite();
}
void Pipe::closeEnd(int end) {
  if (ends_[end] >= 0) close(ends_[end]);
  ends_[end] = -1;
}

FileHandle::FileHandle(const std::filesystem::path& path)
    : handle_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
  if (handle_ < 0) fail(errno, path.string());
}
FileHandle::~FileHandle() { close(handle_); }

bool FileHandle::lock(const std::function<bool()>& isStopped) const {
  while (flock(handle_, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) fail(errno, "a lock");
    if (isStopped()) return false;
    std::this_thread::sleep_for(kLook);
  }
  return true;
}

std::optional<std::filesystem::path> findProgram(const std::string& name) {
  if (name.find('/') != std::string::npos)
    return access(name.c_str(), X_OK) == 0 ? std::optional<std::filesystem::path>(name) : std::nullopt;
  const char* path = std::getenv("PATH");
  std::string_view folders = path != nullptr ? path : "/usr/bin:/bin";
  while (!folders.empty()) {
    const std::size_t end = std::min(folders.find(':'), folders.size());
    const std::filesystem::path candidate = std::filesystem::path(folders.substr(0, end)) / name;
    if (access(candidate.c_str(), X_OK) == 0) return candidate;
    folders.remove_prefix(std::min(end + 1, folders.size()));
  }
  return std::nullopt;
}

}  // namespace siminfo
