#include "siminfo/cli/process.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

#include "siminfo/cli/console.h"
#include "siminfo/core/in_memory/temporary_file.h"

namespace siminfo {
namespace {

/// Also where a library that promises not to throw lacks memory.
[[noreturn]] void endByException() {
  try {
    if (const std::exception_ptr failure = std::current_exception()) std::rethrow_exception(failure);
  } catch (const std::bad_alloc&) {
    constexpr std::string_view kWords = "siminfo: error: there is not enough memory\n";
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kWords.data(), kWords.size());
    _exit(kBadInput);
  } catch (...) {  // a fault of the program
  }
  std::abort();
}

}  // namespace

int runProcess(const std::function<ExitStatus()>& run) {
  // A file beyond the size limit is an error like a full disk, not the end of the process.
  std::signal(SIGXFSZ, SIG_IGN);
  std::set_terminate(endByException);
  TemporaryFile::removeAllWhenKilled();
  try {
    return run();
  } catch (const CommandError& error) {
    printError(error.what());
    return error.status();
  } catch (const std::bad_alloc&) {
    printError("there is not enough memory");
    return kBadInput;
  } catch (const std::exception& error) {
    printError(error.what());
    return kBadInput;
  }
}

}  // namespace siminfo
