#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace siminfo {

/// Throws a CommandError when a rule of make cannot name the path.
void checkDepfilePath(const std::string& path);

/// Writes what the outputs are made of as compilers write it: one rule that Make and Ninja read, "outputs:
/// inputs", both sorted, empty paths left out. The file appears whole or not at all. Throws a CommandError.
void writeDepfile(const std::filesystem::path& file, const std::vector<std::filesystem::path>& outputs,
                  const std::vector<std::filesystem::path>& inputs);

}  // namespace siminfo
