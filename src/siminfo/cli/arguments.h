#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/cli/command_line.h"
#include "siminfo/generators/drovik_sim_info_dump.h"

namespace siminfo {

/// The GUIDs of the --guid options, and of the --guid-file unless its name is empty. Throws a CommandError.
std::set<std::uint64_t> readGuids(const std::vector<std::string>& options, const std::string& fileName);

/// Adds the SNAPSHOT that a command reads, which it must be given.
void addSnapshotArgument(Command& command, std::string& fileName);
/// Adds --jobs, which may be left at 0 for every core; `what` says what works at the same time.
void addJobsOption(Command& command, unsigned& jobs, const std::string& what);

/// Adds --missing, which says what stands for data that a node must have and that was not collected.
Option addMissingOption(Command& command, Missing& missing);

/// Adds --time-limit in seconds for `what`, and --memory-limit in MiB; what they hold is the default.
void addLimitOptions(Command& command, unsigned& seconds, unsigned& memory, const std::string& what);

/// Whether a C++ class can be named so.
bool isCppIdentifier(std::string_view text);
/// Throws a CommandError unless the value of --name can name the class of a dump; the reference simulator has
/// names that it cannot take.
void checkName(const std::string& name, bool forReferenceSimulator);

}  // namespace siminfo
