#pragma once

#include <functional>

#include "siminfo/cli/command.h"

namespace siminfo {

/// What `main` does: readies the process, and says whatever `run` throws. Returns the exit status.
int runProcess(const std::function<ExitStatus()>& run);

}  // namespace siminfo
