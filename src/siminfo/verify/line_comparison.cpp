#include "siminfo/verify/line_comparison.h"

#include <algorithm>

#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

/// Beyond this many pairs of lines no fewest changes are looked for: all is one.
constexpr std::size_t kMostPairs = 1'000'000;

/// For each pair of ends of the two texts, how many lines they have in common in their order.
class CommonLines {
 public:
  CommonLines(std::span<const ExpectedLine> expected, TextLines found)
      : width_(found.size() + 1), counts_((expected.size() + 1) * width_, 0) {
    for (std::size_t i = expected.size(); i-- > 0;) {
      for (std::size_t j = found.size(); j-- > 0;)
        counts_[i * width_ + j] = expected[i].matches(found[j])
                                      ? 1 + behind(i + 1, j + 1)
                                      : std::max(behind(i + 1, j), behind(i, j + 1));
    }
  }
  std::size_t behind(std::size_t i, std::size_t j) const { return counts_[i * width_ + j]; }

 private:
  std::size_t width_;
  std::vector<std::size_t> counts_;
};

/// TextLines of code have quotation marks of their own.
std::string lineInQuotes(std::string_view line) {
  return line.empty() ? "an empty line" : std::string("`").append(safeText(line)).append("`");
}

std::string counted(const std::string& first, std::size_t lines) {
  return lines < 2
             ? first
             : first + " and " + std::to_string(lines - 1) + (lines == 2 ? " line" : " lines") + " more";
}

std::string wordsFor(std::span<const ExpectedLine> lines) {
  if (lines.empty()) return "nothing";
  const auto first = std::ranges::find_if(lines, [](const ExpectedLine& line) { return !line.matches(""); });
  return counted((first != lines.end() ? *first : lines.front()).words(), lines.size());
}

/// A line that stands one too low or too high is one change and not two.
void joinMoved(std::vector<LineChange>& changes, std::span<const ExpectedLine> expected, TextLines found) {
  for (std::size_t i = 0; i + 1 < changes.size(); ++i) {
    LineChange& change = changes[i];
    const LineChange& next = changes[i + 1];
    const bool isOneApart = next.at - change.at - change.found.size() == 1;
    if (!isOneApart || change.expected.empty() == next.expected.empty() ||
        change.found.empty() == next.found.empty())
      continue;
    const auto from = static_cast<std::size_t>(change.expected.data() - expected.data());
    const auto to = static_cast<std::size_t>(next.expected.data() - expected.data()) + next.expected.size();
    change.expected = expected.subspan(from, to - from);
    change.found = found.subspan(change.at, next.at + next.found.size() - change.at);
    changes.erase(changes.begin() + static_cast<std::ptrdiff_t>(i) + 1);
  }
}

}  // namespace

bool ExpectedLine::matches(std::string_view line) const {
  if (isFreePart == nullptr) return line == text;
  return line.size() >= text.size() + rest.size() && line.starts_with(text) && line.ends_with(rest) &&
         isFreePart(line.substr(text.size(), line.size() - text.size() - rest.size()));
}

std::string ExpectedLine::words() const {
  return lineInQuotes(isFreePart != nullptr ? text + "<...>" + rest : text);
}

std::string wordsFor(TextLines lines) {
  if (lines.empty()) return "nothing";
  const auto first = std::ranges::find_if(lines, [](std::string_view line) { return !line.empty(); });
  return counted(lineInQuotes(first != lines.end() ? *first : ""), lines.size());
}

bool isWholeFile(std::istream& file) {
  return !file.eof() && file.peek() == std::istream::traits_type::eof();
}

std::vector<LineChange> compareLines(std::span<const ExpectedLine> expected, TextLines found) {
  std::size_t i = 0;
  while (i < expected.size() && i < found.size() && expected[i].matches(found[i])) ++i;
  if (i == expected.size() && i == found.size()) return {};
  if ((expected.size() - i) * (found.size() - i) > kMostPairs)
    return {{i, expected.subspan(i), found.subspan(i)}};

  const CommonLines common(expected, found);
  std::vector<LineChange> changes;
  for (std::size_t j = i; i < expected.size() || j < found.size();) {
    const std::size_t expectedFrom = i;
    const std::size_t foundFrom = j;
    while ((i < expected.size() || j < found.size()) &&
           !(i < expected.size() && j < found.size() && expected[i].matches(found[j]))) {
      // A line that both have later on is worth waiting for.
      if (j == found.size() || (i < expected.size() && common.behind(i + 1, j) >= common.behind(i, j + 1)))
        ++i;
      else
        ++j;
    }
    if (i > expectedFrom || j > foundFrom)
      changes.push_back({foundFrom, expected.subspan(expectedFrom, i - expectedFrom),
                         found.subspan(foundFrom, j - foundFrom)});
    for (; i < expected.size() && j < found.size() && expected[i].matches(found[j]); ++j) ++i;
  }
  joinMoved(changes, expected, found);
  return changes;
}

std::vector<Difference> differencesOf(std::span<const LineChange> changes, std::size_t line,
                                      const std::string& what) {
  std::vector<Difference> differences;
  for (const LineChange& change : changes)
    differences.push_back({"line " + std::to_string(line + change.at), what, wordsFor(change.expected),
                           wordsFor(change.found)});
  return differences;
}

}  // namespace siminfo
