// What verify sees in a generated file without a compiler: a file of the small example fabric is edited in
// one place, and exactly one difference must name it.

#include <regex>

#include "siminfo/core/section_stream.h"
#include "siminfo/snapshot/reader.h"
#include "siminfo/verify/file_check.h"
#include "siminfo/verify/node_file.h"
#include "siminfo/verify/rules.h"
#include "siminfo/verify/section_verdict.h"
#include "tests/support.h"

namespace siminfo {
namespace {

/// The small example fabric, and what is generated for it.
class SmallFabric {
 public:
  std::string generate(std::span<const SimInfoDumpCPP::Frame> frames = SimInfoDumpCPP::Frames()) {
    const ScratchDirectory directory;
    InMemoryDrovik engine(snapshot.discovered, directory.path());
    SimInfoDumpCPP(engine, frames).Generate("Fab1", {});
    return readFile(engine.files().path());
  }

  /// Every difference that the text shows, as the report has it.
  std::vector<std::string> judge(const std::string& text, FrameForm form = FrameForm::kExact) const {
    const DumpText dump(text);
    const ExpectedFile expected = expectedNodeFile({"Fab1", snapshot.source, everyNode(snapshot)});
    const FileCheck check = checkFile(dump, expected);
    std::vector<std::string> found;
    const auto add = [&](const std::string& subject, const Difference& of) {
      found.push_back(subject + of.place + ": " + of.field + ": expected " + of.expected + ", found " +
                      of.found);
    };
    for (const Difference& difference : check.differences) add("", difference);
    for (const FoundSection& section : check.sections) {
      const IBNode& node = *expected.sections[section.place].node;
      const SectionVerdict verdict =
          judgeSection(section, Expectation({snapshot, node, node.name}), Missing::kError, form);
      for (std::size_t i = 0; i < verdict.frames.size(); ++i) {
        for (const Difference& difference : verdict.frames[i].differences)
          add(node.name + ": " + std::string(rules()[i].frame) + ": ", difference);
      }
    }
    return found;
  }

  /// Where the text differs from what the nodes' models ask for: a line, or a node for each frame of it.
  std::vector<std::string> compare(const std::string& text, const NodeFileForm& form = {}) {
    const ScratchDirectory directory;
    const std::filesystem::path path = directory.path() / "f.cpp";
    std::ofstream(path) << text;
    const std::vector<const IBNode*> nodes = everyNode(snapshot);
    InMemoryDrovik engine(snapshot.discovered, directory.path());
    const ModelWriter writer(engine, false);
    const ModelSet set = writer.findModels(nodes);
    SectionStream os;
    for (const Model& model : set.models) writer.printModel(os, "Fab1", model);
    const DumpText dump{std::string(os.text())};
    ExpectedFile expected{"model", "Fab1", {}, {}, {}};
    for (const Model& model : set.models) expected.sections.push_back(modelSection(model));
    const FileCheck check = checkFile(dump, expected);
    std::map<const IBNode*, OwnText> own;
    for (const auto& [node, model] : set.nodes)
      own.emplace(node, OwnText("Fab1", check.sections[model],
                                Expectation({snapshot, *node, set.models[model].name}), form));

    const NodeFileCheck found = checkNodeFile(path, {"Fab1", snapshot.source, nodes},
                                              [&](const IBNode& node) { return &own.at(&node); });
    std::vector<std::string> places;
    for (const Difference& difference : found.differences) places.push_back(difference.place);
    for (const auto& [node, faults] : found.ofNodes) places.insert(places.end(), faults.size(), node->name);
    return places;
  }

  Snapshot snapshot = readSnapshotFile(SIMINFO_SOURCE_DIR "/examples/small_fabric.json");
};

SmallFabric& smallFabric() {
  static SmallFabric fabric;
  return fabric;
}

/// A text that edits are made to, in places that are found by words behind others.
class Edited {
 public:
  explicit Edited(std::string of) : text(std::move(of)) {}

  std::size_t at(const std::string& what, std::size_t from = 0) const {
    const std::size_t found = text.find(what, from);
    EXPECT_NE(found, std::string::npos) << what;
    return found;
  }
  /// Where the node's frame begins; where its section does when the method is empty.
  std::size_t in(const std::string& node, const std::string& method = "") const {
    const std::size_t name = at("\n// Name: '" + node + "'");
    if (method.empty()) return text.rfind('\n', name - 1) + 1;
    return text.rfind('\n', at("::" + method + "() {", name)) + 1;
  }
  /// From its head to the line end behind its brace.
  std::string frame(const std::string& node, const std::string& method) const {
    const std::size_t head = in(node, method);
    return text.substr(head, at("\n}\n", head) + 3 - head);
  }
  /// With the two empty lines in front.
  std::string section(const std::string& node) const {
    const std::size_t banner = in(node);
    const std::size_t next = text.find("\n\n\n//", banner);
    const std::size_t end = next != std::string::npos ? next + 1 : at("\n// End of file", banner);
    return text.substr(banner - 2, end - (banner - 2));
  }
  void replace(std::size_t from, const std::string& what, const std::string& by) {
    text.replace(at(what, from), what.size(), by);
  }
  void replace(const std::string& what, const std::string& by) { replace(0, what, by); }
  void insert(std::size_t before, const std::string& what) { text.insert(before, what); }

  std::string text;
};

struct TextCase {
  const char* fault;
  void (*edit)(Edited& file);
  const char* words;  ///< of the one difference
};

const std::string kSwitch1 = "sw1-reduction";

// clang-format off
const TextCase kFileCases[] = {
    {"a notice that was altered",
     [](Edited& file) { file.replace("kind.\n", "sort.\n"); },
     "line 10: in front of an-1: expected `* The file is provided"},
    {"a year that is none",
     [](Edited& file) { file.replace("(c) 2024-", "(c) 2024-x"); },
     "line 2: in front of an-1: expected `* SPDX-FileCopyrightText: Copyright (c) 2024-<...> The"},
    {"a foreign generator",
     [](Edited& file) { file.replace("Generated by siminfo ", "Generated by another "); },
     "line 13: in front of an-1: expected `// Generated by siminfo <...>. Do not edit.`, found `// Generated by another"},
    {"another source",
     [](Edited& file) { file.replace("// Fabric snapshot: the", "// Fabric snapshot: a"); },
     "line 14: in front of an-1: expected `// Fabric snapshot: the small example fabric`, found `"},
    {"a host name that goes on in the next line",
     [](Edited& file) { file.replace("\n\n#include", "\\\n\n#include"); },
     "line 15: in front of an-1: expected `// Host Name: <...>`, found `"},
    {"an include that is missing",
     [](Edited& file) { file.replace("#include \"fab1.h\"\n", ""); },
     "line 17: in front of an-1: expected `#include \"fab1.h\"`, found nothing"},
    {"code behind the includes",
     [](Edited& file) { file.replace("drovik_fabric.h>\n", "drovik_fabric.h>\nint x;\n"); },
     "line 20: in front of an-1: expected nothing, found `int x;`"},
    {"a type word",
     [](Edited& file) { file.replace(file.in(kSwitch1), "Type: SW", "Type: CA"); },
     ": in front of sw1-reduction: expected `// Node Type: SW, Node GUID: 0x0002c90000000041, Ports: 6`, found `// Node Type: CA,"},
    {"a special node that is not called one",
     [](Edited& file) { file.replace("CA(Special Node)", "CA"); },
     "in front of an-1: expected `// Node Type: CA(Special Node), "},
    {"a digit of a GUID",
     [](Edited& file) { file.replace("0x0002c90000000041", "0x0002c90000000040"); },
     "in front of sw1-reduction: expected"},
    {"a number of ports",
     [](Edited& file) { file.replace("Ports: 6", "Ports: 7"); },
     "Ports: 6`, found"},
    {"a node's name",
     [](Edited& file) { file.replace("'sw1-reduction'", "'sw1'"); },
     "in front of sw1-reduction: expected `// Name: 'sw1-reduction', Alt: 'spine 1, rack A7`, found `// Name: 'sw1'"},
    {"an apostrophe that closes the alternative name",
     [](Edited& file) { file.replace("rack A7\n", "rack A7'\n"); },
     "in front of sw1-reduction: expected `// Name:"},
    {"the first line of a banner gone",
     [](Edited& file) { file.replace("// Node Type: SW, Node GUID: 0x0002c90000000041, Ports: 6\n", ""); },
     "in front of sw1-reduction: expected `// Node Type: SW, Node GUID: 0x0002c90000000041, Ports: 6`, found nothing"},
    {"the first line of a banner spelled wrong",
     [](Edited& file) { file.replace("// Node Type: SW, Node GUID: 0x0002c90000000041", "// Nod Type: SW, Node GUID: 0x0002c90000000041"); },
     "in front of sw1-reduction: expected `// Node Type"},
    {"the second line of a banner gone",
     [](Edited& file) { file.replace("// Name: 'sw1-reduction', Alt: 'spine 1, rack A7\n", ""); },
     "in front of sw1-reduction: expected `// Name: 'sw1-reduction', Alt: 'spine 1, rack A7`, found nothing"},
    {"a whole banner gone",
     [](Edited& file) {
       const std::size_t banner = file.in(kSwitch1);
       file.text.erase(banner, file.at("void", banner) - banner);
     },
     "in front of sw1-reduction: expected `// Node Type: SW, Node GUID: 0x0002c90000000041, Ports: 6` and 1 line more, found nothing"},
    {"a line inside a banner",
     [](Edited& file) { file.replace("// Name: 'sw1", "// more\n// Name: 'sw1"); },
     "in front of sw1-reduction: expected nothing, found `// more`"},
    {"a line between banner and frames",
     [](Edited& file) { file.replace("rack A7\n", "rack A7\nint x;\n"); },
     ": in front of it: expected nothing, found `int x;`"},
    {"one empty line before a banner",
     [](Edited& file) { file.text.erase(file.in(kSwitch1) - 1, 1); },
     "in front of sw1-reduction: expected an empty line, found nothing"},
    {"a third empty line before a banner",
     [](Edited& file) { file.insert(file.in(kSwitch1), "\n"); },
     ": in front of sw1-reduction: expected nothing, found an empty line"},
    {"code between two nodes",
     [](Edited& file) { file.insert(file.in(kSwitch1) - 2, "int x;\n"); },
     ": in front of sw1-reduction: expected nothing, found `int x;`"},
    {"a node left out",
     [](Edited& file) { file.replace(file.section("sw2-plain"), ""); },
     ": the node sw2-plain: expected a section of it, found none"},
    {"the first node left out",
     [](Edited& file) { file.replace(file.section("an-1"), ""); },
     ": the node an-1: expected a section of it, found none"},
    {"the last node left out",
     [](Edited& file) { file.replace(file.section("sw3-partial"), ""); },
     ": the node sw3-partial: expected a section of it, found none"},
    {"a node twice",
     [](Edited& file) { file.insert(file.in("sw3-partial") - 2, file.section(kSwitch1)); },
     ": a node: expected each selected node once, found `// Name: 'sw1-reduction', Alt: 'spine 1, rack A7` besides"},
    {"a node that the snapshot does not have",
     [](Edited& file) {
       const std::string section = std::regex_replace(
           std::regex_replace(file.section("rtr-1"), std::regex("rtr-1"), "rtr-2"), std::regex("61, Ports"), "62, Ports");
       file.insert(file.in(kSwitch1) - 2, section);
     },
     ": a node: expected each selected node once, found `// Name: 'rtr-2', Alt: '` besides"},
    {"nodes in another order",
     [](Edited& file) {
       const std::string section = file.section("an-1");
       file.replace(section, "");
       file.insert(file.in("sw3-partial") - 2, section);
     },
     ": the place of an-1: expected the nodes in the order of their names, found this one out of it"},
    {"the last line gone",
     [](Edited& file) { file.text.erase(file.at("\n// End of file")); },
     ": the end of the file: expected `// End of file, siminfo <...>` and 1 line more, found nothing"},
    {"the last line without its end",
     [](Edited& file) { file.text.pop_back(); },
     ": the end of the file: expected a line end, found none"},
    {"code behind the last line",
     [](Edited& file) { file.text += "int x;\n"; },
     ": the end of the file: expected nothing, found `int x;`"},
};

const TextCase kFrameCases[] = {
    {"code between two frames",
     [](Edited& file) { file.insert(file.in(kSwitch1, "setFWInfo"), "int x;\n\n"); },
     ": in front of it: expected nothing, found `int x;` and 1 line more"},
    {"two empty lines between two frames",
     [](Edited& file) { file.insert(file.in(kSwitch1, "setFWInfo"), "\n"); },
     ": in front of it: expected nothing, found an empty line"},
    {"no empty line between two frames",
     [](Edited& file) { file.text.erase(file.in(kSwitch1, "setFWInfo") - 1, 1); },
     ": in front of it: expected an empty line, found nothing"},
    {"a frame left out",
     [](Edited& file) { file.replace(file.frame(kSwitch1, "setFWInfo") + "\n", ""); },
     "sw1-reduction: setFWInfo: : the whole frame: expected `void Fab1::SW::setFWInfo() {`, found no such line"},
    {"a frame left out, and both empty lines beside it there",
     [](Edited& file) { file.replace(file.frame(kSwitch1, "setFWInfo"), ""); },
     "sw1-reduction: setFWInfo: : the whole frame: expected"},
    {"the first frame left out",
     [](Edited& file) { file.replace(file.frame(kSwitch1, "setNodeInfo") + "\n", ""); },
     "sw1-reduction: setNodeInfo: : the whole frame: expected"},
    {"the last frame of the file left out",
     [](Edited& file) { file.replace(file.frame("sw3-partial", "setZYRPushReductionCounters"), ""); },
     "sw3-partial: setZYRPushReductionCounters: : the whole frame: expected"},
    {"a frame twice",
     [](Edited& file) { file.insert(file.in(kSwitch1, "setArInfo"), file.frame(kSwitch1, "setFWInfo") + "\n"); },
     ": sw1-reduction: expected each frame once, found `void Fab1::SW::setFWInfo() {` besides"},
    {"the first frame twice",
     [](Edited& file) { file.insert(file.in(kSwitch1, "setPortInfo"), file.frame(kSwitch1, "setNodeInfo") + "\n"); },
     ": sw1-reduction: expected each frame once, found `void Fab1::SW::setNodeInfo() {` besides"},
    {"a frame that there is not",
     [](Edited& file) { file.insert(file.in(kSwitch1, "setArInfo"), "void Fab1::SW::setMore() {\n}\n\n"); },
     ": sw1-reduction: expected each frame once, found `void Fab1::SW::setMore() {` besides"},
    {"two frames in another order",
     [](Edited& file) {
       const std::string one = file.frame(kSwitch1, "setFWInfo") + "\n";
       const std::string other = file.frame(kSwitch1, "setHWInfo") + "\n";
       file.replace(one + other, other + one);
     },
     ": its place: expected the frames in their order, found this one out of it"},
    {"the first frame at the end",
     [](Edited& file) {
       const std::string frame = file.frame(kSwitch1, "setNodeInfo");
       file.replace(frame + "\n", "");
       file.insert(file.in(kSwitch1, "setZYRReductionInfo"), frame + "\n");
     },
     "sw1-reduction: setNodeInfo: line"},
    {"a frame of another name",
     [](Edited& file) { file.replace(file.in(kSwitch1), "setFWInfo", "setFWInfos"); },
     ": its head: expected `void Fab1::SW::setFWInfo() {`, found `void Fab1::SW::setFWInfos() {`"},
    {"a frame of another class",
     [](Edited& file) { file.replace(file.in(kSwitch1), "SW::setFWInfo", "RTR::setFWInfo"); },
     ": its head: expected `void Fab1::SW::setFWInfo() {`, found `void Fab1::RTR::setFWInfo() {`"},
    {"a frame of another dump",
     [](Edited& file) { file.replace(file.in(kSwitch1), "Fab1::SW::setFWInfo", "fab1::SW::setFWInfo"); },
     ": its head: expected"},
    {"a head with something behind it",
     [](Edited& file) { file.replace(file.in(kSwitch1), "setFWInfo() {", "setFWInfo() { "); },
     ": its head: expected"},
    {"a head that is none",
     [](Edited& file) { file.replace(file.in(kSwitch1), "void Fab1::SW::setFWInfo", "vod Fab1::SW::setFWInfo"); },
     ": the whole frame: expected `void Fab1::SW::setFWInfo() {`, found `vod Fab1::SW::setFWInfo() {`"},
    {"a first head that is none",
     [](Edited& file) { file.replace(file.in(kSwitch1), "void Fab1::SW::setNodeInfo", "vod Fab1::SW::setNodeInfo"); },
     ": the whole frame: expected `void Fab1::SW::setNodeInfo() {`, found `vod Fab1::SW::setNodeInfo() {`"},
    {"a last head that is none",
     [](Edited& file) { file.replace(file.in(kSwitch1), "void Fab1::SW::setZYRPush", "vod Fab1::SW::setZYRPush"); },
     ": the whole frame: expected `void Fab1::SW::setZYRPushReductionCounters() {`, found `vod"},
    {"a frame that is not closed",
     [](Edited& file) {
       const std::size_t head = file.in(kSwitch1, "setFWInfo");
       file.replace(head, "\n}\n", "\n");
     },
     "sw1-reduction: setFWInfo: line"},
    {"a closing brace that is indented",
     [](Edited& file) {
       const std::size_t head = file.in(kSwitch1, "setFWInfo");
       file.replace(head, "\n}\n", "\n }\n");
     },
     ": its end: expected `}`, found ` }`"},
    {"the last frame of the file not closed",
     [](Edited& file) { file.replace("}\n\n// End", "\n// End"); },
     "sw3-partial: setZYRPushReductionCounters: line"},
};

const TextCase kBodyCases[] = {
    {"the words of a comment",
     [](Edited& file) { file.replace(file.in("an-1"), "is not a switch", "is no switch"); },
     "the body: expected `// The node=an-1 is not a switch`, found `// The node=an-1 is no switch`"},
    {"a comment about another node",
     [](Edited& file) { file.replace(file.in("an-1"), "node=an-1 is not a switch", "node=an-2 is not a switch"); },
     "the body: expected `// The node=an-1 is not a switch`, found"},
    {"the words of an #error line",
     [](Edited& file) { file.replace(file.in("rtr-1"), "with rc=1", "with rc=2"); },
     "the body: expected `#error \"Failed to get GMP capabilites for the node=rtr-1 with rc=1\"`, found"},
    {"a quotation mark behind a line that has none",
     [](Edited& file) { file.replace("ArInfo mad for the node=sw3-partial", "ArInfo mad for the node=sw3-partial\""); },
     "sw3-partial: setArInfo: line"},
    {"a comment in place of an #error line",
     [](Edited& file) { file.replace(file.in("rtr-1"), "#error", "//"); },
     "rtr-1: setNodeInfo: line"},
    {"an #error line in place of a comment",
     [](Edited& file) { file.replace(file.in("an-1", "setArInfo"), "// The", "#error The"); },
     "an-1: setArInfo: line"},
    {"an indented comment",
     [](Edited& file) { file.replace(file.in("an-1", "setArInfo"), "// The", "    // The"); },
     "found `    // The node=an-1 is not a switch`"},
    {"code behind a comment",
     [](Edited& file) { file.replace(file.in("an-1", "setArInfo"), "switch\n", "switch\n    m_node->numPorts = 1;\n"); },
     "the body: expected nothing, found `    m_node->numPorts = 1;`"},
    {"no comment",
     [](Edited& file) { file.replace(file.in("an-1", "setArInfo"), "// The node=an-1 is not a switch\n", ""); },
     "the body: expected `// The node=an-1 is not a switch`, found nothing"},
    {"a block in place of a comment",
     [](Edited& file) {
       const std::string block = file.frame(kSwitch1, "setSwitchInfo");
       const std::size_t body = block.find('\n') + 1;
       file.replace(file.in("sw3-partial", "setSwitchInfo"), "// Failed to get SwitchInfo mad for the node=sw3-partial\n",
                    block.substr(body, block.size() - body - 2));
     },
     "sw3-partial: setSwitchInfo: line"},
    {"a comment in place of a block",
     [](Edited& file) {
       file.replace(file.frame(kSwitch1, "setSwitchInfo"),
                    "void Fab1::SW::setSwitchInfo() {\n// The node=sw1-reduction is not a switch\n}\n");
     },
     "the body: expected the discovered values, found `// The node=sw1-reduction is not a switch`"},
    {"an empty body",
     [](Edited& file) { file.replace(file.frame(kSwitch1, "setSwitchInfo"), "void Fab1::SW::setSwitchInfo() {\n\n}\n"); },
     "the body: expected the discovered values, found an empty line"},
    {"a directive in a block",
     [](Edited& file) { file.replace(file.in(kSwitch1, "setSwitchInfo"), "    SMP_", "#error \"no\"\n    SMP_"); },
     "a directive: expected none in a block, found `#error \"no\"`"},
    {"a brace too many",
     [](Edited& file) { file.replace(file.in(kSwitch1, "setSwitchInfo"), "    SMP_", "    {\n    SMP_"); },
     "the braces: expected each of them closed, found 1 open"},
    {"a brace too few",
     [](Edited& file) { file.replace(file.in(kSwitch1, "setSwitchInfo"), "    SMP_", "    }\n    SMP_"); },
     "a brace: expected one that closes another, found `    }`"},
    {"a line that goes on in the next",
     [](Edited& file) { file.replace(file.in(kSwitch1, "setSwitchInfo"), ";\n", ";\\\n"); },
     "a line: expected one that ends where it ends"},
    {"a comment that goes on in the next line",
     [](Edited& file) { file.replace(file.in(kSwitch1, "setSwitchInfo"), ";\n", "; /* \n"); },
     "a comment: expected none of this kind"},
    {"a capability's name",
     [](Edited& file) { file.replace(file.in(kSwitch1, "setSMPCapability"), "    // Is", "    // Was"); },
     "sw1-reduction: setSMPCapability: line"},
    {"a capability that is not there",
     [](Edited& file) { file.replace(file.in(kSwitch1, "setSMPCapability"), "    // Is", "    // IsNot\n    // Is"); },
     "the comments: expected nothing, found `// IsNot`"},
    {"the head of a list gone",
     [](Edited& file) { file.replace(file.in(kSwitch1, "setPortInfo"), "            // ---------- CapMask2\n", ""); },
     "the comments: expected `// ---------- CapMask2`, found nothing"},
    {"a space less",
     [](Edited& file) { file.replace(file.in(kSwitch1, "setPortInfo"), " = 1\n", "= 1\n"); },
     "sw1-reduction: setPortInfo: line"},
    {"a counter that is not written twice",
     [](Edited& file) { file.replace(file.in(kSwitch1, "setZYRReductionCounters"), "read_resp_pkt = 0xe194274e3f", "read_resp_pkt = 0xe194274e30"); },
     "a counter: expected the same once more in its block, found `                mad_buffer.generated_mc_read_resp_pkt = 0xe194274e30;`"},
    {"a comment behind code",
     [](Edited& file) { file.replace(file.in(kSwitch1, "setSwitchInfo"), ";\n", "; // more\n"); },
     "the comments: expected nothing, found `// more`"},
};
// clang-format on

/// Each edit by itself is one difference, and the words say which.
void expectOneEach(std::span<const TextCase> cases) {
  const std::string generated = smallFabric().generate();
  for (const TextCase& of : cases) {
    SCOPED_TRACE(of.fault);
    Edited file(generated);
    of.edit(file);
    const std::vector<std::string> found = smallFabric().judge(file.text);
    ASSERT_EQ(found.size(), 1U) << testing::PrintToString(found);
    EXPECT_NE(found[0].find(of.words), std::string::npos) << found[0];
    EXPECT_EQ(smallFabric().compare(file.text).size(), 1U);
  }
}

TEST(EditedText, DiffersOutsideTheNodes) { expectOneEach(kFileCases); }
TEST(EditedText, DiffersInAndBetweenFrames) { expectOneEach(kFrameCases); }
TEST(EditedText, DiffersInsideFrames) { expectOneEach(kBodyCases); }

using Found = std::vector<std::string>;

TEST(GeneratedText, IsRightInEitherForm) {
  const std::string exact = smallFabric().generate();
  const std::string buildable = smallFabric().generate(SimInfoDumpCPP::BuildableFrames());
  EXPECT_EQ(smallFabric().judge(exact), Found());
  EXPECT_EQ(smallFabric().judge(exact, FrameForm::kEither), Found());
  EXPECT_EQ(smallFabric().judge(buildable, FrameForm::kBuildable), Found());
  EXPECT_EQ(smallFabric().judge(buildable, FrameForm::kEither), Found());
  EXPECT_EQ(smallFabric().judge(exact, FrameForm::kBuildable).size(), 2U);
  EXPECT_EQ(smallFabric().judge(buildable).size(), 2U);

  Edited file(exact);
  file.text = std::regex_replace(file.text, std::regex("\\(c\\) 2024-\\d+"), "(c) 2024-2099");
  file.text = std::regex_replace(file.text, std::regex("siminfo \\d+\\.\\d+\\.\\d+"), "siminfo 10.0");
  file.text = std::regex_replace(file.text, std::regex("// Host Name: [^\n]*"), "// Host Name: another host");
  EXPECT_EQ(smallFabric().judge(file.text), Found());

  EXPECT_EQ(smallFabric().compare(file.text), Found());
  EXPECT_EQ(smallFabric().compare(buildable, {true}), Found());
  EXPECT_EQ(smallFabric().compare(buildable), (Found{kSwitch1, kSwitch1}));
  EXPECT_EQ(smallFabric().compare(exact, {false, Missing::kComment}).size(), 20U);
  file.text = std::regex_replace(exact, std::regex("#error "), "// ");
  EXPECT_EQ(smallFabric().compare(file.text, {false, Missing::kComment}), Found());
  file.replace("VendorID = 0x2c9", "VendorID = 0x2c8");
  EXPECT_EQ(smallFabric().compare(file.text, {false, Missing::kComment}).size(), 1U);
}

/// What a generator does that leaves out a frame, or writes frames in an order of its own.
TEST(GeneratedText, HasTheFramesOfTheRules) {
  const std::span<const SimInfoDumpCPP::Frame> all = SimInfoDumpCPP::Frames();
  std::vector<SimInfoDumpCPP::Frame> frames(all.begin(), all.end());
  frames.erase(frames.begin() + 10);
  Found found = smallFabric().judge(smallFabric().generate(frames));
  EXPECT_EQ(found.size(), 6U);  // one for each node
  EXPECT_EQ(
      found[0],
      "an-1: setArInfo: : the whole frame: expected `void Fab1::AN::setArInfo() {`, found no such line");

  frames.assign(all.begin(), all.end());
  std::rotate(frames.begin(), frames.begin() + 1, frames.end());
  found = smallFabric().judge(smallFabric().generate(frames));
  EXPECT_EQ(found.size(), 6U);
  EXPECT_NE(found[0].find("an-1: setNodeInfo: line "), std::string::npos) << found[0];
}

}  // namespace
}  // namespace siminfo
