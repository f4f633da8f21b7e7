#include "siminfo/verify/work_folder.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string>
#include <system_error>
#include <thread>

#include "siminfo/process/own_folder.h"
#include "siminfo/simulator/headers.h"
#include "siminfo/text/quoting.h"
#include "siminfo/verify/verifier.h"

namespace siminfo {
namespace {

/// What says that a folder was left by --keep, and what else stands in it.
constexpr const char* kMark = "siminfo-verify";
constexpr std::array<std::string_view, 6> kLeft{"models", "dumps", "units", "core", "infiniband", kMark};

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

std::filesystem::path newFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "siminfo-verify-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) fail(name);
  return std::filesystem::absolute(name);
}

/// A stranger among the files is somebody's own, and stays.
std::filesystem::path clearedFolder(const std::filesystem::path& keep) {
  std::filesystem::path folder = std::filesystem::absolute(keep);
  if (!folder.has_filename()) folder = folder.parent_path();
  if (std::filesystem::is_directory(folder)) folder = std::filesystem::canonical(folder);
  makeOwnFolder(folder);
  const bool isLeft = std::filesystem::exists(std::filesystem::symlink_status(folder / kMark));
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (!isLeft || std::ranges::find(kLeft, name) == kLeft.end())
      throw VerifyError("--keep: " + inQuotes(folder.string()) + " contains " + inQuotes(name) +
                        "; expected a new or empty folder, or one that an earlier --keep left");
  }
  for (const std::string_view name : kLeft) std::filesystem::remove_all(folder / name);
  writeFile(folder / kMark, "Work of siminfo verify, which begins anew with every --keep.\n");
  return folder;
}

/// Programs that are about to end may still write what they were at.
void removeFolder(const std::filesystem::path& folder) {
  constexpr int kAttempts = 500;
  std::error_code error;
  for (int i = 0; i < kAttempts; ++i) {
    std::filesystem::remove_all(folder, error);
    if (!error) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

/// What the process beside siminfo does.
[[noreturn]] void removeBehind(int lifeline, const std::filesystem::path& folder) {
  setpgid(0, 0);  // nobody who means siminfo's group ends it
  for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE}) std::signal(signal, SIG_IGN);
  dup2(lifeline, STDIN_FILENO);
  close_range(STDIN_FILENO + 1, ~0U,
              0);  // whoever waits for the end of siminfo's output is not to wait for this
  char nothing = 0;
  while (read(STDIN_FILENO, &nothing, 1) < 0 && errno == EINTR) {
  }
  removeFolder(folder);
  _exit(0);
}

}  // namespace

WorkFolder::WorkFolder(const std::filesystem::path& keep)
    : path_(keep.empty() ? newFolder() : clearedFolder(keep)) {
  if (!keep.empty()) return;
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0 || (remover_ = fork()) < 0) {
    const int error = errno;
    rmdir(path_.c_str());
    throw std::system_error(error, std::generic_category(), "a process beside the work folder");
  }
  if (remover_ == 0) {
    close(ends[1]);
    removeBehind(ends[0], path_);
  }
  close(ends[0]);
  lifeline_ = ends[1];
}

WorkFolder::~WorkFolder() {
  if (lifeline_ < 0) return;
  close(lifeline_);
  while (waitpid(remover_, nullptr, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace siminfo
