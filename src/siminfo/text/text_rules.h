#pragma once

#include <string>
#include <string_view>

namespace siminfo {

/// Says why a UTF-8 text from a device must not end up on a line of generated source, in words that follow
/// the text's name ("ends with a backslash"); empty when it may. Device names are set by anyone who has a
/// host on the fabric, and a line comment that one of them escapes from turns the rest of the name into code.
std::string textFault(std::string_view text);

/// The same for the name of a node, which stands behind quotation marks that nothing may close as well.
std::string nameFault(std::string_view text);

/// Longer ones are no texts of a fabric: the longest that a device can give has 64 bytes.
inline constexpr std::size_t kLongestText = 4096;
/// The same as textFault for a text that is too long.
std::string lengthFault(std::string_view text);

/// The code point that begins at `text[at]`, and moves `at` behind it. A byte that begins none stands for
/// itself, with `valid` set to false.
char32_t nextCodePoint(std::string_view text, std::size_t& at, bool& valid);

/// Whether textFault refuses the code point wherever it stands.
bool isForbidden(char32_t codePoint);

/// The text for a message on a terminal: forbidden code points and quotes as \u{...}.
std::string printable(std::string_view text);

/// Lines for a terminal, with whatever paths, options and other programs' words are in them: forbidden code
/// points as \u{...}, line ends and tabs apart.
std::string terminalText(std::string_view lines);

/// The text with everything that may not stand on a line of generated source, and every byte that is no
/// UTF-8, shown as \u{...}. Differs from the text only where that is needed.
std::string safeText(std::string_view text);

/// The text as a name that may stand on a line of generated source: white space around it dropped, and an
/// underscore for whatever may not stand there. Empty when nothing is left.
std::string cleanName(std::string_view text);

}  // namespace siminfo
