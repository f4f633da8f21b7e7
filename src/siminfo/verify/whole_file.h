#pragma once

#include <filesystem>

#include "siminfo/verify/results.h"
#include "siminfo/verify/workshop.h"

namespace siminfo {

/// Compiles the file of the nodes as a whole, where that can be, and adds what came of it: frames that
/// compile one by one may still clash.
void judgeWhole(Verification& verification, const Workshop& workshop, const std::filesystem::path& file);

}  // namespace siminfo
