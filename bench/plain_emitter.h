#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <iomanip>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace siminfo {

/// Yardstick: the same text as a generator would write it that inserts every piece into the stream it was
/// given and ends every line with std::endl. It has the finished text taken apart beforehand and looks
/// nothing up in a fabric, so it is faster than such a generator would be.
class PlainEmitter {
 public:
  explicit PlainEmitter(std::string_view text) {
    while (!text.empty()) {
      const std::size_t end = std::min(text.find('\n'), text.size());
      lines_.push_back(takeApart(text.substr(0, end)));
      text.remove_prefix(std::min(end + 1, text.size()));
    }
  }

  void emit(std::ostream& os) const {
    for (const Line& line : lines_) {
      if (line.indent > 0) os << std::setw(line.indent) << "";
      for (const std::string_view piece : line.pieces) {
        if (!piece.empty()) os << piece;
      }
      if (line.hasValue) {
        os.setf(std::ios_base::hex, std::ios_base::basefield);
        os << line.value;
        os.setf(std::ios_base::dec, std::ios_base::basefield);
        os << ";";
      }
      os << std::endl;
    }
  }

 private:
  struct Line {
    int indent = 0;
    std::array<std::string_view, 5> pieces;
    bool hasValue = false;
    std::uint64_t value = 0;
  };

  /// As a generator has them: the fixed texts, the names between them, and the value of an assignment as a
  /// number.
  static Line takeApart(std::string_view text) {
    Line line;
    line.indent = static_cast<int>(std::min(text.find_first_not_of(' '), text.size()));
    text.remove_prefix(static_cast<std::size_t>(line.indent));
    std::size_t count = 0;
    for (const std::string_view fixed : kFixed) {
      const std::size_t at = text.find(fixed);
      if (at == std::string_view::npos || count + 3 > line.pieces.size()) continue;
      line.pieces[count++] = text.substr(0, at);
      line.pieces[count++] = text.substr(at, fixed.size());
      text.remove_prefix(at + fixed.size());
    }
    const bool isValue = text.size() > 1 && text.ends_with(';') &&
                         (count > 0 ? line.pieces[count - 1] : "") == " = 0x" &&
                         text.find_first_not_of("0123456789abcdef") == text.size() - 1;
    line.hasValue = isValue;
    if (isValue)
      line.value = std::stoull(std::string(text), nullptr, 16);
    else
      line.pieces[count] = text;
    return line;
  }

  static constexpr std::array<std::string_view, 7> kFixed{
      "void ",
      "// ",
      "mad_buffer.",
      " = 0x",
      " mad_buffer = {0};",
      "(&mad_buffer, reinterpret_cast<u_int8_t*>(&",
      "::",
  };

  std::vector<Line> lines_;
};

}  // namespace siminfo
