#include "siminfo/verify/work_folder.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <system_error>
#include <thread>

namespace siminfo {
namespace {

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

std::filesystem::path newFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "siminfo-verify-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) fail(name);
  return std::filesystem::absolute(name);
}

/// Programs that are about to end may still write what they were at.
void removeFolder(const std::filesystem::path& folder) {
  constexpr int kAttempts = 100;
  std::error_code error;
  for (int i = 0; i < kAttempts; ++i) {
    std::filesystem::remove_all(folder, error);
    if (!error) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

/// What the group's first process does.
[[noreturn]] void cleanUpBehind(int lifeline, const std::filesystem::path& folder, bool isKept) {
  if (setpgid(0, 0) != 0) _exit(1);  // or the signals below would go to siminfo
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE}) std::signal(signal, SIG_IGN);
  char nothing = 0;
  while (read(lifeline, &nothing, 1) < 0 && errno == EINTR) {
  }
  kill(0, SIGTERM);  // compilers remove their temporary files then
  if (!isKept) removeFolder(folder);
  kill(0, SIGKILL);  // whoever is left, and this process
  _exit(0);
}

}  // namespace

WorkFolder::WorkFolder(const std::filesystem::path& keep)
    : path_(keep.empty() ? newFolder() : std::filesystem::absolute(keep)) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0 || (group_ = fork()) < 0) {
    const int error = errno;
    if (keep.empty()) rmdir(path_.c_str());
    throw std::system_error(error, std::generic_category(), "a process beside the work folder");
  }
  if (group_ == 0) {
    close(ends[1]);
    cleanUpBehind(ends[0], path_, !keep.empty());
  }
  close(ends[0]);
  lifeline_ = ends[1];
  setpgid(group_, group_);  // here as well, since nobody knows which of the two is first
}

WorkFolder::~WorkFolder() {
  close(lifeline_);
  while (waitpid(group_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace siminfo
