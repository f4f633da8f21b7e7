#pragma once

#include <functional>

#include "siminfo/cli/collect.h"
#include "siminfo/cli/command_line.h"

namespace siminfo {

inline constexpr const char* kProgramDescription =
    "Turns a discovered InfiniBand fabric into the C++ source of simulated nodes.";
inline constexpr const char* kProgramFooter =
    "Results go to standard output, everything else to standard error.\n"
    "Exit status: 0 done; 1 something differs or is missing; 2 bad command line; 3 bad input, or a file\n"
    "or standard output that cannot be read or written; 4 no usable port or fabric; 5 collected only\n"
    "in part.";

/// Adds every command of siminfo, of which `collect` does the one that needs a fabric.
void addCommands(CommandLine& line, const std::function<ExitStatus(const CollectCommand&)>& collect);

}  // namespace siminfo
