#include "siminfo/verify/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

namespace siminfo {
namespace {

/// Opens files in place of a child's streams.
class Redirection {
 public:
  Redirection() { posix_spawn_file_actions_init(&actions_); }
  ~Redirection() { posix_spawn_file_actions_destroy(&actions_); }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

  void add(int stream, const std::filesystem::path& file) {
    posix_spawn_file_actions_addopen(&actions_, stream, file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
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

bool runProgram(const std::vector<std::string>& command, const std::filesystem::path& output,
                const std::filesystem::path& errors) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);

  Redirection redirection;
  redirection.add(STDOUT_FILENO, output);
  redirection.add(STDERR_FILENO, errors);
  std::vector<char*> environment = untranslatedEnvironment();
  pid_t child = 0;
  const int error =
      posix_spawnp(&child, arguments[0], redirection.get(), nullptr, arguments.data(), environment.data());
  if (error != 0) throw std::system_error(error, std::generic_category(), command.front());
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) throw std::system_error(errno, std::generic_category(), command.front());
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace siminfo
