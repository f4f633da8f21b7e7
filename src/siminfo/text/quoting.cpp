#include "siminfo/text/quoting.h"

#include "siminfo/text/number_text.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

/// The text between quotation marks, these and backslashes in it behind a backslash, and what
/// `spellControl(byte)` makes of a control character.
template <class SpellControl>
std::string escaped(std::string_view text, SpellControl spellControl) {
  std::string literal(1, '"');
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '"' || character == '\\') literal += '\\';
    if (byte < 0x20)
      literal += spellControl(byte);
    else
      literal += character;
  }
  return literal += '"';
}

std::string octal(unsigned char byte) {
  std::string digits("\\");
  for (const unsigned shift : {6U, 3U, 0U}) digits += static_cast<char>('0' + (unsigned{byte} >> shift & 7U));
  return digits;
}

}  // namespace

std::string shortened(std::string_view text) {
  constexpr std::size_t kMost = 256;  // bytes
  if (text.size() <= kMost) return std::string(text);
  std::size_t end = kMost;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0U) == 0x80)
    --end;  // not inside of a character
  return std::string(text.substr(0, end)) + "...";
}

std::string inQuotes(std::string_view text) {
  return std::string(1, '"').append(printable(shortened(text))).append(1, '"');
}

std::string jsonString(std::string_view text) {
  return escaped(text, [](unsigned char byte) { return "\\u" + hexDigits(byte, 4); });
}

std::string cppString(std::string_view text) {
  std::string literal = escaped(text, octal);
  // "??/" is a backslash to compilers that still know trigraphs.
  for (std::size_t at = literal.find("?\?"); at != std::string::npos; at = literal.find("?\?", at + 2))
    literal.insert(at + 1, 1, '\\');
  return literal;
}

}  // namespace siminfo
