#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

namespace siminfo {

/// What came of a program: its exit status, or -1, and all that it printed.
struct ProgramRun {
  int status;
  std::string output;

  bool says(const std::string& text) const { return output.find(text) != std::string::npos; }
};

/// Runs a line of shell to its end.
inline ProgramRun run(const std::string& command) {
  ProgramRun run{};
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  std::array<char, 4096> piece{};
  for (std::size_t size = 0; (size = std::fread(piece.data(), 1, piece.size(), pipe)) > 0;)
    run.output.append(piece.data(), size);
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

/// A word of such a line, whatever is in it.
inline std::string quoted(const std::string& text) {
  std::string word = "'";
  for (const char character : text) word += character == '\'' ? R"('\'')" : std::string(1, character);
  return word + "'";
}

/// For such lines.
inline const std::string kSiminfo = quoted(SIMINFO_PROGRAM);
inline const std::string kSmallFabric = quoted(SIMINFO_SOURCE_DIR "/examples/small_fabric.json");

}  // namespace siminfo
