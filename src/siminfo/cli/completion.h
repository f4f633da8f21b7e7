#pragma once

#include <string>

#include "siminfo/cli/command_line.h"

namespace siminfo {

// What a shell reads to complete the words of siminfo: commands, options, and the values that an option
// takes.
std::string bashCompletion(const CommandLine& line);
std::string zshCompletion(const CommandLine& line);
std::string fishCompletion(const CommandLine& line);

}  // namespace siminfo
