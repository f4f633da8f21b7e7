#include "siminfo/process/child.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <thread>

#include "siminfo/process/descriptors.h"

namespace siminfo {
namespace {

/// How long an end or a wish for one goes unnoticed.
constexpr std::chrono::milliseconds kLook{5};
/// A subnet manager that was asked to end writes its files first.
constexpr std::chrono::seconds kGrace{10};

}  // namespace

Child::Child(const ProgramSetup& setup) {
  const Launch launch(setup);
  Pipe report;
  const pid_t siminfo = getpid();
  process_ = launch.fork();
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != siminfo) _exit(1);
    launch.execute(report.writeEnd());
  }
  report.closeWrite();
  StartReport failed{};
  ssize_t size = 0;
  while ((size = read(report.readEnd(), &failed, sizeof failed)) < 0 && errno == EINTR) {
  }
  if (size != sizeof failed) return;  // the pipe closed as the program began
  waitpid(process_, nullptr, 0);
  throw std::system_error(failed.value, std::generic_category(), launch.name());
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
  using Clock = std::chrono::steady_clock;
  std::optional<Clock::time_point> asked;
  for (; !status(); std::this_thread::sleep_for(kLook)) {
    if (!asked && isStopped()) {
      kill(process_, SIGTERM);
      asked = Clock::now();
    } else if (asked && Clock::now() - *asked > kGrace) {
      kill(process_, SIGKILL);
    }
  }
  return *status_;
}

}  // namespace siminfo
