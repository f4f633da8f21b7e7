#pragma once

#include <stdexcept>
#include <string>

namespace siminfo {

enum ExitStatus : int {
  kDone = 0,
  kAnswerIsNo = 1,
  kBadCommandLine = 2,
  kBadInput = 3,  ///< or a file or standard output that cannot be read or written
  kNoFabric = 4,  ///< no usable port, no fabric behind it, or no program that could look
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

class CommandLine;

// Each adds the command of its name; addCollectCommand() is in collect.h.
void addGenerateCommand(CommandLine& line);
void addInspectCommand(CommandLine& line);
void addReportCommand(CommandLine& line);
void addDiffCommand(CommandLine& line);
void addSchemaCommand(CommandLine& line);
void addVerifyCommand(CommandLine& line);
void addServeCommand(CommandLine& line);

}  // namespace siminfo
