#include "siminfo/process/launch.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <system_error>

namespace siminfo {
namespace {

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

/// The program may run in another folder, and so its path is a whole one.
std::string pathOf(const std::string& name) {
  const auto path = findProgram(name);
  if (!path) throw std::system_error(errno, std::generic_category(), name);
  return std::filesystem::absolute(*path).string();
}

/// Lowers a limit; one that is lower already stays.
bool lower(__rlimit_resource resource, rlim_t soft, rlim_t hard) {
  rlimit limit{};
  if (getrlimit(resource, &limit) != 0) return false;
  limit.rlim_max = std::min(limit.rlim_max, hard);
  limit.rlim_cur = std::min({limit.rlim_cur, soft, limit.rlim_max});
  return setrlimit(resource, &limit) == 0;
}

}  // namespace

Launch::Launch(const ProgramSetup& setup)
    : arguments_(setup.command),
      environment_(environmentWith(setup.environment)),
      argumentPointers_(pointersTo(arguments_)),
      environmentPointers_(pointersTo(environment_)),
      path_(pathOf(setup.command.front())),
      folder_(setup.folder.string()),
      streams_{setup.input, setup.output, setup.errors},
      limits_(setup.limits) {
  pthread_sigmask(SIG_SETMASK, nullptr, &signals_);
}

pid_t Launch::fork() const {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
  const pid_t process = ::fork();
  const int error = errno;
  if (process != 0) pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
  if (process < 0) throw std::system_error(error, std::generic_category(), "a process for " + name());
  return process;
}

/// What is to be a stream may lie where another one goes.
bool Launch::takeStreams() const {
  constexpr int kBehindStreams = 3;
  int streams[3];
  for (int to = 0; to < 3; ++to) {
    streams[to] = streams_[to] < 0 ? -1 : fcntl(streams_[to], F_DUPFD_CLOEXEC, kBehindStreams);
    if (streams_[to] >= 0 && streams[to] < 0) return false;
  }
  for (int to = 0; to < 3; ++to) {
    if (streams[to] >= 0 && dup2(streams[to], to) < 0) return false;
  }
  return true;
}

bool Launch::setLimits() const {
  if (!lower(RLIMIT_CORE, 0, 0)) return false;
  // The second behind it is for those who do not heed the signal.
  if (const rlim_t limit = limits_.processorSeconds; limit > 0 && !lower(RLIMIT_CPU, limit, limit + 1))
    return false;
  if (const rlim_t limit = limits_.memory; limit > 0 && !lower(RLIMIT_AS, limit, limit)) return false;
  const rlim_t size = limits_.fileSize;
  return size == 0 || lower(RLIMIT_FSIZE, size, size);
}

void Launch::execute(int report) const {
  if (takeStreams() && setLimits() && (folder_.empty() || chdir(folder_.c_str()) == 0)) {
    close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
    // siminfo ignores it to learn of the limit, and other programs are to end by it.
    std::signal(SIGXFSZ, SIG_DFL);
    pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
    execve(path_.c_str(), argumentPointers_.data(), environmentPointers_.data());
  }
  const StartReport failed{StartReport::kFailed, errno};
  [[maybe_unused]] const ssize_t written = write(report, &failed, sizeof failed);
  _exit(127);
}

std::optional<std::filesystem::path> findProgram(const std::string& name) {
  if (name.find('/') != std::string::npos)
    return access(name.c_str(), X_OK) == 0 ? std::optional<std::filesystem::path>(name) : std::nullopt;
  const char* path = std::getenv("PATH");
  std::string_view folders = path != nullptr ? path : "/usr/bin:/bin";
  errno = ENOENT;
  while (!folders.empty()) {
    const std::size_t end = std::min(folders.find(':'), folders.size());
    const std::filesystem::path candidate = std::filesystem::path(folders.substr(0, end)) / name;
    if (access(candidate.c_str(), X_OK) == 0) return candidate;
    folders.remove_prefix(std::min(end + 1, folders.size()));
  }
  return std::nullopt;
}

}  // namespace siminfo
