#include "siminfo/cli/process.h"

#include <unistd.h>

#include <csignal>
#include <exception>
#include <new>
#include <string_view>

#include "siminfo/cli/console.h"
#include "siminfo/core/in_memory/temporary_file.h"

namespace siminfo {
namespace {

/// Where memory ends. A library may not look at what it got, so nobody is given nothing.
[[noreturn]] void endForLackOfMemory() {
  constexpr std::string_view kWords = "siminfo: error: there is not enough memory\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kWords.data(), kWords.size());
  TemporaryFile::removeAll();
  _exit(kBadInput);
}

}  // namespace

int runProcess(const std::function<ExitStatus()>& run) {
  // A file beyond the size limit is an error like a full disk, not the end of the process.
  std::signal(SIGXFSZ, SIG_IGN);
  std::set_new_handler(endForLackOfMemory);
  TemporaryFile::removeAllWhenKilled();
  try {
    return run();
  } catch (const CommandError& error) {
    printError(error.what());
    return error.status();
  } catch (const std::bad_alloc&) {
    endForLackOfMemory();
  } catch (const std::exception& error) {
    printError(error.what());
    return kBadInput;
  }
}

}  // namespace siminfo
