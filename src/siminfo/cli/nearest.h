#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/core/fabric.h"

namespace siminfo {

/// How many characters must be put in, taken out or exchanged until the text matches the pattern, in which
/// '*' stands for any characters and '?' for any one.
std::size_t distance(std::string_view pattern, std::string_view text);

// What is near to something that selects nothing, as the end of a message; empty when there is nothing at
// all.

/// "nearest are a, b, c".
std::string nearestWords(const std::vector<std::string>& words, std::string_view pattern);
/// "; did you mean a?", or nothing when no word is near enough to be what was meant.
std::string didYouMean(const std::vector<std::string>& words, std::string_view typed);
/// "nearest are a, b, c", of the nodes' names.
std::string nearestNames(const std::vector<const IBNode*>& nodes, std::string_view pattern);
/// "nearest GUIDs are 0x... (name), ...".
std::string nearestGuids(const std::vector<const IBNode*>& nodes, std::uint64_t guid);

}  // namespace siminfo
