// The rules that say what a frame must be, without a compiler: beside the generators over nodes of every
// kind, which share nothing with them but the snapshot.

#include "siminfo/models/exact_ports.h"
#include "siminfo/verify/expectation.h"
#include "siminfo/verify/file_words.h"
#include "tests/drawn_node.h"
#include "tests/support.h"

namespace siminfo {
namespace {

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

std::string nameOf(unsigned seed) { return "n" + std::to_string(seed) + " <node> <SMP rc>"; }

TEST(Rules, FindTheWordsOfEveryFrame) {
  const ScratchDirectory directory;
  Snapshot snapshot;
  InMemoryDrovik engine(snapshot.discovered, directory.path());
  const SimInfoDumpCPP generator(engine);
  for (unsigned seed = 0; seed < 2000; ++seed) {
    const IBNode& node = DrawnNode(snapshot.discovered, nameOf(seed), seed).node();
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
  for (unsigned seed = 0; seed < 60; ++seed) DrawnNode(snapshot.discovered, nameOf(seed), seed);
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
