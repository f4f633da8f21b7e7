#include "siminfo/inspect/screen.h"

#include <algorithm>
#include <array>

#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

constexpr std::size_t kPlainWidth = 100;
constexpr std::string_view kMore = "~";  // ends a line that was cut

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

std::string_view codeOf(Ink ink) {
  switch (ink) {
    case Ink::kHead:
      return "\x1b[1m";
    case Ink::kFaint:
      return "\x1b[2m";
    case Ink::kAlarm:
      return "\x1b[31m";
    case Ink::kPlain:
      break;
  }
  return {};
}

/// As much of the text as fits.
std::string cut(std::string_view text, std::size_t width) {
  if (columnsOf(text) <= width) return std::string(text);
  std::size_t columns = kMore.size();
  std::size_t at = 0;
  for (std::size_t next = 0; next < text.size(); at = next) {
    bool valid = true;
    columns += columnsOfCharacter(nextCodePoint(text, next, valid));
    if (columns > width) break;
  }
  return std::string(text.substr(0, at)).append(kMore);
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

void ScreenText::line(std::string_view text, Ink ink) {
  const std::string_view code = screen_.isColoured ? codeOf(ink) : std::string_view();
  text_ += code;
  std::string shown = screen_.width > 0 ? cut(text, screen_.width) : std::string(text);
  shown.erase(shown.find_last_not_of(' ') + 1);
  text_ += shown;
  if (!code.empty()) text_ += "\x1b[0m";
  text_ += '\n';
}

void ScreenText::paragraph(std::string_view head, std::string_view text, Ink ink) {
  const std::size_t width = screen_.width > 0 ? screen_.width : kPlainWidth;
  const std::string indent(columnsOf(head), ' ');
  std::string current(head);
  bool isFresh = true;
  while (!text.empty()) {
    const std::string_view word = text.substr(0, text.find(' '));
    text.remove_prefix(std::min(text.size(), word.size() + 1));
    if (!isFresh && columnsOf(current) + 1 + columnsOf(word) > width) {
      line(current, ink);
      current = indent;
      isFresh = true;
    }
    current.append(isFresh ? "" : " ").append(word);
    isFresh = false;
  }
  line(current, ink);
}

std::string padded(std::string_view text, std::size_t columns) {
  return std::string(text) + std::string(columns - std::min(columns, columnsOf(text)), ' ');
}

std::string paddedLeft(std::string_view text, std::size_t columns) {
  return std::string(columns - std::min(columns, columnsOf(text)), ' ') + std::string(text);
}

}  // namespace siminfo
