#include "siminfo/process/program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <system_error>

#include "siminfo/process/descriptors.h"

namespace siminfo {
namespace {

/// How long a wish to stop goes unnoticed.
constexpr int kLookMs = 5;

/// The process beside a program, forked from siminfo while other threads ran: it makes system calls alone. It
/// is the one that gets the orphans of the program, and so it finds them all.
class Keeper {
 public:
  Keeper(const Launch& launch, int report, pid_t siminfo, std::chrono::seconds time)
      : launch_(launch), report_(report), siminfo_(siminfo), time_(time) {}

  [[noreturn]] void keep() {
    setpgid(0, 0);  // nobody who means siminfo's group ends it
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::signal(SIGCHLD, SIG_DFL);
    if (getppid() != siminfo_) _exit(1);
    program_ = ::fork();
    if (program_ == 0) {
      setpgid(0, 0);
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      launch_.execute(report_);
    }
    const int error = errno;
    setpgid(program_, program_);  // here as well, since nobody knows which of the two is first
    closeOthers();
    const StartReport report = program_ > 0 ? watch() : StartReport{StartReport::kFailed, error};
    endAll();
    [[maybe_unused]] const ssize_t written = write(report_, &report, sizeof report);
    _exit(0);
  }

 private:
  /// Whoever waits for the end of siminfo's files, its standard output among them, is not to wait for this.
  void closeOthers() {
    dup2(report_, 0);
    report_ = 0;
    close_range(1, ~0U, 0);
  }

  /// Until the program ends, its time does, siminfo asks for an end, or is gone.
  StartReport watch() const {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    sigaddset(&signals, SIGTERM);
    const timespec end = endOfTime();
    for (;;) {
      siginfo_t ended{};
      // It stays a zombie for now, so that nobody else can have its number.
      if (waitid(P_PID, static_cast<id_t>(program_), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
          ended.si_pid == program_)
        return {ended.si_code == CLD_EXITED ? ProgramEnd::kExited : ProgramEnd::kSignalled, ended.si_status};
      reapOrphans();
      timespec left{};
      if (time_.count() > 0 && !timeLeft(end, left)) return {ProgramEnd::kTimedOut, 0};
      const int signal =
          time_.count() > 0 ? sigtimedwait(&signals, nullptr, &left) : sigwaitinfo(&signals, nullptr);
      if (signal == SIGTERM) return {ProgramEnd::kStopped, 0};
    }
  }

  timespec endOfTime() const {
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += time_.count();
    return end;
  }
  static bool timeLeft(const timespec& end, timespec& left) {
    constexpr long kSecond = 1'000'000'000;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    left = {end.tv_sec - now.tv_sec, end.tv_nsec - now.tv_nsec};
    if (left.tv_nsec < 0) left = {left.tv_sec - 1, left.tv_nsec + kSecond};
    return left.tv_sec >= 0;
  }

  /// All that has ended, the program itself apart.
  void reapOrphans() const {
    for (siginfo_t ended{}; waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0;) {
      if (ended.si_pid == 0 || ended.si_pid == program_) return;
      waitpid(ended.si_pid, nullptr, WNOHANG);
    }
  }

  /// Also those that made a group of their own.
  void endAll() const {
    constexpr int kAttempts = 2000;
    constexpr timespec kPause{0, 1'000'000};
    for (int i = 0; i < kAttempts; ++i) {
      if (program_ > 0 && i == 0) kill(-program_, SIGKILL);
      killChildren();
      pid_t ended = 0;
      while ((ended = waitpid(-1, nullptr, WNOHANG)) > 0) {
      }
      if (ended < 0) return;
      nanosleep(&kPause, nullptr);
    }
  }

  static void killChildren() {
    const int list = open("/proc/thread-self/children", O_RDONLY | O_CLOEXEC);
    if (list < 0) return;
    std::array<char, 4096> digits{};
    const ssize_t size = read(list, digits.data(), digits.size());
    close(list);
    pid_t child = 0;
    // A number that is cut off has no space behind it.
    for (ssize_t i = 0; i < size; ++i) {
      const char digit = digits.at(static_cast<std::size_t>(i));
      if (digit == ' ' && child > 0) kill(child, SIGKILL);
      child = digit == ' ' ? 0 : 10 * child + (digit - '0');
    }
  }

  const Launch& launch_;
  int report_;
  pid_t siminfo_;
  std::chrono::seconds time_;
  pid_t program_ = -1;
};

/// The end that the keeper reports, after a failed start if there was one. A keeper that somebody killed
/// reports none.
ProgramEnd waitFor(pid_t keeper, const Pipe& pipe, const std::string& name,
                   const std::function<bool()>& isStopped) {
  StartReport report{ProgramEnd::kSignalled, SIGKILL};
  for (bool isAsked = false;;) {
    pollfd polled{pipe.readEnd(), POLLIN, 0};
    if (poll(&polled, 1, kLookMs) > 0) {
      [[maybe_unused]] const ssize_t size = read(pipe.readEnd(), &report, sizeof report);
      while (waitpid(keeper, nullptr, 0) < 0 && errno == EINTR) {
      }
      if (report.what == StartReport::kFailed)
        throw std::system_error(report.value, std::generic_category(), name);
      return {static_cast<ProgramEnd::How>(report.what), report.value};
    }
    if (isAsked || !isStopped()) continue;
    kill(keeper, SIGTERM);
    isAsked = true;
  }
}

}  // namespace

ProgramEnd runProgram(const ProgramSetup& setup, std::chrono::seconds time,
                      const std::function<bool()>& isStopped) {
  const Launch launch(setup);
  Pipe report;
  const pid_t siminfo = getpid();
  const pid_t keeper = launch.fork();
  if (keeper == 0) Keeper(launch, report.writeEnd(), siminfo, time).keep();
  report.closeWrite();
  return waitFor(keeper, report, launch.name(), isStopped);
}

}  // namespace siminfo
