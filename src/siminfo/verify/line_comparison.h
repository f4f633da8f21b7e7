#pragma once

#include <cstddef>
#include <istream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/verify/difference.h"
#include "siminfo/verify/dump_text.h"

namespace siminfo {

/// A line as it has to be. Some have a part of which the form alone is known, such as a year.
struct ExpectedLine {
  std::string text;
  bool (*isFreePart)(std::string_view part) = nullptr;  ///< of what may stand between `text` and `rest`
  std::string rest = {};

  bool matches(std::string_view line) const;
  /// For a message.
  std::string words() const;
};

/// Whether the line that was read last has an end, and nothing is behind it.
bool isWholeFile(std::istream& file);

/// TextLines that stand in place of others.
struct LineChange {
  std::size_t at;  ///< where in the found lines, from 0
  std::span<const ExpectedLine> expected;
  TextLines found;
};

/// The fewest changes that explain how the found lines differ.
std::vector<LineChange> compareLines(std::span<const ExpectedLine> expected, TextLines found);

/// TextLines for a message: the first that is not empty, and how many there are besides.
std::string wordsFor(TextLines lines);

/// The changes as differences at lines of the file, of which the first found one has the number `line`;
/// `what` says what the lines are.
std::vector<Difference> differencesOf(std::span<const LineChange> changes, std::size_t line,
                                      const std::string& what);

}  // namespace siminfo
