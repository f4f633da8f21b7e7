#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace siminfo {

/// Columns that a terminal takes to show the text.
std::size_t columnsOf(std::string_view text);

/// As much of the text's beginning as fits into that many columns.
std::string_view beginning(std::string_view text, std::size_t columns);

/// The text with spaces behind it, or before it, up to that many columns.
std::string padded(std::string_view text, std::size_t columns);
std::string paddedLeft(std::string_view text, std::size_t columns);

}  // namespace siminfo
