#include "siminfo/verify/node_verdict.h"

#include "siminfo/verify/rules.h"

namespace siminfo {
namespace {

FrameResult differs(std::vector<Difference> differences) {
  return {Outcome::kDiffers, {}, {}, std::move(differences)};
}

/// The comment or #error line without its mark.
std::string withoutMark(std::string line) {
  for (const std::string_view mark : {"// ", "#error "}) {
    if (line.starts_with(mark)) return line.substr(mark.size());
  }
  return line;
}

FrameResult notCarried(const Expectation& expectation, std::string_view method, const FramePlan& plan) {
  return {plan.carriage == Carriage::kOmitted ? Outcome::kOmitted : Outcome::kRefused,
          withoutMark(plan.line),
          expectation.absence(method),
          {}};
}

FrameResult judgeBlock(const Expectation& expectation, const DumpFrame& frame, const UnitFrame& unit,
                       FrameForm form) {
  const bool isPlain = !hasTwoForms(frame.method);
  if (!isPlain && form != FrameForm::kEither && unit.isExactForm != (form == FrameForm::kExact))
    return differs(
        {{"", "the form of the frame", form == FrameForm::kExact ? "the exact one" : "the buildable one",
          unit.isExactForm ? "the exact one" : "another one"}});
  FrameResult result{unit.isExactForm ? Outcome::kUncompilable : Outcome::kProven, {}, {}, {}};
  result.differences = commentFaults(frame, expectation.comments(frame.method));
  if (!result.differences.empty()) result.outcome = Outcome::kDiffers;
  return result;
}

}  // namespace

NodeVerdict judgeNode(const FoundNode& found, const ExpectedFile& expected, FrameForm form) {
  const ExpectedNode& of = *found.expected;
  const Expectation expectation(expected.snapshot, *of.node);
  NodeVerdict verdict{{of.node, expectation.nodeClass(), of.alike, {}}, {}};
  for (std::size_t i = 0; i < found.frames.size(); ++i) {
    const auto& [frame, fault] = found.frames[i];
    const std::string_view method = rules()[i].frame;
    const FramePlan plan = expectation.plan(method);
    std::vector<Difference> faults = fault ? std::vector{*fault} : bodyFaults(*frame, plan);
    if (!faults.empty()) {
      verdict.result.frames.push_back(differs(std::move(faults)));
      continue;
    }
    UnitFrame unit = unitFrame(*frame);
    verdict.result.frames.push_back(plan.carriage == Carriage::kCarried
                                        ? judgeBlock(expectation, *frame, unit, form)
                                        : notCarried(expectation, method, plan));
    if (plan.carriage != Carriage::kRefused) verdict.frames.push_back(std::move(unit));
  }
  return verdict;
}

}  // namespace siminfo
