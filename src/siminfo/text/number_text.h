#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace siminfo {

/// The number in a text, decimal or hexadecimal behind "0x"; nothing when there is anything else in it, or
/// when it takes more than 64 bits.
std::optional<std::uint64_t> parseUnsigned(std::string_view text);

/// A word for a number, such as "active" for 4.
struct Word {
  std::string_view word;
  int value;
};

/// Which integers a place takes, and how they may be spelled there besides the usual way.
struct IntegerForm {
  std::int64_t lowest = 0;  ///< not above 0
  std::uint64_t highest = std::numeric_limits<std::uint64_t>::max();
  std::span<const Word> words = {};  ///< for some of the integers
  bool isGuid = false;               ///< takes exactly 16 hexadecimal digits without "0x" as well
};
inline constexpr IntegerForm kIntForm{std::numeric_limits<int>::min(), std::numeric_limits<int>::max()};
inline constexpr IntegerForm kGuidForm{.isGuid = true};

/// The integer in a text: a word of the place, or a number as parseUnsigned reads it, behind a minus sign
/// where the place takes negative ones. Those are returned modulo 2^64. Nothing when there is anything else
/// in the text, or when the place does not take the integer.
std::optional<std::uint64_t> parseInteger(std::string_view text, const IntegerForm& form);
/// What a place takes, for a message: "an integer from 0 to 255".
std::string integerWords(const IntegerForm& form);

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
