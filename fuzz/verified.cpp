// What verify reads: generated files that anybody may have edited, and the words of programs that it runs.

#include <sstream>

#include "fuzz/target.h"
#include "fuzz/targets.h"
#include "siminfo/verify/compiler_messages.h"
#include "siminfo/verify/node_file.h"
#include "siminfo/verify/section_verdict.h"
#include "tests/snapshot/snapshot_text.h"
#include "tests/support.h"

namespace siminfo {
namespace {

using FileLines = std::vector<std::string>;

FileLines linesOf(const std::string& text) {
  FileLines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string textOf(const FileLines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

/// A snapshot of a switch with everything that a switch can have, and its generated file; made once.
struct Example {
  Snapshot snapshot = readSnapshotFile(SIMINFO_SOURCE_DIR "/fuzz/seeds/snapshot/sw1-reduction");
  std::vector<const IBNode*> nodes = everyNode(snapshot);
  ExpectedFile expected;
  std::string text;

  Example() {
    const ScratchDirectory folder;
    expected = expectedNodeFile({"Fab1", snapshot.source, nodes});
    text = readText(generateNodeFile(snapshot, "Fab1", nodes, {}, folder.path()));
  }
  Expectation expectationOf(const FoundSection& found) const {
    const IBNode& node = *expected.sections[found.place].node;
    return Expectation({snapshot, node, node.name});
  }
};
const Example& example() {
  static const Example theOne;
  return theOne;
}

/// Does with a line what an editor does.
void edit(FileLines& lines, FuzzBytes& bytes) {
  const std::size_t at = bytes.below(lines.size() + 1);
  const auto line = lines.begin() + static_cast<std::ptrdiff_t>(at);
  const bool isThere = at < lines.size();
  switch (bytes.byte() % 6) {
    case 0:
      if (isThere) lines.erase(line);
      break;
    case 1:
      if (isThere) lines.insert(line, std::string(*line));
      break;
    case 2:
      for (const std::string& added : linesOf(bytes.take(bytes.byte())))
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), added);
      break;
    case 3:
      if (isThere) std::swap(*line, lines[bytes.below(lines.size())]);
      break;
    case 4:
      if (isThere) line->insert(bytes.below(line->size() + 1), bytes.take(bytes.byte() % 32U));
      break;
    default:
      lines.erase(line, lines.end());
  }
}

/// The text with nothing where the bodies of its frames were.
std::string withoutBodies(const DumpText& text) {
  std::vector<bool> isBody(text.lines().size() + 1, false);
  for (const DumpSection& section : text.sections()) {
    for (const DumpFrame& frame : section.frames) {
      for (std::size_t i = 0; i < frame.body.size(); ++i) isBody[frame.line + i] = true;
    }
  }
  std::string rest;
  for (std::size_t i = 0; i < text.lines().size(); ++i) {
    if (!isBody[i]) rest.append(text.lines()[i]).append("\n");
  }
  return rest;
}

bool isAllWell(const FileCheck& check) {
  if (!check.differences.empty()) return false;
  for (const FoundSection& section : check.sections) {
    for (const FoundFrame& found : section.frames) {
      if (found.frame == nullptr || found.fault || !found.inFront.empty()) return false;
    }
  }
  return true;
}

/// FileLines of which the form alone is known: year and host at the top, the version below.
std::string withoutFreeLines(const std::string& text, const ExpectedFile& expected) {
  FileLines lines = linesOf(text);
  for (std::size_t i = 0; i < expected.head.size() && i < lines.size(); ++i) lines[i].clear();
  for (std::size_t i = 0; i < expected.tail.size() && i < lines.size(); ++i)
    lines[lines.size() - 1 - i].clear();
  return textOf(lines);
}

void judge(const std::string& text) {
  const Example& of = example();
  const DumpText dump(text);
  const FileCheck check = checkFile(dump, of.expected);
  for (const FoundSection& section : check.sections)
    judgeSection(section, of.expectationOf(section), Missing::kError, FrameForm::kEither);
  if (!isAllWell(check)) return;
  static const std::string kRight = withoutFreeLines(withoutBodies(DumpText(of.text)), of.expected);
  require(withoutFreeLines(withoutBodies(dump), of.expected) == kRight, "an edit beside the frames is seen");
}

/// The frames of the example, as they are found in its file.
struct FoundNode {
  DumpText dump{example().text};
  FileCheck check = checkFile(dump, example().expected);
  Expectation expectation = example().expectationOf(check.sections.front());
  SectionVerdict verdict =
      judgeSection(check.sections.front(), expectation, Missing::kError, FrameForm::kEither);
};

}  // namespace

void fuzzGeneratedFile(std::string_view input) {
  FuzzBytes bytes(input);
  // A file that is no generated one at all, or one after some edits.
  if (bytes.byte() == 0) return judge(std::string(input.substr(input.empty() ? 0 : 1)));
  static const FileLines kWhole = linesOf(example().text);
  FileLines lines = kWhole;
  for (unsigned edits = 0; edits < 8 && !bytes.isOver(); ++edits) edit(lines, bytes);
  judge(textOf(lines));
}

void fuzzProbeOutput(std::string_view input) {
  static const FoundNode kNode;
  UnitResult result;
  result.devices.resize(2);
  std::istringstream printed{std::string(input)};
  const std::size_t frames = readRuns(printed, result);
  require(frames <= input.size() / sizeof "frame", "no frame is there that was not printed");
  for (const DeviceRuns& runs : result.devices) {
    SectionVerdict verdict = kNode.verdict;
    judgeRuns(verdict, kNode.expectation, runs);
  }
}

void fuzzCompilerMessages(std::string_view input) {
  const CompilerMessages messages(input, "a \"file\": of ours.cpp");
  require(!messages.anything.empty(), "a compiler that failed is quoted");
}

}  // namespace siminfo
