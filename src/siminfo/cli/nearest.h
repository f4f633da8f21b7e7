#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/core/fabric.h"

namespace siminfo {

// What is near to something that selects nothing, as the end of a message; empty when there is nothing at
// all.

/// "nearest are a, b, c".
std::string nearestWords(const std::vector<std::string>& words, std::string_view pattern);
/// "nearest are a, b, c", of the nodes' names.
std::string nearestNames(const std::vector<const IBNode*>& nodes, std::string_view pattern);
/// "nearest GUIDs are 0x... (name), ...".
std::string nearestGuids(const std::vector<const IBNode*>& nodes, std::uint64_t guid);

}  // namespace siminfo
