#include "siminfo/cli/arguments.h"

#include <algorithm>
#include <array>

#include "siminfo/simulator/headers.h"
#include "siminfo/text/line_file.h"
#include "siminfo/text/number_text.h"
#include "siminfo/text/quoting.h"
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
    if (!guid) return inQuotes(text) + " is not a GUID; expected hexadecimal digits, one GUID per line";
    guids.insert(*guid);
    ++found;
    return {};
  });
  // An empty selection would mean every node, which nobody asks for with an empty file.
  if (fault.empty() && found == 0)
    fault = printable(fileName) + ": contains no GUID; expected one GUID per line";
  if (!fault.empty()) throw CommandError(kBadInput, fault);
}

}  // namespace

std::set<std::uint64_t> readGuids(const std::vector<std::string>& options, const std::string& fileName) {
  std::set<std::uint64_t> guids;
  for (const std::string& option : options) {
    const auto guid = parseGuid(option);
    if (!guid)
      throw CommandError(kBadCommandLine,
                         "--guid: " + inQuotes(option) +
                             " is not a GUID; expected up to 16 hexadecimal digits, with or without 0x");
    guids.insert(*guid);
  }
  if (!fileName.empty()) addGuidsOfFile(fileName, guids);
  return guids;
}

void addSnapshotArgument(Command& command, std::string& fileName) {
  command.argument("SNAPSHOT", fileName, "Fabric snapshot, gzip and zstd included, or - for standard input")
      .required();
}

void addJobsOption(Command& command, unsigned& jobs, const std::string& what) {
  command.number("-j,--jobs", "N", jobs, {1, 1024}, what + "; by default one for each core");
}

Option addMissingOption(Command& command, Missing& missing) {
  return command.choice<Missing>(
      "--missing", {{"error", Missing::kError}, {"comment", Missing::kComment}}, missing,
      "What to write where data that a node must have was not collected: an #error line,\n"
      "which stops the simulator's build, or a comment with the same text");
}

void addLimitOptions(Command& command, unsigned& seconds, unsigned& memory, const std::string& what) {
  constexpr Range kRange{1, 1U << 24U};  // half a year, and 16 TiB
  command.number("--time-limit", "SECONDS", seconds, kRange, "Seconds that " + what + " may take");
  command.number("--memory-limit", "MIB", memory, kRange,
                 "MiB of memory that each compiler, and each program that is compiled, may use");
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
                       "--name: " + inQuotes(name) +
                           " is not a C++ identifier; expected letters, digits and underscores, "
                           "not a digit first, and not a keyword");
  if (forReferenceSimulator && isSimulatorName(name))
    throw CommandError(kBadCommandLine,
                       "--name: " + inQuotes(name) +
                           " is a name that the reference simulator uses itself; choose another one");
}

}  // namespace siminfo
