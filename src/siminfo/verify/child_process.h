#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace siminfo {

/// Runs the program to its end, with standard output and standard error going to files, and with untranslated
/// messages. Returns whether it exited with 0. Throws std::system_error when it cannot be started.
bool runProgram(const std::vector<std::string>& command, const std::filesystem::path& output,
                const std::filesystem::path& errors);

}  // namespace siminfo
