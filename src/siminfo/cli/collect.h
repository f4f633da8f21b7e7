#pragma once

#include <functional>
#include <string>
#include <vector>

#include "siminfo/cli/command.h"
#include "siminfo/collect/collect.h"

namespace siminfo {

/// What the command line of `siminfo collect` says.
struct CollectCommand {
  CollectOptions options;
  std::string output;
  std::string fabric;  ///< the name that its owner gives it
  bool partial = false;
};

/// Adds the command "collect", for siminfo and for siminfo-collect: what it does differs.
void addCollectCommand(CommandLine& line, std::function<ExitStatus(const CollectCommand&)> action);

/// Becomes the program siminfo-collect, which alone needs the InfiniBand libraries, with these words behind
/// its name: the one beside this program, or else the one that PATH knows. Throws a CommandError.
[[noreturn]] void becomeCollector(const std::vector<std::string>& words);

}  // namespace siminfo
