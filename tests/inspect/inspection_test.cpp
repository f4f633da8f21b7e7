#include "siminfo/inspect/inspection.h"

#include <algorithm>
#include <regex>

#include "siminfo/inspect/inspection_text.h"
#include "siminfo/snapshot/format.h"
#include "siminfo/text/columns.h"
#include "tests/drawn_node.h"
#include "tests/snapshot/snapshot_text.h"
#include "tests/support.h"

namespace siminfo {
namespace {

std::unique_ptr<Snapshot> randomSnapshot(unsigned seed, unsigned nodes) {
  auto snapshot = std::make_unique<Snapshot>();
  for (unsigned i = 0; i < nodes; ++i)
    DrawnNode(snapshot->discovered, "<" + std::to_string(i) + ">", seed + i);
  return snapshot;
}

/// A letter for each frame, as the generated file itself has them, by the node's name.
std::map<std::string, std::string> lettersOfFile(Snapshot& snapshot) {
  const ScratchDirectory directory;
  InMemoryDrovik engine(snapshot.discovered, directory.path());
  SimInfoDumpCPP(engine).Generate("F", {});
  std::ifstream file(directory.path() / "f_generated.cpp");
  std::map<std::string, std::string> letters;
  std::string name;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("// Name: '")) name = line.substr(10, line.find("',") - 10);
    if (!line.starts_with("void ")) continue;
    std::getline(file, line);
    letters[name] += line.starts_with("#error") ? 'E' : line.starts_with("//") ? 'c' : 'B';
  }
  return letters;
}

/// Models are found in another form than the one that is judged, so what nodes share must be shared in both.
TEST(Inspection, LettersAreThoseOfWhatIsGenerated) {
  const auto snapshot = randomSnapshot(7, 1500);
  const Inspection inspection = inspect(*snapshot, everyNode(*snapshot));
  const std::map<std::string, std::string> expected = lettersOfFile(*snapshot);
  ASSERT_EQ(expected.size(), 1500U);
  std::map<char, int> seen;
  for (const auto& [node, model] : inspection.set.nodes) {
    EXPECT_EQ(inspection.letters[model], expected.at(node->name)) << node->name;
    for (const char letter : inspection.letters[model]) ++seen[letter];
  }
  EXPECT_EQ(seen.size(), 3U);
  EXPECT_TRUE(inspection.hasErrors());
  std::size_t nodes = 0;
  for (const NodeGroup& group : groupNodes(*snapshot, inspection)) nodes += group.nodes;
  EXPECT_EQ(nodes, 1500U);
}

/// Does to the fabric what the mend tells a person to do.
class Mender {
 public:
  Mender(Snapshot& snapshot, IBNode& node) : snapshot_(snapshot), node_(node) {}

  void follow(const Explanation& explanation) {
    give(kNodeRecordKinds, explanation.nodeRecord, node_.recordIndex);
    if (!explanation.portRecord.empty()) givePorts(explanation.portRecord);
    const std::string mend(explanation.mend);
    static const std::regex kBits("\\b(?:bits?|and) ([0-9]+)");
    for (std::sregex_iterator it(mend.begin(), mend.end(), kBits), end; it != end; ++it)
      setBit(static_cast<unsigned>(std::stoi((*it)[1])));
    for (const bool isGMP : {false, true}) {
      if (mend.find(isGMP ? "\"gmp\"" : "\"smp\"") != std::string::npos)
        snapshot_.discovered.capabilities.setAnswer(node_.recordIndex, isGMP, {});
    }
  }

 private:
  void give(std::span<const RecordKind> kinds, std::string_view name, std::uint32_t index) {
    const std::vector<std::uint64_t> zeros(64);
    const auto kind = std::ranges::find(kinds, name, &RecordKind::name);
    if (kind != kinds.end()) kind->set(snapshot_.discovered.records, index, zeros.data());
  }
  /// All of them in the sub-fabric and active, the last one special.
  void givePorts(std::string_view record) {
    const auto* last = *std::ranges::find_if(node_.ports.rbegin(), node_.ports.rend(), std::identity{});
    for (IBPort* port : node_.ports) {
      if (port == nullptr) continue;
      port->inSubFabric = true;
      port->portState = 4;
      port->special = port == last;
      port->fnm = port->fnm1 = false;
      for (const std::uint8_t monitor : {std::uint8_t{0}, std::uint8_t{1}})
        snapshot_.discovered.records.setMonitor(port->recordIndex, monitor);
      snapshot_.discovered.records.setCounters(port->recordIndex, 2, {});
      give(kPortRecordKinds, record, port->recordIndex);
    }
  }
  void setBit(unsigned bit) {
    CapabilityAnswer answer;
    if (const auto* old = snapshot_.discovered.capabilities.find(node_.recordIndex, false)) answer = *old;
    answer.error = 0;
    answer.mask.words[bit / 32] |= 1U << bit % 32;
    snapshot_.discovered.capabilities.setAnswer(node_.recordIndex, false, answer);
  }

  Snapshot& snapshot_;
  IBNode& node_;
};

TEST(Inspection, EveryLackIsKnownAndItsMendMends) {
  const auto snapshot = randomSnapshot(11, 1500);
  std::map<std::string_view, int> followed;
  for (auto& [name, node] : snapshot->discovered.fabric.nodeByName) {
    // A port 0, an ordinary one and a special one.
    if (node->ports[0] == nullptr || std::ranges::count(node->ports, nullptr) + 3 > std::ssize(node->ports))
      continue;
    InMemoryDrovik engine(snapshot->discovered, ".");
    const NodeOutcomes before = runFrames(engine, *node, "n");
    for (std::size_t frame = 0; frame < before.size(); ++frame) {
      if (before[frame].kind == BodyKind::kBlock) continue;
      const std::string words(before[frame].words());
      const Explanation& explanation = explanationOf(words);
      ASSERT_FALSE(explanation.piece.empty()) << words;
      EXPECT_TRUE(explanation.isLack || before[frame].kind == BodyKind::kComment) << words;
      EXPECT_FALSE(explanation.isLack && explanation.mend.empty()) << words;
      if (explanation.mend.empty() || explanation.mend.find("is 0;") != std::string_view::npos) continue;
      Mender(*snapshot, *node).follow(explanation);
      EXPECT_NE(runFrames(engine, *node, "n")[frame].words(), words) << explanation.mend;
      ++followed[explanation.piece];
    }
  }
  EXPECT_GE(followed.size(), 25U);
}

TEST(Inspection, ReasonsStandBesideWhatTheyExplain) {
  Snapshot snapshot = read(
      "{\"fabric_snapshot\": 1}\n"
      "{\"name\": \"a\", \"guid\": 1, \"type\": \"ca\", \"num_ports\": 2, \"absent\": {\"SMP_NodeInfo\": "
      "\"timed out\"},"
      " \"ports\": [{\"num\": 1, \"absent\": {\"SMP_PortInfo\": \"refused\"}},"
      " {\"num\": 2, \"absent\": {\"SMP_PortInfo\": \"refused\"}}]}\n"
      "{\"name\": \"b\", \"guid\": 2, \"type\": \"ca\", \"num_ports\": 2}\n");
  const std::vector<Gap> gaps = gapsOf(snapshot, inspect(snapshot, everyNode(snapshot)));
  const auto gapOf = [&](std::size_t frame) { return *std::ranges::find(gaps, frame, &Gap::frame); };
  EXPECT_EQ(gapOf(0).nodes, 2U);
  EXPECT_EQ(gapOf(0).words, "Failed to get NodeInfo mad for the node=NODE");
  EXPECT_EQ(gapOf(0).reasons, (ReasonCounts{{"SMP_NodeInfo: timed out", 1}}));
  EXPECT_EQ(gapOf(1).reasons, (ReasonCounts{{"SMP_PortInfo: refused", 1}}));
  EXPECT_TRUE(gapOf(2).reasons.empty());
}

TEST(Inspection, CablesAreKnownFromEitherEnd) {
  const Snapshot snapshot = read(
      "{\"fabric_snapshot\": 1}\n"
      "{\"name\": \"a\", \"guid\": 1, \"type\": \"ca\", \"num_ports\": 2, \"ports\": ["
      "{\"num\": 1, \"link\": {\"node\": \"b\", \"port\": 2}}, {\"num\": 2, \"link\": {\"node\": \"c\", "
      "\"port\": 1}}]}\n"
      "{\"name\": \"b\", \"guid\": 2, \"type\": \"switch\", \"num_ports\": 2}\n");
  const Cables cables(snapshot);
  EXPECT_EQ(std::make_pair(cables.inside(), cables.leaving()),
            std::make_pair(std::size_t{1}, std::size_t{1}));
  const Cables::Far* far = cables.find(*snapshot.discovered.fabric.nodeByName.at("b"), 2);
  ASSERT_NE(far, nullptr);
  EXPECT_EQ(*far->name + std::to_string(far->port), "a1");
  EXPECT_EQ(cables.find(*snapshot.discovered.fabric.nodeByName.at("a"), 2)->node, nullptr);
}

TEST(Inspection, TextFitsTheScreen) {
  EXPECT_EQ(rangesOf({1, 3, 4, 5, 8, 9, 254}), "1, 3-5, 8, 9, 254");
  EXPECT_EQ(columnsOf("a\xc3\xa9\xe4\xb8\xad"), 4U);  // one, one and two columns
  ScreenText text({12, true});
  text.line("\xe4\xb8\xad\xe4\xb8\xad\xe4\xb8\xad\xe4\xb8\xad\xe4\xb8\xad\xe4\xb8\xad\xe4\xb8\xad");
  text.paragraph("ab: ", "one two three", Ink::kHead);
  EXPECT_EQ(text.take(),
            "\xe4\xb8\xad\xe4\xb8\xad\xe4\xb8\xad\xe4\xb8\xad\xe4\xb8\xad~\n"
            "\x1b[1mab: one two\x1b[0m\n\x1b[1m    three\x1b[0m\n");
}

}  // namespace
}  // namespace siminfo
