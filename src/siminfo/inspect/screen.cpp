#include "siminfo/inspect/screen.h"

#include <algorithm>

#include "siminfo/text/columns.h"

namespace siminfo {
namespace {

constexpr std::size_t kPlainWidth = 100;
constexpr std::string_view kMore = "~";  // ends a line that was cut

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

std::string cut(std::string_view text, std::size_t width) {
  if (columnsOf(text) <= width) return std::string(text);
  return std::string(beginning(text, width - std::min(width, kMore.size()))).append(kMore);
}

}  // namespace

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

}  // namespace siminfo
