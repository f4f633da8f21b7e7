#pragma once

#include <chrono>
#include <string>

#include "siminfo/inspect/screen.h"

namespace siminfo {

/// Writes a result to standard output and makes sure that it got there. Throws a CommandError.
void printResult(const std::string& text);

/// What standard output shows: the width is that of COLUMNS, or else the terminal's own.
Screen outputScreen();

// To standard error, with nothing in them that a terminal would take for a command.
void printError(const std::string& message);
void printWarning(const std::string& message);
void printNote(const std::string& message);
/// Lets notes and progress be nothing from now on.
void silenceNotes();

/// A line on standard error that tells how far a long work is; silent when nobody watches.
class Progress {
 public:
  Progress();
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows the text in place of the one before, a few times a second at most.
  void show(const std::string& text);
  void clear();

 private:
  bool isTerminal_;
  bool isShown_ = false;
  std::chrono::steady_clock::time_point next_;
};

}  // namespace siminfo
