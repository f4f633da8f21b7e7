#pragma once

#include <string>
#include <string_view>

namespace siminfo {

/// How the text begins, with "..." for what a message has no room for.
std::string shortened(std::string_view text);

/// The text between quotation marks, for a message on a terminal: shortened, and what must not get there as
/// \u{...}.
std::string inQuotes(std::string_view text);

/// The UTF-8 text as a string of JSON.
std::string jsonString(std::string_view text);

/// The text as a string literal of C and C++, and so as the file name of a #line directive.
std::string cppString(std::string_view text);

}  // namespace siminfo
