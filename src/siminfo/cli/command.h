#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <stdexcept>
#include <string>

namespace siminfo {

enum ExitStatus : int {
  kDone = 0,
  kAnswerIsNo = 1,
  kBadCommandLine = 2,
  kBadInput = 3,  ///< or a file or standard output that cannot be read or written
  kNoFabric = 4,  ///< no usable port, or no fabric behind it
  kPartial = 5,   ///< collected, but only in part
};

/// Ends the program with this status after "siminfo: error: <message>".
class CommandError : public std::runtime_error {
 public:
  CommandError(ExitStatus status, const std::string& message)
      : std::runtime_error(message), status_(status) {}
  ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

/// What the chosen subcommand does; returns the exit status, or throws a CommandError.
using Command = std::function<ExitStatus()>;

/// Each adds a subcommand to the program and sets `chosen` when the command line names it.
void addGenerateCommand(CLI::App& program, Command& chosen);
void addInspectCommand(CLI::App& program, Command& chosen);
void addReportCommand(CLI::App& program, Command& chosen);
void addDiffCommand(CLI::App& program, Command& chosen);
void addSchemaCommand(CLI::App& program, Command& chosen);
void addVerifyCommand(CLI::App& program, Command& chosen);
void addCollectCommand(CLI::App& program, Command& chosen);
void addServeCommand(CLI::App& program, Command& chosen);

}  // namespace siminfo
