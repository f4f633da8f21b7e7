#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace siminfo {

/// How many characters must be put in, taken out or exchanged until the text matches the pattern, in which
/// '*' stands for any characters and '?' for any one.
std::size_t distance(std::string_view pattern, std::string_view text);

/// "; did you mean a?", or nothing when no word is near enough to be what was meant.
std::string didYouMean(const std::vector<std::string>& words, std::string_view typed);

/// "expected one of a, b", and which of them was meant if one is near enough.
std::string expectedOneOf(const std::vector<std::string>& words, std::string_view typed);

}  // namespace siminfo
