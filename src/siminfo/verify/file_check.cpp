#include "siminfo/verify/file_check.h"

#include <algorithm>
#include <map>

#include "siminfo/text/text_rules.h"
#include "siminfo/verify/line_comparison.h"
#include "siminfo/verify/rules.h"

namespace siminfo {
namespace {

constexpr std::size_t kNone = ~std::size_t{0};

/// Which places to leave out, as few as can be, for the others to ascend.
std::vector<bool> outOfOrder(const std::vector<std::size_t>& places) {
  std::vector<std::size_t> lowestEnd;  // by length: where the ascent of that length ends that ends lowest
  std::vector<std::size_t> before(places.size(), kNone);
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (places[i] == kNone) continue;
    const auto length =
        std::ranges::lower_bound(lowestEnd, places[i], {}, [&](std::size_t end) { return places[end]; });
    if (length != lowestEnd.begin()) before[i] = *(length - 1);
    if (length == lowestEnd.end())
      lowestEnd.push_back(i);
    else
      *length = i;
  }
  std::vector<bool> isOut(places.size(), true);
  for (std::size_t i = lowestEnd.empty() ? kNone : lowestEnd.back(); i != kNone; i = before[i])
    isOut[i] = false;
  return isOut;
}

std::string lineWords(std::size_t line) { return "line " + std::to_string(line); }

template <class Lines>
std::string joined(const Lines& lines) {
  std::string text;
  for (const auto& line : lines) text.append(line).append("\n");
  return text;
}

/// Finds which of the expected sections each section of a file is.
class SectionMatching {
 public:
  SectionMatching(const DumpText& text, const ExpectedFile& expected);

  /// By section of the file: a place among the expected ones, or kNone.
  const std::vector<std::size_t>& places() const { return places_; }
  bool isFound(std::size_t place) const { return isFound_[place]; }

 private:
  using Places = std::multimap<std::string, std::size_t, std::less<>>;

  bool take(std::size_t section, const Places& from, const std::string& key);

  std::vector<std::size_t> places_;
  std::vector<bool> isFound_;
};

bool SectionMatching::take(std::size_t section, const Places& from, const std::string& key) {
  const auto [first, last] = from.equal_range(key);
  const auto free = std::find_if(first, last, [&](const auto& entry) { return !isFound_[entry.second]; });
  if (free == last) return false;
  places_[section] = free->second;
  isFound_[free->second] = true;
  return true;
}

/// A banner of which one line was edited still tells the section by the other, and a missing one by its
/// place.
SectionMatching::SectionMatching(const DumpText& text, const ExpectedFile& expected)
    : places_(text.sections().size(), kNone), isFound_(expected.sections.size(), false) {
  Places byBanner;
  Places byLine;
  for (std::size_t place = 0; place < expected.sections.size(); ++place) {
    const auto& banner = expected.sections[place].banner;
    byBanner.emplace(joined(banner), place);
    for (const std::string& line : banner) byLine.emplace(line, place);
  }
  const auto& sections = text.sections();
  for (std::size_t i = 0; i < sections.size(); ++i) {
    take(i, byBanner, joined(sections[i].banner));
  }
  for (std::size_t i = 0; i < sections.size(); ++i) {
    const TextLines banner = sections[i].banner;
    if (places_[i] != kNone) continue;
    if (std::ranges::any_of(banner,
                            [&](std::string_view line) { return take(i, byLine, std::string(line)); }))
      continue;
    const std::size_t here = i > 0 && places_[i - 1] != kNone ? places_[i - 1] + 1 : i;
    if (banner.empty() && here < isFound_.size() && !isFound_[here]) {
      places_[i] = here;
      isFound_[here] = true;
    }
  }
}

/// Finds the frames of one section.
class FrameMatching {
 public:
  FrameMatching(const DumpSection& section, const std::string& name, const std::string& deviceClass);

  /// By rule.
  std::vector<FoundFrame> frames;
  /// By frame of the section: a place among the rules, or kNone for one that is there besides.
  std::vector<std::size_t> places;

 private:
  void match(const DumpSection& section);
};

/// Of several frames of one name, the first that is whole counts.
void FrameMatching::match(const DumpSection& section) {
  for (std::size_t i = 0; i < section.frames.size(); ++i) {
    const auto rule = std::ranges::find(rules(), section.frames[i].method, &Rule::frame);
    if (rule == rules().end()) continue;
    const auto place = static_cast<std::size_t>(rule - rules().begin());
    const DumpFrame*& frame = frames[place].frame;
    if (frame != nullptr && (frame->isClosed || !section.frames[i].isClosed)) continue;
    if (frame != nullptr) places[static_cast<std::size_t>(frame - section.frames.data())] = kNone;
    places[i] = place;
    frame = &section.frames[i];
  }
  // A frame of an unknown name where one is missing is that one.
  for (std::size_t i = 0; i < places.size(); ++i) {
    const std::size_t here = i == 0 ? 0 : places[i - 1] + 1;  // kNone + 1 is 0 as well
    if (places[i] != kNone || here >= frames.size() || frames[here].frame != nullptr ||
        std::ranges::find(rules(), section.frames[i].method, &Rule::frame) != rules().end())
      continue;
    places[i] = here;
    frames[here].frame = &section.frames[i];
  }
}

FrameMatching::FrameMatching(const DumpSection& section, const std::string& name,
                             const std::string& deviceClass)
    : frames(rules().size()), places(section.frames.size(), kNone) {
  match(section);
  const std::vector<bool> isOut = outOfOrder(places);
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (places[i] == kNone) continue;
    const DumpFrame& frame = section.frames[i];
    std::optional<Difference>& fault = frames[places[i]].fault;
    const ExpectedLine head{frameHead(name, deviceClass, rules()[places[i]].frame)};
    const TextLines found(&frame.head, 1);
    if (isOut[i])
      fault = {lineWords(frame.line), "its place", "the frames in their order", "this one out of it"};
    else if (!head.matches(frame.head))
      fault = {lineWords(frame.line), "its head", head.words(), wordsFor(found)};
    else if (!frame.isClosed)
      fault = {lineWords(frame.line + frame.body.size()), "its end", "`}`",
               frame.body.empty() ? "nothing" : wordsFor(frame.body.last(1))};
  }
  for (std::size_t place = 0; place < frames.size(); ++place) {
    if (frames[place].frame == nullptr)
      frames[place].fault = {"", "the whole frame",
                             ExpectedLine{frameHead(name, deviceClass, rules()[place].frame)}.words(),
                             "no such line"};
  }
}

class FileChecker {
 public:
  FileChecker(const DumpText& text, const ExpectedFile& expected) : text_(text), expected_(expected) {}

  FileCheck check() {
    const SectionMatching matching(text_, expected_);
    const std::vector<bool> isOut = outOfOrder(matching.places());
    for (std::size_t i = 0; i < text_.sections().size(); ++i) {
      const DumpSection& section = text_.sections()[i];
      const auto head = i == 0 ? expected_.head : std::vector<ExpectedLine>{};
      if (const std::size_t place = matching.places()[i]; place != kNone)
        checkSection(section, place, head, isOut[i]);
      else
        checkStranger(section, head);
    }
    checkEnd();
    for (std::size_t place = 0; place < expected_.sections.size(); ++place) {
      if (!matching.isFound(place))
        result_.differences.push_back(
            {"", "the " + expected_.kind + " " + nameOf(place), "a section of it", "none"});
    }
    return std::move(result_);
  }

 private:
  static inline const std::vector<ExpectedLine> kNothing{};
  static inline const std::vector<ExpectedLine> kEmptyLine{{""}};

  std::string nameOf(std::size_t place) const { return safeText(expected_.sections[place].calledAs); }

  /// The last frame of the section before, or null.
  FoundFrame* lastFrame() {
    return result_.sections.empty() ? nullptr : &result_.sections.back().frames.back();
  }

  /// How the lines differ. Text where a frame is missing is what is left of the frame, and no difference of
  /// its own.
  std::vector<Difference> checkLines(TextLines found, std::span<const ExpectedLine> expected,
                                     const std::string& what, FoundFrame* before) const {
    std::vector<LineChange> changes = compareLines(expected, found);
    if (before != nullptr && before->frame == nullptr && !changes.empty()) {
      const TextLines left = changes.front().found;
      if (const auto line = std::ranges::find_if(left, [](std::string_view text) { return !text.empty(); });
          line != left.end()) {
        const TextLines rest = left.subspan(static_cast<std::size_t>(line - left.begin()));
        before->fault->place = lineWords(text_.numberOf(rest));
        before->fault->found = wordsFor(rest.first(1));
      }
      std::erase_if(changes, [](const LineChange& change) { return change.expected.empty(); });
    }
    return differencesOf(changes, text_.numberOf(found), what);
  }

  void add(std::vector<Difference> differences) {
    std::ranges::move(differences, std::back_inserter(result_.differences));
  }

  /// The lines in front of a section's frames; in front of the first one's, the head of the file is among
  /// them.
  void checkOpening(const DumpSection& section, std::vector<ExpectedLine> head,
                    const std::vector<ExpectedLine>& opening, const std::string& name) {
    std::ranges::copy(opening, std::back_inserter(head));
    add(checkLines(section.opening, head, "in front of " + name, lastFrame()));
  }

  void checkEnd() {
    std::vector<ExpectedLine> end = text_.sections().empty() ? expected_.head : std::vector<ExpectedLine>{};
    std::ranges::copy(expected_.tail, std::back_inserter(end));
    add(checkLines(text_.tail(), end, "the end of the file", lastFrame()));
    if (!text_.endsWithLineEnd())
      result_.differences.push_back(
          {lineWords(text_.lines().size()), "the end of the file", "a line end", "none"});
  }

  void checkSection(const DumpSection& section, std::size_t at, const std::vector<ExpectedLine>& head,
                    bool isOut) {
    const ExpectedSection& of = expected_.sections[at];
    const std::string name = nameOf(at);
    if (isOut)
      result_.differences.push_back({lineWords(text_.numberOf(section.banner)), "the place of " + name,
                                     "the " + expected_.kind + "s in the order of their names",
                                     "this one out of it"});
    checkOpening(section, head, openingLines(of), name);

    FrameMatching matching(section, expected_.name, of.deviceClass);
    for (std::size_t i = 0; i < section.frames.size(); ++i) {
      const DumpFrame& frame = section.frames[i];
      const std::size_t place = matching.places[i];
      if (place == kNone)
        result_.differences.push_back({lineWords(frame.line), name, "each frame once",
                                       wordsFor(TextLines(&frame.head, 1)) + " besides"});
      // Where the frame before does not end, nobody knows what is between the two.
      if (i > 0 && !section.frames[i - 1].isClosed) continue;
      FoundFrame* before = place != kNone && place > 0 ? &matching.frames[place - 1] : nullptr;
      std::vector<Difference> faults =
          checkLines(frame.gap, i == 0 ? kNothing : kEmptyLine, "in front of it", before);
      if (place != kNone)
        matching.frames[place].inFront = std::move(faults);
      else
        add(std::move(faults));
    }
    result_.sections.push_back({at, std::move(matching.frames)});
  }

  void checkStranger(const DumpSection& section, const std::vector<ExpectedLine>& head) {
    std::vector<ExpectedLine> opening{{""}, {""}};
    for (const std::string_view line : section.banner) opening.push_back({std::string(line)});
    result_.differences.push_back({lineWords(text_.numberOf(section.banner)), "a " + expected_.kind,
                                   "each selected " + expected_.kind + " once",
                                   opening.back().words() + " besides"});
    checkOpening(section, head, opening, "a " + expected_.kind);
  }

  const DumpText& text_;
  const ExpectedFile& expected_;
  FileCheck result_;
};

}  // namespace

FileCheck checkFile(const DumpText& text, const ExpectedFile& expected) {
  return FileChecker(text, expected).check();
}

}  // namespace siminfo
