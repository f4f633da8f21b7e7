#include "siminfo/process/shortage.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <system_error>

namespace siminfo {
namespace {

constexpr std::array kShortages{ENOSPC, EDQUOT, ENOMEM, EMFILE, ENFILE, EAGAIN, EIO, EROFS, EFBIG};
constexpr std::array<std::string_view, 6> kPhrases{"out of memory",          "virtual memory exhausted",
                                                   "std::bad_alloc",         "signal terminated program",
                                                   "terminated with signal", "unable to execute command:"};

/// "...: No space left on device", as programs say it.
bool endsInShortage(std::string_view line) {
  // The assembler quotes it.
  const bool isQuoted = line.ends_with('\'');
  if (isQuoted) line.remove_suffix(1);
  return std::ranges::any_of(kShortages, [&](int error) {
    return line.ends_with((isQuoted ? ": '" : ": ") + std::generic_category().message(error));
  });
}

bool has(std::string_view line, std::string_view words) { return line.find(words) != std::string_view::npos; }

/// A line of it, or what clang and g++ make of #error "...".
bool showsSource(std::string_view line) {
  return line.starts_with(' ') || line.starts_with("//") || has(line, "#error") || has(line, "error: \"");
}

bool saysShortage(std::string_view line) {
  return !showsSource(line) &&
         (endsInShortage(line) ||
          std::ranges::any_of(kPhrases, [&](std::string_view phrase) { return has(line, phrase); }));
}

}  // namespace

std::string shortageIn(std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    if (saysShortage(line)) return std::string(line);
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return {};
}

std::string signalWords(int signal) {
  std::string words = "ended by signal " + std::to_string(signal) + " (" + strsignal(signal) + ")";
  if (signal == SIGKILL) words += ", which the system does when memory is short";
  return words;
}

}  // namespace siminfo
