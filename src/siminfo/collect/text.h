#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace siminfo {

/// "0x" and so many digits at least.
std::string hexText(std::uint64_t value, std::size_t digits);
inline std::string guidText(std::uint64_t guid) { return hexText(guid, 16); }

/// The text with everything that may not stand on a line of generated source, and every byte that is no
/// UTF-8, shown as \u{...}. Differs from the text only where that is needed.
std::string safeText(std::string_view text);

/// The text as a name that may stand on a line of generated source: white space around it dropped, and an
/// underscore for whatever may not stand there. Empty when nothing is left.
std::string cleanName(std::string_view text);

}  // namespace siminfo
