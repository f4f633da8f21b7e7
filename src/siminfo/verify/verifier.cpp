#include "siminfo/verify/verifier.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <thread>

#include "siminfo/generators/drovik_sim_info_dump.h"

namespace siminfo {
namespace {

std::string_view wordFor(Carriage carriage) {
  switch (carriage) {
    case Carriage::kCarried:
      return "the discovered values";
    case Carriage::kOmitted:
      return "a comment that says why there are none";
    case Carriage::kRefused:
      return "an #error line";
  }
  return {};
}

FrameResult differs(Difference difference) { return {Outcome::kDiffers, {}, {}, {std::move(difference)}}; }

/// The comment or #error line without its mark.
std::string reasonIn(const DumpFrame& frame) {
  std::string_view line = frame.body.substr(0, frame.body.find('\n'));
  for (const std::string_view mark : {"// ", "#error "}) {
    if (line.starts_with(mark)) line.remove_prefix(mark.size());
  }
  return std::string(line);
}

bool isRun(const DumpFrame* frame) {
  return frame != nullptr && (frame->kind() == FrameText::kBlock || frame->kind() == FrameText::kComment);
}

const DumpFrame* findFrame(const DumpSection* section, std::string_view method) {
  if (section == nullptr) return nullptr;
  const auto found = std::ranges::find(section->frames, method, &DumpFrame::method);
  return found != section->frames.end() ? &*found : nullptr;
}

/// Whether the frame is of the kind that the snapshot asks for, judged by its text.
bool isAsExpected(FrameText text, Carriage carriage) {
  switch (text) {
    case FrameText::kBlock:
    case FrameText::kUncompilable:
      return carriage == Carriage::kCarried;
    case FrameText::kComment:
      return carriage == Carriage::kOmitted;
    case FrameText::kError:
      return carriage == Carriage::kRefused;
  }
  return false;
}

Outcome outcomeOf(FrameText text) {
  switch (text) {
    case FrameText::kBlock:
      return Outcome::kProven;
    case FrameText::kComment:
      return Outcome::kOmitted;
    case FrameText::kError:
      return Outcome::kRefused;
    case FrameText::kUncompilable:
      return Outcome::kUncompilable;
  }
  return Outcome::kBroken;
}

FrameResult judge(const Expectation& expectation, std::string_view method, const DumpFrame* frame,
                  const UnitResult& unit) {
  const Carriage carriage = expectation.plan(method).carriage;
  const std::string expected(wordFor(carriage));
  if (frame == nullptr) return differs({"", "the whole frame", expected, "no such frame in the file"});
  const FrameText text = frame->kind();
  if (!isAsExpected(text, carriage))
    return differs(
        {"", "the whole frame", expected,
         text == FrameText::kBlock || text == FrameText::kUncompilable ? "a block" : reasonIn(*frame)});

  FrameResult result{outcomeOf(text), {}, {}, {}};
  if (text == FrameText::kComment || text == FrameText::kError) {
    result.reason = reasonIn(*frame);
    result.absence = expectation.absence(method);
  }
  if (!isRun(frame)) return result;
  if (const auto broken = unit.broken.find(method); broken != unit.broken.end())
    return {Outcome::kBroken, broken->second, {}, {}};
  const auto runs = unit.runs.find(std::string(method));
  result.differences = compareImages(expectation.images(method),
                                     runs != unit.runs.end() ? runs->second : std::vector<FrameRun>{});
  if (!result.differences.empty()) result.outcome = Outcome::kDiffers;
  return result;
}

NodeResult verifyNode(const Snapshot& snapshot, const GeneratedSource& source, const Representative& of,
                      const DumpSection* section, const std::string& folder, const Workshop& workshop) {
  const Expectation expectation(snapshot, *of.node);
  NodeResult result{of.node, expectation.nodeClass(), of.alike, {}};
  Unit unit{folder, source.name + "::" + result.nodeClass, of.node->numPorts, expectation.pushKeys(), {}};
  for (const SimInfoDumpCPP::Frame& frame : SimInfoDumpCPP::Frames()) {
    if (const DumpFrame* found = findFrame(section, frame.method); isRun(found)) unit.frames.push_back(found);
  }
  const UnitResult ran = workshop.process(unit, source.text.head(), source.path);
  for (const SimInfoDumpCPP::Frame& frame : SimInfoDumpCPP::Frames())
    result.frames.push_back(judge(expectation, frame.method, findFrame(section, frame.method), ran));
  return result;
}

/// Hands out numbers below `count` to threads until one of them fails or `goOn` says no.
class WorkQueue {
 public:
  WorkQueue(std::size_t count, const std::function<bool(std::size_t)>& goOn) : count_(count), goOn_(goOn) {}

  template <class Work>
  void run(unsigned threads, Work work) {
    std::vector<std::thread> pool;
    for (unsigned i = 0; i < threads; ++i) pool.emplace_back([this, work] { drain(work); });
    for (std::thread& thread : pool) thread.join();
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  template <class Work>
  void drain(Work work) {
    try {
      for (std::optional<std::size_t> number = take(); number; number = take()) {
        work(*number);
        const std::lock_guard lock(mutex_);
        ++done_;
      }
    } catch (...) {
      const std::lock_guard lock(mutex_);
      failure_ = std::current_exception();
    }
  }
  std::optional<std::size_t> take() {
    const std::lock_guard lock(mutex_);
    if (failure_ || next_ == count_ || !goOn_(done_)) return std::nullopt;
    return next_++;
  }

  std::mutex mutex_;
  const std::size_t count_;
  const std::function<bool(std::size_t)>& goOn_;
  std::size_t next_ = 0;
  std::size_t done_ = 0;
  std::exception_ptr failure_;
};

}  // namespace

std::vector<NodeResult> verifyNodes(const Snapshot& snapshot, const GeneratedSource& source,
                                    const std::vector<Representative>& nodes, const Workshop& workshop,
                                    unsigned jobs, const std::function<bool(std::size_t)>& progress) {
  std::vector<const IBNode*> order;
  order.reserve(nodes.size());
  for (const Representative& of : nodes) order.push_back(of.node);
  const std::vector<const DumpSection*> sections = source.text.sectionsOf(order);

  std::vector<NodeResult> results(nodes.size());
  WorkQueue queue(nodes.size(), progress);
  queue.run(jobs, [&](std::size_t i) {
    results[i] = verifyNode(snapshot, source, nodes[i], sections[i], std::to_string(i + 1), workshop);
  });
  return results;
}

}  // namespace siminfo
