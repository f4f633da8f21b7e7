#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace siminfo {

inline constexpr std::string_view kBlanks = " \t\r";

/// The text without the blanks around it.
std::string_view trimmed(std::string_view text);

/// In bytes, of what readLines reads.
inline constexpr std::size_t kLongestLineFile = std::size_t{64} << 20U;

/// Gives each line of a file that a person wrote, without the blanks around it, apart from empty lines and
/// those that '#' begins. `take` returns what is wrong with the line, or nothing. Returns the first fault,
/// behind the file's name and the line, or why the file cannot be read; empty when all is well.
std::string readLines(const std::string& fileName,
                      const std::function<std::string(std::string_view line)>& take);

}  // namespace siminfo
