#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace siminfo {

/// The number in a text, decimal or hexadecimal behind "0x"; nothing when there is anything else in it, or
/// when it takes more than 64 bits.
std::optional<std::uint64_t> parseUnsigned(std::string_view text);

/// So many lower-case hexadecimal digits at least.
std::string hexDigits(std::uint64_t value, std::size_t digits = 1);
/// The same behind "0x".
std::string hexText(std::uint64_t value, std::size_t digits = 1);

/// A GUID as InfiniBand tools print it: hexadecimal, "0x" optional, also as S-0002c9..., H-... and R-..., and
/// in groups between colons. Empty when the text is none.
std::optional<std::uint64_t> parseGuid(std::string_view text);

/// "0x" and sixteen digits.
std::string guidText(std::uint64_t guid);

}  // namespace siminfo
