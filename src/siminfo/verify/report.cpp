#include "siminfo/verify/report.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <tuple>

#include "siminfo/text/columns.h"
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

/// "a, b, c and 5 more".
std::string namesOf(const std::vector<const IBNode*>& nodes) {
  std::string text;
  for (std::size_t i = 0; i < std::min(nodes.size(), kMostNamed); ++i)
    text += (i > 0 ? ", " : "") + printable(nodes[i]->name);
  if (nodes.size() > kMostNamed) text += " and " + std::to_string(nodes.size() - kMostNamed) + " more";
  return text;
}

/// The heads of the columns are the frames' numbers, which a list above the table explains.
void writeTable(std::ostream& out, const std::vector<DeviceResult>& results) {
  const std::span<const Rule> frames = rules();
  for (std::size_t i = 0; i < frames.size(); ++i)
    out << paddedLeft(std::to_string(i + 1), 2) << " " << padded(frames[i].frame, 38)
        << (i % 2 == 1 ? "\n" : "");
  out << "\n";
  for (const OutcomeWords& words : kWords) out << words.mark << " " << words.words << "   ";

  std::size_t width = 6;
  for (const DeviceResult& result : results) width = std::max(width, columnsOf(result.device));
  out << "\n\n" << padded("device", width) << "  nodes ";
  for (std::size_t i = 0; i < frames.size(); ++i) out << paddedLeft(std::to_string(i + 1), 3);
  out << "\n";
  for (const DeviceResult& result : results) {
    out << padded(result.device, width) << paddedLeft(std::to_string(result.nodes.size()), 7) << " ";
    for (const FrameResult& frame : result.frames) out << "  " << wordsFor(frame.outcome).mark;
    out << "  " << namesOf(result.nodes) << "\n";
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

void writeReasons(std::ostream& out, const std::vector<DeviceResult>& results) {
  std::map<SharedReason, std::vector<const IBNode*>> reasons;
  for (const DeviceResult& result : results) {
    for (std::size_t i = 0; i < result.frames.size(); ++i) {
      const FrameResult& frame = result.frames[i];
      if (frame.reason.empty() && frame.outcome != Outcome::kUncompilable) continue;
      std::string words = withoutName(frame.reason, result.calledAs);
      if (!frame.absence.empty()) words += " (not collected: " + frame.absence + ")";
      std::vector<const IBNode*>& nodes = reasons[{frame.outcome, i, words}];
      nodes.insert(nodes.end(), result.nodes.begin(), result.nodes.end());
    }
  }
  auto before = Outcome::kProven;
  for (const auto& [reason, nodes] : reasons) {
    if (reason.outcome != before) out << "\n" << wordsFor(reason.outcome).words << ":\n";
    before = reason.outcome;
    out << "  " << rules()[reason.frame].frame;
    if (!reason.words.empty()) out << ": " << reason.words;
    out << "  [" << namesOf(nodes) << "]\n";
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
  writeDifferences(out, "the files", verification.differences);
  for (const DeviceResult& result : verification.devices) {
    for (std::size_t i = 0; i < result.frames.size(); ++i)
      writeDifferences(out, namesOf(result.nodes) + ": " + std::string(rules()[i].frame),
                       result.frames[i].differences);
  }
}

}  // namespace

OutcomeCounts countOutcomes(const Verification& verification) {
  OutcomeCounts counts{};
  for (const DeviceResult& result : verification.devices) {
    for (const FrameResult& frame : result.frames)
      counts.at(static_cast<std::size_t>(frame.outcome)) += result.nodes.size();
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
  out.exceptions(std::ios_base::badbit);  // half a report would be a wrong one
  writeTable(out, verification.devices);
  writeReasons(out, verification.devices);
  writeDifferences(out, verification);
  out << "\n" << summaryText(verification) << "\n";
  return out.str();
}

std::string summaryText(const Verification& verification) {
  std::size_t nodes = 0;
  for (const DeviceResult& result : verification.devices) nodes += result.nodes.size();
  const std::size_t devices = verification.devices.size();
  std::ostringstream out;
  out.exceptions(std::ios_base::badbit);
  out << nodes << (nodes == 1 ? " node" : " nodes") << " of " << devices
      << (devices == 1 ? " device" : " devices") << ", " << nodes * rules().size() << " frames: ";
  const OutcomeCounts counts = countOutcomes(verification);
  for (std::size_t i = 0; i < counts.size(); ++i)
    out << (i > 0 ? ", " : "") << counts.at(i) << " " << kWords.at(i).counted;
  out << "\nthe text outside the frames: " << verification.differences.size()
      << (verification.differences.size() == 1 ? " difference" : " differences")
      << "\nthe file of the nodes: " << verification.whole;
  return out.str();
}

}  // namespace siminfo
