#include "siminfo/text/text_rules.h"

#include <algorithm>
#include <array>

#include "siminfo/text/number_text.h"

namespace siminfo {
namespace {

struct Range {
  char32_t first;
  char32_t last;
  std::string_view what;
};

constexpr std::array kForbidden{
    Range{0x0000, 0x001f, "control character"},     Range{0x007f, 0x009f, "control character"},
    Range{0x061c, 0x061c, "bidirectional control"}, Range{0x200e, 0x200f, "bidirectional control"},
    Range{0x2028, 0x2029, "line separator"},        Range{0x202a, 0x202e, "bidirectional control"},
    Range{0x2066, 0x2069, "bidirectional control"},
};

const Range* forbiddenRange(char32_t codePoint) {
  const auto* found = std::find_if(kForbidden.begin(), kForbidden.end(), [&](const Range& range) {
    return range.first <= codePoint && codePoint <= range.last;
  });
  return found != kForbidden.end() ? found : nullptr;
}

/// Length of the UTF-8 sequence that begins with the byte, or 0 when none does.
std::size_t sequenceLength(unsigned first) {
  if (first < 0x80) return 1;
  if (first < 0xc2) return 0;
  if (first < 0xe0) return 2;
  if (first < 0xf0) return 3;
  return first < 0xf5 ? 4 : 0;
}

std::string escapeOf(char32_t codePoint) { return "\\u{" + hexDigits(codePoint, 4) + "}"; }

/// The text with `replace(codePoint)` for each byte that is no UTF-8 and each code point that `mustGo`.
template <class MustGo, class Replace>
std::string replaceIf(std::string_view text, MustGo mustGo, Replace replace) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t start = at;
    bool valid = true;
    const char32_t codePoint = nextCodePoint(text, at, valid);
    if (valid && !mustGo(codePoint))
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

char32_t nextCodePoint(std::string_view text, std::size_t& at, bool& valid) {
  const auto byte = [&](std::size_t i) -> unsigned {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const unsigned first = byte(at);
  const std::size_t length = sequenceLength(first);
  char32_t codePoint = length > 1 ? first & (0x7fU >> length) : first;
  valid = length > 0;
  for (std::size_t i = 1; i < length; ++i) {
    valid = valid && (byte(at + i) & 0xc0U) == 0x80;
    codePoint = codePoint << 6U | (byte(at + i) & 0x3fU);
  }
  constexpr std::array<char32_t, 5> kSmallest{0, 0, 0x80, 0x800, 0x10000};
  const bool isSurrogate = 0xd800 <= codePoint && codePoint <= 0xdfff;
  valid = valid && codePoint >= kSmallest[length] && codePoint <= 0x10ffff && !isSurrogate;
  at += valid ? length : 1;
  return valid ? codePoint : first;
}

bool isForbidden(char32_t codePoint) { return forbiddenRange(codePoint) != nullptr; }

std::string textFault(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    bool valid = true;
    const char32_t codePoint = nextCodePoint(text, at, valid);
    if (!valid) return "is not UTF-8";
    if (const Range* range = forbiddenRange(codePoint))
      return "contains the " + std::string(range->what) + " U+" + hexDigits(codePoint, 4);
  }
  // Compilers look for a line's continuation behind white space as well.
  while (text.ends_with(' ')) text.remove_suffix(1);
  if (text.ends_with('\\'))
    return "ends with a backslash, which would join the next line of the source to this one";
  if (text.ends_with("?\?/")) return "ends with ?\?/, which some compilers read as a backslash";
  return {};
}

std::string lengthFault(std::string_view text) {
  if (text.size() <= kLongestText) return {};
  return "has " + std::to_string(text.size()) + " bytes; expected at most " + std::to_string(kLongestText);
}

namespace {

/// Where a comment begins behind a quotation mark that closes the one before the name; npos when none does.
/// It would reach over the lines of source behind it, up to whatever closes a comment there.
std::size_t commentIn(std::string_view name) {
  std::size_t quotes = 0;
  for (std::size_t at = 0; at < name.size(); ++at) {
    if (name[at] == '"') ++quotes;
    if (quotes % 2 == 1 && name.substr(at).starts_with("/*")) return at;
  }
  return std::string_view::npos;
}

}  // namespace

std::string nameFault(std::string_view text) {
  if (std::string fault = textFault(text); !fault.empty()) return fault;
  if (commentIn(text) == std::string_view::npos) return {};
  return "contains /* after an odd number of quotation marks, which would begin a comment";
}

std::string printable(std::string_view text) {
  const auto mustGo = [](char32_t codePoint) { return isForbidden(codePoint) || codePoint == '"'; };
  return replaceIf(text, mustGo, escapeOf);
}

std::string terminalText(std::string_view lines) {
  const auto mustGo = [](char32_t codePoint) {
    return isForbidden(codePoint) && codePoint != '\n' && codePoint != '\t';
  };
  return replaceIf(lines, mustGo, escapeOf);
}

std::string safeText(std::string_view text) {
  std::string safe = replaceIf(text, isForbidden, escapeOf);
  // What is left to object to is the last visible character, and no escape ends in it.
  if (!textFault(safe).empty()) {
    const std::size_t last = lastVisible(safe);
    safe.replace(last, 1, escapeOf(static_cast<unsigned char>(safe[last])));
  }
  return safe;
}

std::string cleanName(std::string_view text) {
  std::string name = replaceIf(text, isForbidden, [](char32_t) { return "_"; });
  name.erase(0, name.find_first_not_of(' '));
  name.erase(name.find_last_not_of(' ') + 1);
  if (!textFault(name).empty()) name.back() = '_';
  for (std::size_t at = commentIn(name); at != std::string::npos; at = commentIn(name)) name[at] = '_';
  return name;
}

}  // namespace siminfo
