#include "siminfo/verify/report.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <tuple>

#include "siminfo/text/text_rules.h"
#include "siminfo/verify/rules.h"

namespace siminfo {
namespace {

struct OutcomeWords {
  char mark;
  std::string_view words;
  std::string_view counted;
};
constexpr std::array<OutcomeWords, kOutcomes> kWords{{
    {'+', "proven", "proven"},
    {'.', "not carried", "not carried"},
    {'e', "refused by #error", "refused by #error"},
    {'x', "cannot compile as the format stands", "cannot compile as the format stands"},
    {'D', "differs", "differ"},
    {'!', "does not compile", "fail to compile"},
}};
const OutcomeWords& wordsFor(Outcome outcome) { return kWords.at(static_cast<std::size_t>(outcome)); }

constexpr std::size_t kMostNamed = 3;         // nodes named behind a reason that they share
constexpr std::size_t kMostDifferences = 10;  // listed of one frame

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}
std::string rightAligned(const std::string& text, std::size_t width) {
  return std::string(width - std::min(width, text.size()), ' ').append(text);
}

/// The heads of the columns are the frames' numbers, which a list above the table explains.
void writeTable(std::ostream& out, const std::vector<NodeResult>& results) {
  const std::span<const Rule> frames = rules();
  for (std::size_t i = 0; i < frames.size(); ++i)
    out << rightAligned(std::to_string(i + 1), 2) << " " << padded(std::string(frames[i].frame), 38)
        << (i % 2 == 1 ? "\n" : "");
  out << "\n";
  for (const OutcomeWords& words : kWords) out << words.mark << " " << words.words << "   ";

  std::size_t nameWidth = 4;
  for (const NodeResult& result : results)
    nameWidth = std::max(nameWidth, printable(result.node->name).size());
  out << "\n\n" << padded("node", nameWidth) << "  class    alike ";
  for (std::size_t i = 0; i < frames.size(); ++i) out << rightAligned(std::to_string(i + 1), 3);
  out << "\n";
  for (const NodeResult& result : results) {
    out << padded(printable(result.node->name), nameWidth) << "  " << padded(result.nodeClass, 7)
        << rightAligned(std::to_string(result.alike), 7) << " ";
    for (const FrameResult& frame : result.frames) out << "  " << wordsFor(frame.outcome).mark;
    out << "\n";
  }
}

/// A reason for which frames of several nodes are not carried, the nodes' names taken out of it.
struct SharedReason {
  Outcome outcome;
  std::size_t frame;
  std::string words;
  bool operator<(const SharedReason& other) const {
    return std::tie(outcome, frame, words) < std::tie(other.outcome, other.frame, other.words);
  }
};

std::string withoutName(std::string words, const std::string& name) {
  const std::size_t at = words.find("node=" + name);
  return at != std::string::npos ? words.replace(at + 5, name.size(), "...") : words;
}

void writeReasons(std::ostream& out, const std::vector<NodeResult>& results) {
  std::map<SharedReason, std::vector<std::string>> reasons;
  for (const NodeResult& result : results) {
    for (std::size_t i = 0; i < result.frames.size(); ++i) {
      const FrameResult& frame = result.frames[i];
      if (frame.reason.empty() && frame.outcome != Outcome::kUncompilable) continue;
      std::string words = withoutName(frame.reason, result.node->name);
      if (!frame.absence.empty()) words += " (not collected: " + frame.absence + ")";
      reasons[{frame.outcome, i, words}].push_back(printable(result.node->name));
    }
  }
  auto before = Outcome::kProven;
  for (const auto& [reason, names] : reasons) {
    if (reason.outcome != before) out << "\n" << wordsFor(reason.outcome).words << ":\n";
    before = reason.outcome;
    out << "  " << rules()[reason.frame].frame;
    if (!reason.words.empty()) out << ": " << reason.words;
    out << "  [";
    for (std::size_t i = 0; i < std::min(names.size(), kMostNamed); ++i)
      out << (i > 0 ? ", " : "") << names[i];
    if (names.size() > kMostNamed) out << " and " << names.size() - kMostNamed << " more";
    out << "]\n";
  }
}

void writeDifferences(std::ostream& out, const std::string& subject,
                      const std::vector<Difference>& differences) {
  for (const Difference& difference :
       std::span(differences).first(std::min(differences.size(), kMostDifferences)))
    out << "  " << subject << ": " << difference.place << (difference.place.empty() ? "" : ": ")
        << difference.field << ": expected " << difference.expected << ", found " << difference.found << "\n";
  if (differences.size() > kMostDifferences)
    out << "  " << subject << ": and " << differences.size() - kMostDifferences << " more\n";
}

void writeDifferences(std::ostream& out, const Verification& verification) {
  const OutcomeCounts counts = countOutcomes(verification);
  if (verification.differences.empty() && counts.at(static_cast<std::size_t>(Outcome::kDiffers)) == 0) return;
  out << "\ndiffers:\n";
  writeDifferences(out, "the file", verification.differences);
  for (const NodeResult& result : verification.nodes) {
    for (std::size_t i = 0; i < result.frames.size(); ++i)
      writeDifferences(out, printable(result.node->name) + ": " + std::string(rules()[i].frame),
                       result.frames[i].differences);
  }
}

}  // namespace

OutcomeCounts countOutcomes(const Verification& verification) {
  OutcomeCounts counts{};
  for (const NodeResult& result : verification.nodes) {
    for (const FrameResult& frame : result.frames) ++counts.at(static_cast<std::size_t>(frame.outcome));
  }
  return counts;
}

bool isProven(const Verification& verification) {
  const OutcomeCounts counts = countOutcomes(verification);
  const auto of = [&](Outcome outcome) { return counts.at(static_cast<std::size_t>(outcome)); };
  return verification.differences.empty() && of(Outcome::kDiffers) + of(Outcome::kBroken) == 0;
}

std::string reportText(const Verification& verification) {
  std::ostringstream out;
  writeTable(out, verification.nodes);
  writeReasons(out, verification.nodes);
  writeDifferences(out, verification);
  out << "\n" << summaryText(verification) << "\n";
  return out.str();
}

std::string summaryText(const Verification& verification) {
  std::size_t alike = 0;
  for (const NodeResult& result : verification.nodes) alike += result.alike;
  const std::size_t nodes = verification.nodes.size();
  std::ostringstream out;
  out << nodes << (nodes == 1 ? " node" : " nodes");
  if (alike > nodes) out << " that stand for " << alike;
  out << ", " << nodes * rules().size() << " frames: ";
  const OutcomeCounts counts = countOutcomes(verification);
  for (std::size_t i = 0; i < counts.size(); ++i)
    out << (i > 0 ? ", " : "") << counts.at(i) << " " << kWords.at(i).counted;
  out << "\nthe rest of the file: " << verification.differences.size()
      << (verification.differences.size() == 1 ? " difference" : " differences") << "; "
      << verification.whole;
  return out.str();
}

}  // namespace siminfo
