#include "siminfo/text/columns.h"

#include <algorithm>
#include <array>
#include <utility>

#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

/// Scripts and pictures whose characters are two columns wide on terminals.
constexpr std::array<std::pair<char32_t, char32_t>, 8> kWide{{
    {0x1100, 0x115f},
    {0x2e80, 0xa4cf},
    {0xac00, 0xd7a3},
    {0xf900, 0xfaff},
    {0xfe30, 0xfe6f},
    {0xff00, 0xff60},
    {0x1f300, 0x1faff},
    {0x20000, 0x3fffd},
}};

std::size_t columnsOfCharacter(char32_t codePoint) {
  const bool isWide = std::ranges::any_of(
      kWide, [&](const auto& range) { return range.first <= codePoint && codePoint <= range.second; });
  return isWide ? 2 : 1;
}

}  // namespace

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  for (std::size_t at = 0; at < text.size();) {
    bool valid = true;
    columns += columnsOfCharacter(nextCodePoint(text, at, valid));
  }
  return columns;
}

std::string_view beginning(std::string_view text, std::size_t columns) {
  std::size_t used = 0;
  std::size_t at = 0;
  for (std::size_t next = 0; next < text.size(); at = next) {
    bool valid = true;
    used += columnsOfCharacter(nextCodePoint(text, next, valid));
    if (used > columns) return text.substr(0, at);
  }
  return text;
}

std::string padded(std::string_view text, std::size_t columns) {
  return std::string(text) + std::string(columns - std::min(columns, columnsOf(text)), ' ');
}

std::string paddedLeft(std::string_view text, std::size_t columns) {
  return std::string(columns - std::min(columns, columnsOf(text)), ' ') + std::string(text);
}

}  // namespace siminfo
