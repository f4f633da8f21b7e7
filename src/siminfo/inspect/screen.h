#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace siminfo {

/// Where text is shown: nothing is cut and nothing coloured unless it is a terminal.
struct Screen {
  std::size_t width = 0;  ///< columns; 0 when it is no terminal
  bool isColoured = false;
};

enum class Ink : unsigned char { kPlain, kHead, kFaint, kAlarm };

/// Lines for a screen.
class ScreenText {
 public:
  explicit ScreenText(const Screen& screen) : screen_(screen) {}

  /// Adds a line, cut to the width. The text has no control characters.
  void line(std::string_view text, Ink ink = Ink::kPlain);
  /// Adds a text that may need several lines, the first behind `head`, the others below its end. Text that
  /// goes nowhere is wrapped as if there were 100 columns, so that it reads well in a file.
  void paragraph(std::string_view head, std::string_view text, Ink ink = Ink::kPlain);
  void emptyLine() { text_ += '\n'; }

  std::string take() { return std::move(text_); }

 private:
  Screen screen_;
  std::string text_;
};

}  // namespace siminfo
