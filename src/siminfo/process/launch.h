#pragma once

#include <sys/types.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace siminfo {

/// What a program, and each program that it starts, may take for itself; 0 is without a limit.
struct ProcessLimits {
  unsigned processorSeconds = 0;
  std::size_t memory = 0;    ///< bytes of address space
  std::size_t fileSize = 0;  ///< bytes of each file that it writes
};

/// A program to start. Streams that are -1 are those of siminfo; no other open file reaches the program.
struct ProgramSetup {
  std::vector<std::string> command;  ///< the first is a path, or a name that PATH knows
  int input = -1;
  int output = -1;
  int errors = -1;
  std::map<std::string, std::string> environment = {};  ///< beside siminfo's own, or in place of it
  std::filesystem::path folder = {};                    ///< where it runs; empty: where siminfo does
  ProcessLimits limits = {};
};

/// What a forked process tells siminfo.
struct StartReport {
  static constexpr int kFailed = -1;
  int what;
  int value;  ///< errno where the start failed
};

/// A program made ready, so that a process that was forked while other threads ran has nothing to allocate.
class Launch {
 public:
  /// Throws std::system_error when there is no such program.
  explicit Launch(const ProgramSetup& setup);

  const std::string& name() const { return arguments_.front(); }

  /// Forks with every signal blocked, in the new process as well. Throws std::system_error.
  pid_t fork() const;
  /// Becomes the program, in a forked process. Where that fails it writes a StartReport to `report` and ends.
  /// Makes system calls alone.
  [[noreturn]] void execute(int report) const;

 private:
  bool takeStreams() const;
  bool setLimits() const;

  std::vector<std::string> arguments_;
  std::vector<std::string> environment_;
  std::vector<char*> argumentPointers_;
  std::vector<char*> environmentPointers_;
  std::string path_;
  std::string folder_;
  int streams_[3];
  ProcessLimits limits_;
  sigset_t signals_{};  // that were blocked before
};

/// Where a program is that PATH knows; nothing when it does not.
std::optional<std::filesystem::path> findProgram(const std::string& name);

}  // namespace siminfo
