// The rules that say what a frame must be, without a compiler: beside the generators over nodes of every
// kind, which share nothing with them but the snapshot.

#include <random>

#include "siminfo/models/exact_ports.h"
#include "siminfo/verify/expectation.h"
#include "siminfo/verify/file_words.h"
#include "tests/support.h"

namespace siminfo {
namespace {

/// A node whose every property is drawn: what a frame asks about is there as often as it is missing.
class DrawnNode {
 public:
  DrawnNode(Snapshot& snapshot, unsigned seed) : snapshot_(snapshot), draws_(seed) {
    node_ = snapshot.discovered.fabric.addNode("n" + std::to_string(seed) + " <node> <SMP rc>",
                                               static_cast<std::uint8_t>(below(6)));
    node_->guid = draws_();
    node_->alternativeName = "alt";
    node_->type = below(4) == 0 ? static_cast<int>(below(5)) : kSwitch;
    if (below(4) == 0) node_->specialNodeType = below(3);
    node_->orbelSwitch = below(2) == 0;
    for (const bool isGMP : {false, true}) {
      if (below(8) > 0) drawMask(isGMP);
    }
#define GIVE(Record, getter) \
  if (below(4) > 0) snapshot.discovered.records.set(node_->recordIndex, drawn<Record>());
    SIMINFO_NODE_RECORDS(GIVE)
#undef GIVE
    for (std::uint8_t num = 0; num <= node_->numPorts; ++num) {
      if (below(8) > 0) drawPort(num);
    }
  }

  const IBNode& node() const { return *node_; }

 private:
  unsigned below(unsigned bound) { return static_cast<unsigned>(draws_() % bound); }

  void drawMask(bool isGMP) {
    CapabilityAnswer answer{below(8) == 0 ? -22 : 0, {}};
    // Often all bits, since some frames ask for several at once.
    for (std::uint32_t& word : answer.mask.words)
      word = below(2) == 0 ? ~0U : static_cast<std::uint32_t>(draws_());
    if (answer.error != 0) answer.mask = {};
    snapshot_.discovered.capabilities.setAnswer(node_->recordIndex, isGMP, answer);
  }

  void drawPort(std::uint8_t num) {
    IBPort& port = *snapshot_.discovered.fabric.addPort(*node_, num);
    port.portState = static_cast<int>(below(8) == 0 ? below(3) : 4);
    port.inSubFabric = below(8) > 0;
    port.special = below(4) == 0;
    port.fnm = below(8) == 0;
    port.fnm1 = below(8) == 0;
    InMemoryExtendedInfo& records = snapshot_.discovered.records;
#define GIVE(Record, getter) \
  if (below(4) > 0) records.set(port.recordIndex, drawn<Record>());
    SIMINFO_PORT_RECORDS(GIVE)
#undef GIVE
    for (std::uint8_t monitor = 0; monitor < 2; ++monitor) {
      if (below(4) > 0) records.setMonitor(port.recordIndex, monitor);
    }
    for (unsigned sets = below(3); sets > 0; --sets)
      records.setCounters(port.recordIndex, below(InMemoryExtendedInfo::kCounterSets),
                          drawn<ZYRReductionCounters>());
  }

  template <class Record>
  Record drawn() {
    Record record{};
    for (const Field& field : kFields<Record>) {
      for (std::size_t i = 0; field.form != FieldForm::kRecords && i < field.count; ++i)
        field.set(&record, below(3) == 0 ? 0 : draws_() & field.maximum(), i);
    }
    return record;
  }

  Snapshot& snapshot_;
  std::mt19937_64 draws_;
  IBNode* node_;
};

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// The comment lines, without the spaces before them.
std::vector<std::string> commentsIn(const std::string& body) {
  std::vector<std::string> comments;
  for (const std::string& line : linesOf(body)) {
    const std::size_t at = line.find_first_not_of(' ');
    if (at != std::string::npos && line.compare(at, 3, "// ") == 0) comments.push_back(line.substr(at));
  }
  return comments;
}

TEST(Rules, FindTheWordsOfEveryFrame) {
  const ScratchDirectory directory;
  Snapshot snapshot;
  InMemoryDrovik engine(snapshot.discovered, directory.path());
  const SimInfoDumpCPP generator(engine);
  for (unsigned seed = 0; seed < 2000; ++seed) {
    const IBNode& node = DrawnNode(snapshot, seed).node();
    ASSERT_EQ(nodeClass(node), generator.GetDumpedNodeType(node));
    const bool exactPorts = seed % 2 == 1;
    const Expectation expectation({snapshot, node, node.name, exactPorts});
    for (const SimInfoDumpCPP::Frame& frame : SimInfoDumpCPP::Frames()) {
      std::ostringstream os;
      const ExactNode exact(engine, node, frame.method);
      (generator.*frame.generate)(os, exactPorts ? exact.node() : node);
      const std::string body = os.str();
      const FramePlan plan = expectation.plan(frame.method);
      const bool isError = body.starts_with("#error");
      const bool isLine = isError || body.starts_with("//");
      ASSERT_EQ(plan.carriage, isError  ? Carriage::kRefused
                               : isLine ? Carriage::kOmitted
                                        : Carriage::kCarried)
          << frame.method << "\n"
          << body;
      ASSERT_EQ(plan.line, isLine ? body : "") << frame.method;
      ASSERT_EQ(expectation.comments(frame.method), isLine ? std::vector<std::string>{} : commentsIn(body))
          << frame.method;
    }
  }
}

TEST(Rules, FindTheBannerOfEveryNode) {
  const ScratchDirectory directory;
  Snapshot snapshot;
  std::vector<std::string> expected;
  for (unsigned seed = 0; seed < 60; ++seed) DrawnNode(snapshot, seed);
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) {
    for (const std::string& line : nodeSection(*node).banner) expected.push_back(line);
  }
  InMemoryDrovik engine(snapshot.discovered, directory.path());
  ASSERT_EQ(SimInfoDumpCPP(engine).Generate("Fab1", {}), 0);
  std::vector<std::string> found;
  for (const std::string& line : linesOf(readFile(engine.files().path()))) {
    if (line.starts_with("// Node Type: ") || line.starts_with("// Name: ")) found.push_back(line);
  }
  EXPECT_EQ(found, expected);
}

}  // namespace
}  // namespace siminfo
