#include "siminfo/collect/text.h"

#include <array>
#include <charconv>

#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

std::string hexadecimal(std::uint64_t value, std::size_t width) {
  std::array<char, 16> digits;
  std::string text(digits.begin(), std::to_chars(digits.begin(), digits.end(), value, 16).ptr);
  return text.insert(0, text.size() < width ? width - text.size() : 0, '0');
}

/// The text with `replace(codePoint)` for each code point that is forbidden wherever it stands.
template <class Replace>
std::string replaceForbidden(std::string_view text, Replace replace) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t start = at;
    bool valid = true;
    const char32_t codePoint = nextCodePoint(text, at, valid);
    if (valid && !isForbidden(codePoint))
      result += text.substr(start, at - start);
    else
      result += replace(codePoint);
  }
  return result;
}

/// Where the text's last character stands that is no space; the end of the text when there is none.
std::size_t lastVisible(const std::string& text) {
  const std::size_t at = text.find_last_not_of(' ');
  return at != std::string::npos ? at : text.size();
}

}  // namespace

std::string hexText(std::uint64_t value, std::size_t digits) { return "0x" + hexadecimal(value, digits); }

std::string safeText(std::string_view text) {
  const auto escape = [](char32_t codePoint) { return "\\u{" + hexadecimal(codePoint, 4) + "}"; };
  std::string safe = replaceForbidden(text, escape);
  // What is left to object to is the last visible character, and no escape ends in it.
  if (!textFault(safe).empty()) {
    const std::size_t last = lastVisible(safe);
    safe.replace(last, 1, escape(static_cast<unsigned char>(safe[last])));
  }
  return safe;
}

std::string cleanName(std::string_view text) {
  std::string name = replaceForbidden(text, [](char32_t) { return "_"; });
  name.erase(0, name.find_first_not_of(' '));
  name.erase(name.find_last_not_of(' ') + 1);
  if (!textFault(name).empty()) name.back() = '_';
  return name;
}

}  // namespace siminfo
