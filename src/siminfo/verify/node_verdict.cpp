#include "siminfo/verify/node_verdict.h"

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

}  // namespace

NodeVerdict judgeNode(const FoundNode& found, const ExpectedFile& expected, FrameForm form) {
  const ExpectedNode& of = *found.expected;
  const Expectation expectation(expected.snapshot, *of.node);
  NodeVerdict verdict{{of.node, expectation.nodeClass(), of.alike, {}}, {}};
  bool isBeforeFaulty = false;
  for (std::size_t i = 0; i < found.frames.size(); ++i) {
    const auto& [frame, fault, inFront] = found.frames[i];
    FramePlan plan = expectation.plan(rules()[i].frame);
    if (expected.missing == Missing::kComment) plan = asComment(std::move(plan));
    std::vector<Difference> faults = fault ? std::vector{*fault} : bodyFaults(*frame, plan, form);
    const bool isFaulty = !faults.empty();
    if (isFaulty) {
      verdict.result.frames.push_back(differs(std::move(faults)));
    } else {
      UnitFrame unit = unitFrame(*frame);
      verdict.result.frames.push_back(plan.carriage == Carriage::kCarried
                                          ? judgeBlock(expectation, *frame, unit.isExact)
                                          : notCarried(expectation, frame->method, plan));
      // What a frame has lost beside it is the frame's own fault.
      FrameResult& result = verdict.result.frames.back();
      if (!inFront.empty() && !isBeforeFaulty && result.differences.empty()) result = differs(inFront);
      if (plan.carriage != Carriage::kRefused) verdict.frames.push_back(std::move(unit));
    }
    isBeforeFaulty = isFaulty;
  }
  return verdict;
}

}  // namespace siminfo
