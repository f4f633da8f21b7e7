#include "siminfo/verify/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <string_view>
#include <system_error>
#include <thread>

namespace siminfo {
namespace {

/// How long a program's end or a wish to stop goes unnoticed, which is nothing beside a compiler's time.
constexpr std::chrono::milliseconds kLook{2};

/// Opens files in place of a child's streams.
class Redirection {
 public:
  Redirection() { posix_spawn_file_actions_init(&actions_); }
  ~Redirection() { posix_spawn_file_actions_destroy(&actions_); }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

  void read(int stream, const char* file) {
    posix_spawn_file_actions_addopen(&actions_, stream, file, O_RDONLY, 0);
  }
  void write(int stream, const std::filesystem::path& file) {
    posix_spawn_file_actions_addopen(&actions_, stream, file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

class Membership {
 public:
  explicit Membership(pid_t group) {
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attributes_, group);
  }
  ~Membership() { posix_spawnattr_destroy(&attributes_); }
  Membership(const Membership&) = delete;
  Membership& operator=(const Membership&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

std::vector<char*> untranslatedEnvironment() {
  static std::string language = "LC_ALL=C";
  std::vector<char*> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (!std::string_view(*entry).starts_with("LC_ALL=")) environment.push_back(*entry);
  }
  environment.push_back(language.data());
  environment.push_back(nullptr);
  return environment;
}

}  // namespace

bool ChildProcesses::run(const std::vector<std::string>& command, const std::filesystem::path& output,
                         const std::filesystem::path& errors) const {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);

  Redirection redirection;
  redirection.read(STDIN_FILENO, "/dev/null");
  redirection.write(STDOUT_FILENO, output);
  redirection.write(STDERR_FILENO, errors);
  const Membership membership(group);
  std::vector<char*> environment = untranslatedEnvironment();
  pid_t child = 0;
  const int error = posix_spawnp(&child, arguments[0], redirection.get(), membership.get(), arguments.data(),
                                 environment.data());
  if (error != 0) throw std::system_error(error, std::generic_category(), command.front());
  int status = 0;
  for (pid_t ended = 0; (ended = waitpid(child, &status, WNOHANG)) != child;) {
    if (ended < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), command.front());
    // What the program started itself is in the group as well.
    if (isStopped()) kill(-group, SIGTERM);
    std::this_thread::sleep_for(kLook);
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace siminfo
