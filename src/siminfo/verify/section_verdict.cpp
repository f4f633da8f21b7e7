#include "siminfo/verify/section_verdict.h"

#include <algorithm>

#include "siminfo/verify/comparison.h"
#include "siminfo/verify/rules.h"

namespace siminfo {
namespace {

constexpr std::string_view kCommentMark = "// ";
constexpr std::string_view kErrorMark = "#error ";

FrameResult differs(std::vector<Difference> differences) {
  return {Outcome::kDiffers, {}, {}, std::move(differences)};
}

/// The comment or #error line without its mark.
std::string withoutMark(std::string line) {
  for (const std::string_view mark : {kCommentMark, kErrorMark}) {
    if (line.starts_with(mark)) return line.substr(mark.size());
  }
  return line;
}

/// A frame whose missing data is written as a comment: it compiles, and must change nothing.
FramePlan asComment(FramePlan plan) {
  if (plan.carriage != Carriage::kRefused) return plan;
  plan.carriage = Carriage::kOmitted;
  plan.line.replace(0, kErrorMark.size(), kCommentMark);
  return plan;
}

FrameResult notCarried(const Expectation& expectation, std::string_view method, const FramePlan& plan) {
  return {plan.carriage == Carriage::kOmitted ? Outcome::kOmitted : Outcome::kRefused,
          withoutMark(plan.line),
          expectation.absence(method),
          {}};
}

FrameResult judgeBlock(const Expectation& expectation, const DumpFrame& frame, bool isExact) {
  std::vector<Difference> faults = lineFaults(frame, expectation.comments(frame.method));
  if (!faults.empty()) return differs(std::move(faults));
  return {isExact ? Outcome::kUncompilable : Outcome::kProven, {}, {}, {}};
}

/// The images that a frame must have changed, without what its lines cannot say.
std::vector<ExpectedImage> provableImages(const Expectation& expectation, const UnitFrame& frame) {
  std::vector<ExpectedImage> images = expectation.images(frame.method);
  if (frame.unproven.empty()) return images;
  for (ExpectedImage& image : images)
    std::erase_if(image.numbers,
                  [&](const ExpectedNumber& number) { return number.field.starts_with(frame.unproven); });
  return images;
}

}  // namespace

SectionVerdict judgeSection(const FoundSection& found, const Expectation& expectation, Missing missing,
                            FrameForm form) {
  SectionVerdict verdict;
  bool isBeforeFaulty = false;
  for (std::size_t i = 0; i < found.frames.size(); ++i) {
    const auto& [frame, fault, inFront] = found.frames[i];
    FramePlan plan = expectation.plan(rules()[i].frame);
    if (missing == Missing::kComment) plan = asComment(std::move(plan));
    std::vector<Difference> faults = fault ? std::vector{*fault} : bodyFaults(*frame, plan, form);
    const bool isFaulty = !faults.empty();
    if (isFaulty) {
      verdict.frames.push_back(differs(std::move(faults)));
    } else {
      UnitFrame unit = unitFrame(*frame);
      verdict.frames.push_back(plan.carriage == Carriage::kCarried
                                   ? judgeBlock(expectation, *frame, unit.isExact)
                                   : notCarried(expectation, frame->method, plan));
      // What a frame has lost beside it is the frame's own fault.
      FrameResult& result = verdict.frames.back();
      if (!inFront.empty() && !isBeforeFaulty && result.differences.empty()) result = differs(inFront);
      if (plan.carriage != Carriage::kRefused) verdict.toRun.push_back(std::move(unit));
    }
    isBeforeFaulty = isFaulty;
  }
  return verdict;
}

void judgeRuns(SectionVerdict& verdict, const Expectation& expectation, const DeviceRuns& runs) {
  static const std::vector<FrameRun> kNone;
  for (const UnitFrame& frame : verdict.toRun) {
    FrameResult& of = verdict.frames[placeOfRule(frame.method)];
    if (const auto words = runs.broken.find(frame.method); words != runs.broken.end()) {
      of = {Outcome::kBroken, words->second, {}, {}};
      continue;
    }
    const auto found = runs.frames.find(frame.method);
    if (found == runs.frames.end() && !runs.unreached.empty()) {
      of = differs({{"", "the whole frame", "a function that is called", runs.unreached}});
      continue;
    }
    std::vector<Difference> differences =
        compareImages(provableImages(expectation, frame), found != runs.frames.end() ? found->second : kNone);
    if (!differences.empty()) of = differs(std::move(differences));
  }
}

std::vector<Difference> inFile(std::vector<Difference> differences, const std::string& file) {
  for (Difference& difference : differences) {
    if (difference.place.starts_with("line ")) difference.place += " of " + file;
  }
  return differences;
}

}  // namespace siminfo
