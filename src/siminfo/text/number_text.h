#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace siminfo {

/// The number in a text, decimal or hexadecimal behind "0x"; nothing when there is anything else in it, or
/// when it takes more than 64 bits.
inline std::optional<std::uint64_t> parseUnsigned(std::string_view text) {
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  if (isHex) text.remove_prefix(2);
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, isHex ? 16 : 10);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace siminfo
