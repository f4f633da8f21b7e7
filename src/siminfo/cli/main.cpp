#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <string_view>

#include "siminfo/cli/command.h"
#include "siminfo/cli/console.h"
#include "siminfo/core/in_memory/temporary_file.h"
#include "siminfo/core/version.h"

namespace siminfo {
namespace {

/// The deepest subcommand that the command line got to.
const CLI::App& named(const CLI::App& program) {
  const auto chosen = program.get_subcommands();
  return chosen.empty() ? program : named(*chosen.front());
}

ExitStatus run(int argc, char** argv) {
  CLI::App program("Turns a discovered InfiniBand fabric into the source of simulated nodes.", "siminfo");
  program.set_version_flag("--version", toolNameAndVersion());
  program.require_subcommand(1);
  program.footer(
      "Results go to standard output, everything else to standard error.\n"
      "Exit status: 0 done; 1 the answer is no; 2 bad command line; 3 bad input, or a file or standard\n"
      "output that cannot be read or written; 4 no usable port or fabric; 5 collected, but only in part.");
  Command chosen;
  addGenerateCommand(program, chosen);
  addCollectCommand(program, chosen);
  addInspectCommand(program, chosen);
  addReportCommand(program, chosen);
  addDiffCommand(program, chosen);
  addVerifyCommand(program, chosen);
  addServeCommand(program, chosen);
  addSchemaCommand(program, chosen);
  try {
    program.parse(argc, argv);
  } catch (const CLI::CallForVersion& version) {
    printResult(std::string(version.what()) + "\n");
    return kDone;
  } catch (const CLI::CallForHelp&) {
    const CLI::App& subject = named(program);
    printResult(subject.help(&subject != &program ? "siminfo" : ""));
    return kDone;
  } catch (const CLI::ParseError& error) {
    printError(error.what());
    const bool isSub = &named(program) != &program;
    std::cerr << "Try 'siminfo " << (isSub ? named(program).get_name() + " " : "") << "--help'.\n";
    return kBadCommandLine;
  }
  return chosen();
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
