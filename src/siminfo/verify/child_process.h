#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace siminfo {

/// Runs programs in one process group, for as long as nobody asks for an end.
struct ChildProcesses {
  pid_t group;                      ///< of a living process
  std::function<bool()> isStopped;  ///< called by any thread, and often

  /// Runs the program to its end, with nothing on standard input, standard output and standard error going
  /// to files, and untranslated messages. Returns whether it exited with 0. Once isStopped() says true it is
  /// ended. Throws std::system_error when it cannot be started.
  bool run(const std::vector<std::string>& command, const std::filesystem::path& output,
           const std::filesystem::path& errors) const;
};

}  // namespace siminfo
