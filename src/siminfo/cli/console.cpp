#include "siminfo/cli/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <system_error>

#include "siminfo/cli/command.h"
#include "siminfo/text/number_text.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

// Works that end sooner than this need no progress line.
constexpr std::chrono::milliseconds kFirst{500};
constexpr std::chrono::milliseconds kInterval{200};

bool notesAreSilent = false;

void printLine(const std::string& message) {
  const std::string line = "siminfo: " + terminalText(message) + "\n";  // a line whole or not at all
  std::cerr << line;
}

}  // namespace

void printResult(const std::string& text) {
  errno = 0;
  std::cout << text << std::flush;
  if (!std::cout)
    throw CommandError(kBadInput,
                       "standard output: " + std::generic_category().message(errno != 0 ? errno : EIO));
}

Screen outputScreen() {
  constexpr std::size_t kUsualWidth = 80;
  constexpr std::size_t kLeastWidth = 40;  // below it nothing can be read, and long lines are the better evil
  if (isatty(STDOUT_FILENO) != 1) return {};
  const char* noColor = std::getenv("NO_COLOR");
  const char* columns = std::getenv("COLUMNS");
  winsize size{};
  std::size_t width =
      ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualWidth;
  if (const auto told = parseUnsigned(columns != nullptr ? columns : ""); told && *told > 0) width = *told;
  return {std::max(width, kLeastWidth), noColor == nullptr || *noColor == '\0'};
}

void printError(const std::string& message) { printLine("error: " + message); }
void printWarning(const std::string& message) { printLine("warning: " + message); }
void printNote(const std::string& message) {
  if (!notesAreSilent) printLine(message);
}
void silenceNotes() { notesAreSilent = true; }

Progress::Progress()
    : isTerminal_(isatty(STDERR_FILENO) == 1 && !notesAreSilent),
      next_(std::chrono::steady_clock::now() + kFirst) {}

void Progress::show(const std::string& text) {
  if (!isTerminal_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) return;
  next_ = now + kInterval;
  isShown_ = true;
  std::cerr << "\r\x1b[K" << terminalText(text) << std::flush;
}

void Progress::clear() {
  if (isShown_) std::cerr << "\r\x1b[K" << std::flush;
  isShown_ = false;
}

}  // namespace siminfo
