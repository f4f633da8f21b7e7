#include "siminfo/cli/depfile.h"

#include <set>
#include <string_view>

#include "siminfo/cli/command.h"
#include "siminfo/core/in_memory/output_directory.h"
#include "siminfo/text/quoting.h"

namespace siminfo {
namespace {

/// The path as a word of a rule. Backslashes are characters like others, unless a blank comes behind them.
std::string escaped(std::string_view path) {
  std::string word;
  std::size_t backslashes = 0;
  for (const char character : path) {
    if (character == ' ' || character == '\t') word.append(backslashes + 1, '\\');
    if (character == '#' || character == ':') word += '\\';
    if (character == '$') word += '$';
    backslashes = character == '\\' ? backslashes + 1 : 0;
    word += character;
  }
  return word;
}

std::string sortedWords(const std::vector<std::filesystem::path>& paths) {
  std::set<std::string> sorted;
  for (const std::filesystem::path& path : paths) {
    if (!path.empty()) sorted.insert(path.string());
  }
  std::string words;
  for (const std::string& path : sorted) words.append(words.empty() ? "" : " ").append(escaped(path));
  return words;
}

}  // namespace

void checkDepfilePath(const std::string& path) {
  if (path.find('\n') != std::string::npos || path.ends_with('\\'))
    throw CommandError(kBadCommandLine, "--depfile: " + inQuotes(path) +
                                            " cannot be written in a Make rule; expected a path without "
                                            "line breaks and without a backslash at its end");
}

void writeDepfile(const std::filesystem::path& file, const std::vector<std::filesystem::path>& outputs,
                  const std::vector<std::filesystem::path>& inputs) {
  OutputDirectory folder(file.parent_path());
  if (folder.put(file.filename(), sortedWords(outputs) + ": " + sortedWords(inputs) + "\n") != 0)
    throw CommandError(kBadInput, folder.failure());
}

}  // namespace siminfo
