#include "siminfo/cli/arguments.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "siminfo/cli/command.h"
#include "siminfo/simulator/headers.h"
#include "siminfo/text/line_file.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

constexpr std::array<std::string_view, 92> kKeywords{
    "alignas",     "alignof",  "and",        "and_eq",    "asm",       "auto",         "bitand",
    "bitor",       "bool",     "break",      "case",      "catch",     "char",         "char16_t",
    "char32_t",    "char8_t",  "class",      "co_await",  "co_return", "co_yield",     "compl",
    "concept",     "const",    "const_cast", "consteval", "constexpr", "constinit",    "continue",
    "decltype",    "default",  "delete",     "do",        "double",    "dynamic_cast", "else",
    "enum",        "explicit", "export",     "extern",    "false",     "float",        "for",
    "friend",      "goto",     "if",         "inline",    "int",       "long",         "mutable",
    "namespace",   "new",      "noexcept",   "not",       "not_eq",    "nullptr",      "operator",
    "or",          "or_eq",    "private",    "protected", "public",    "register",     "reinterpret_cast",
    "requires",    "return",   "short",      "signed",    "sizeof",    "static",       "static_assert",
    "static_cast", "struct",   "switch",     "template",  "this",      "thread_local", "throw",
    "true",        "try",      "typedef",    "typeid",    "typename",  "union",        "unsigned",
    "using",       "virtual",  "void",       "volatile",  "wchar_t",   "while",        "xor",
    "xor_eq",
};

bool isLetter(char character) {
  return ('a' <= character && character <= 'z') || ('A' <= character && character <= 'Z') || character == '_';
}

void addGuidsOfFile(const std::string& fileName, std::set<std::uint64_t>& guids) {
  std::size_t found = 0;
  std::string fault = readLines(fileName, [&](std::string_view line) -> std::string {
    const std::string_view text = trimmed(line.substr(0, line.find('#')));
    const auto guid = parseGuid(text);
    if (!guid) return "\"" + printable(text) + "\" is no GUID; expected hexadecimal digits, one GUID a line";
    guids.insert(*guid);
    ++found;
    return {};
  });
  // An empty selection would mean every node, which nobody asks for with an empty file.
  if (fault.empty() && found == 0)
    fault = printable(fileName) + ": has no GUID in it; expected one GUID a line";
  if (!fault.empty()) throw CommandError(kBadInput, fault);
}

}  // namespace

std::optional<std::uint64_t> parseGuid(std::string_view text) {
  if (text.size() > 2 && text[1] == '-' && std::string_view("SHR").find(text[0]) != std::string_view::npos)
    text.remove_prefix(2);
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  std::string digits;
  std::ranges::copy_if(text, std::back_inserter(digits), [](char character) { return character != ':'; });
  std::uint64_t guid = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), guid, 16);
  if (error != std::errc{} || end != digits.data() + digits.size()) return std::nullopt;
  return guid;
}

std::string formatGuid(std::uint64_t guid) {
  std::array<char, 16> digits;
  const std::string hex(digits.begin(), std::to_chars(digits.begin(), digits.end(), guid, 16).ptr);
  return "0x" + std::string(16 - hex.size(), '0') + hex;
}

std::set<std::uint64_t> readGuids(const std::vector<std::string>& options, const std::string& fileName) {
  std::set<std::uint64_t> guids;
  for (const std::string& option : options) {
    const auto guid = parseGuid(option);
    if (!guid)
      throw CommandError(kBadCommandLine,
                         "--guid: \"" + printable(option) +
                             "\" is no GUID; expected up to 16 hexadecimal digits, 0x optional");
    guids.insert(*guid);
  }
  if (!fileName.empty()) addGuidsOfFile(fileName, guids);
  return guids;
}

bool isCppIdentifier(std::string_view text) {
  return !text.empty() && isLetter(text[0]) && std::ranges::find(kKeywords, text) == kKeywords.end() &&
         std::ranges::all_of(text, [](char character) {
           return isLetter(character) || ('0' <= character && character <= '9');
         });
}

void checkName(const std::string& name, bool forReferenceSimulator) {
  if (!isCppIdentifier(name))
    throw CommandError(kBadCommandLine,
                       "--name: \"" + name +
                           "\" is no C++ identifier; expected letters, digits and underscores, "
                           "no digit first, and no keyword");
  if (forReferenceSimulator && isSimulatorName(name))
    throw CommandError(kBadCommandLine,
                       "--name: \"" + name + "\" is a name of the reference simulator; expected another one");
}

}  // namespace siminfo
