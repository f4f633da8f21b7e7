#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

#include "siminfo/cli/command_line.h"
#include "siminfo/cli/console.h"
#include "siminfo/core/in_memory/temporary_file.h"
#include "siminfo/core/version.h"

namespace siminfo {
namespace {

ExitStatus run(int argc, char** argv) {
  CommandLine line(
      "Turns a discovered InfiniBand fabric into the C++ source of simulated nodes.", toolNameAndVersion(),
      "Results go to standard output, everything else to standard error.\n"
      "Exit status: 0 done; 1 something differs or is missing; 2 bad command line; 3 bad input, or a file\n"
      "or standard output that cannot be read or written; 4 no usable port or fabric; 5 collected only\n"
      "in part.");
  addGenerateCommand(line);
  addCollectCommand(line);
  addInspectCommand(line);
  addReportCommand(line);
  addDiffCommand(line);
  addVerifyCommand(line);
  addServeCommand(line);
  addSchemaCommand(line);
  line.addHelpCommand();
  return line.run(argc, argv);
}

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
}  // namespace siminfo

int main(int argc, char** argv) {
  // A file beyond the size limit is an error like a full disk, not the end of the process.
  std::signal(SIGXFSZ, SIG_IGN);
  std::set_terminate(siminfo::endByException);
  siminfo::TemporaryFile::removeAllWhenKilled();
  try {
    return siminfo::run(argc, argv);
  } catch (const siminfo::CommandError& error) {
    siminfo::printError(error.what());
    return error.status();
  } catch (const std::bad_alloc&) {
    siminfo::printError("there is not enough memory");
    return siminfo::kBadInput;
  } catch (const std::exception& error) {
    siminfo::printError(error.what());
    return siminfo::kBadInput;
  }
}
