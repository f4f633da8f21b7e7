#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>

#include "siminfo/simulator/record_layout.h"
#include "tests/support.h"

namespace siminfo {
namespace {

const std::string kSmallFabric = SIMINFO_SOURCE_DIR "/examples/small_fabric.json";

struct ProgramRun {
  int status;
  std::string output;

  bool says(const std::string& text) const { return output.find(text) != std::string::npos; }
};

ProgramRun run(const std::string& command) {
  ProgramRun run{};
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  std::array<char, 4096> piece;
  for (std::size_t size = 0; (size = std::fread(piece.data(), 1, piece.size(), pipe)) > 0;)
    run.output.append(piece.data(), size);
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

ProgramRun verify(const std::string& arguments) { return run(SIMINFO_PROGRAM " verify " + arguments); }

void replaceIn(std::string& text, std::size_t from, const std::string& what, const std::string& by) {
  const std::size_t at = text.find(what, from);
  ASSERT_NE(at, std::string::npos) << what;
  text.replace(at, what.size(), by);
}

/// Replaces what stands first in a frame of sw1-reduction.
void editFrame(std::string& text, const std::string& method, const std::string& what, const std::string& by) {
  const std::size_t section = text.find("// Name: 'sw1-reduction'");
  replaceIn(text, text.find("::" + method + "() {", section), what, by);
}

TEST(Verify, ProvesTheSmallFabric) {
  const ProgramRun exact = verify(kSmallFabric);
  EXPECT_EQ(exact.status, 0) << exact.output;
  EXPECT_TRUE(
      exact.says("132 frames: 46 proven, 64 not carried, 20 refused by #error, 2 cannot compile as the "
                 "format stands, 0 differ, 0 fail to compile"))
      << exact.output;
  EXPECT_TRUE(exact.says("(not collected: status 0x001c)"));

  const ProgramRun buildable = verify(kSmallFabric + " --buildable --jobs 1 --name Other");
  EXPECT_EQ(buildable.status, 0) << buildable.output;
  EXPECT_TRUE(
      buildable.says("132 frames: 48 proven, 64 not carried, 20 refused by #error, 0 cannot compile as "
                     "the format stands, 0 differ, 0 fail to compile"))
      << buildable.output;
}

class EditedDump : public testing::Test {
 protected:
  void SetUp() override {
    const ProgramRun made =
        run(SIMINFO_PROGRAM " generate --buildable --name Fab1 --guid 0x2c90000000041 --output-dir " +
            directory.path().string() + " " + kSmallFabric);
    ASSERT_EQ(made.status, 0) << made.output;
    text = readFile(file);
  }
  ProgramRun verifyEdited() const {
    std::ofstream(file) << text;
    return verify(kSmallFabric + " --name Fab1 --use " + directory.path().string());
  }

  ScratchDirectory directory;
  std::filesystem::path file = directory.path() / "fab1_generated.cpp";
  std::string text;
};

TEST_F(EditedDump, IsProvenAsLongAsNothingIsEdited) {
  const ProgramRun found = verifyEdited();
  EXPECT_EQ(found.status, 0);
  EXPECT_TRUE(found.says("1 node, 22 frames: 21 proven, 1 not carried")) << found.output;
}

TEST_F(EditedDump, NamesEveryKindOfDifference) {
  editFrame(text, "setNodeInfo", "VendorID = 0x2c9", "VendorID = 0x2c8");
  editFrame(text, "setPortInfo", "(i == 4)", "(i == 3)");
  editFrame(text, "setSMPCapability", "    mad_buffer.capability1", "    // ");  // commented out
  editFrame(text, "setGMPCapability", "_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->capMaskGMP",
            "_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->capMaskSMP");
  editFrame(text, "setPortInfoExtended", "i = 0", "i = 1");
  editFrame(text, "setExtendedPortInfo", "default:", "default: mad_buffer.RetransMode = 1; break; case 77:");
  editFrame(text, "setArInfo", "    adaptive_routing_info mad",
            "#error \"no\"\n    adaptive_routing_info mad");
  editFrame(text, "setSwitchInfo", "    SMP_SwitchInfo mad",
            "// none\n}\nvoid unused() {\nSMP_SwitchInfo mad");
  editFrame(text, "setRouterInfo", "// The", "    m_node->routerInfo.bytes[63] = 7; // The");
  editFrame(text, "setZYRReductionCounters", "setZyrReductionCounters(4, 3,",
            "setZyrReductionCounters(4, 2,");
  editFrame(text, "setZYRReductionPortInfo", "i < m_node->numPorts", "i <= m_node->numPorts");
  editFrame(text, "setZYRReductionInfo", "mad_buffer.hbf",
            "*static_cast<volatile int*>(nullptr) = 0; mad_buffer.hbf");
  const ProgramRun found = verifyEdited();
  EXPECT_EQ(found.status, 1);
  for (const char* line : {
           "sw1-reduction: setNodeInfo: VendorID: expected 0x2c9, found 0x2c8",
           "setPortInfo: port 3: CapMsk:",
           "setPortInfo: port 4: CapMsk:",
           "setSMPCapability: capability1: expected 0xffffffff",
           "setGMPCapability: capMaskSMP: the whole image: expected unchanged, found changed",
           "setPortInfoExtended: port 0: CapMsk: expected 0x2, found 0x",
           "setExtendedPortInfo: port 0: LinkSpeedSupported:",
           "setArInfo: the whole frame: expected the discovered values, found \"no\"",
           "setSwitchInfo: the whole frame: expected the discovered values, found none",
           "setRouterInfo: the whole frame: expected a comment that says why there are none, found a block",
           "setZYRReductionCounters: port 4, counter set 3:",
           "setZYRReductionCounters: counterSets[4, 2, 15]: the whole image",
           "setZYRReductionPortInfo: zyrReductionPortInfo[7]: the whole image: expected unchanged",
           "setZYRReductionInfo: the whole frame: expected a function that returns",
       })
    EXPECT_TRUE(found.says(line)) << line << "\n" << found.output;
}

TEST_F(EditedDump, GoesOnWithoutTheFramesThatDoNotCompile) {
  editFrame(text, "setHWInfo", "mad_buffer.pvs", "mad_buffer.nothing");
  editFrame(text, "setSWInfo", "mad_buffer.Major = 0x5;", "mad_buffer.Major = 0x5");
  replaceIn(text, 0, "::setExtendedNodeInfo", "::setExtendedNodeInfos");
  const ProgramRun found = verifyEdited();
  EXPECT_EQ(found.status, 1);
  EXPECT_TRUE(found.says("1 node, 22 frames: 18 proven, 1 not carried")) << found.output;
  EXPECT_TRUE(found.says("1 differ, 2 fail to compile")) << found.output;
  EXPECT_TRUE(
      found.says("setExtendedNodeInfo: the whole frame: expected the discovered values, found no such"));
  EXPECT_TRUE(found.says("setHWInfo: line ")) << found.output;
}

/// A switch with ports 0 to 3, as a line of a snapshot.
std::string switchLine(int guid, int device, int downPort, int specialPort) {
  std::ostringstream line;
  line << R"({"name":"n)" << guid << R"(","guid":)" << guid
       << R"(,"type":"switch","num_ports":3,"records":{"SMP_NodeInfo":{"BaseVersion":1,"ClassVersion":1,)"
       << R"("PartitionCap":1,"DeviceID":)" << device << R"(,"revision":1,"VendorID":1}},"ports":[)";
  for (int num = 0; num < 4; ++num)
    line << (num > 0 ? "," : "") << R"({"num":)" << num << (num == downPort ? R"(,"state":"down")" : "")
         << (num == specialPort ? R"(,"kinds":["fnm"])" : "") << R"(,"records":{"SMP_PortInfo":{"CapMsk":)"
         << num
         << R"(,"CapMsk2":0,"LinkWidthSup":1,"LinkSpeedExtSup2":1,"LinkSpeedExtSup":1,"LinkSpeedSup":1,)"
         << R"("MTUCap":1}}})";
  line << "]}\n";
  return line.str();
}

TEST(Verify, TakesOneNodeOfEachShape) {
  const ScratchDirectory directory;
  const std::string file = (directory.path() / "fabric.jsonl").string();
  // The second node differs in values alone, the third in a port that shares another one's record anyway.
  std::ofstream(file) << "{\"fabric_snapshot\":1}\n"
                      << switchLine(1, 5, -1, 3) << switchLine(2, 6, -1, 3) << switchLine(3, 5, 2, 3)
                      << switchLine(4, 5, -1, 2);
  EXPECT_TRUE(verify(file).says("2 nodes that stand for 4, 44 frames: 4 proven"));
  EXPECT_TRUE(verify(file + " --all").says("4 nodes, 88 frames: 8 proven"));
  EXPECT_TRUE(verify(file + " --guid 2").says("1 node, 22 frames: 2 proven"));
  EXPECT_EQ(verify(file + " --guid 5").status, 3);
  // Two nodes of one GUID are told apart by their names.
  std::ofstream(file, std::ios_base::app) << R"({"name":"m","guid":1,"type":"ca","num_ports":0})";
  const ProgramRun both = verify(file + " --guid 1");
  EXPECT_EQ(both.status, 0);
  EXPECT_TRUE(both.says("2 nodes, 44 frames: 2 proven")) << both.output;
}

TEST(Verify, RefusesWhatItCannotDo) {
  EXPECT_EQ(verify(kSmallFabric + " --name SW").status, 2);
  EXPECT_EQ(verify(kSmallFabric + " --compiler /nonexistent/c++").status, 3);
  EXPECT_EQ(verify(kSmallFabric + " --use /nonexistent").status, 3);
}

/// The generated file stands two folders below the simulator, as it was written, and no compiler finds
/// anything to say.
TEST(Simulator, CompilesTheGeneratedFileWithoutWarnings) {
  const ScratchDirectory directory;
  const std::string root = directory.path().string();
  ASSERT_EQ(verify(kSmallFabric + " --buildable --name Fab1 --guid 0x2c90000000041 --keep " + root).status,
            0);
  for (const std::string compiler : {"g++", "clang++"}) {
    if (run(compiler + " --version").status != 0) GTEST_SKIP() << compiler << " is missing";
    for (const std::string standard : {"17", "20"}) {
      std::ostringstream command;
      command << compiler << " -std=c++" << standard
              << " -Wall -Wextra -Wpedantic -Wconversion -Werror -c -I " << root << " " << root
              << "/dumps/fab1/fab1_generated.cpp -o " << root << "/node.o";
      const ProgramRun compiled = run(command.str());
      EXPECT_EQ(compiled.status, 0) << compiled.output;
    }
  }
}

TEST(Simulator, NumbersOfARecordDoNotOverlap) {
  for (const RecordLayout& layout : recordLayouts()) {
    std::vector<bool> isTaken(8 * layout.bytes);
    for (const NumberLayout& number : layout.numbers) {
      ASSERT_LE(number.bit + number.bits, isTaken.size()) << layout.type << "." << number.path;
      for (std::size_t bit = number.bit; bit < number.bit + number.bits; ++bit) {
        EXPECT_FALSE(isTaken[bit]) << layout.type << "." << number.path;
        isTaken[bit] = true;
      }
    }
  }
}

/// The buildable form keeps every line of the exact one but those that it is there to change.
TEST(Buildable, ChangesTheKnownLinesOnly) {
  const ScratchDirectory directory;
  const std::string arguments =
      " generate " + kSmallFabric + " --name Fab1 --output-dir " + directory.path().string();
  ASSERT_EQ(run(SIMINFO_PROGRAM + arguments).status, 0);
  std::istringstream exact(readFile(directory.path() / "fab1_generated.cpp"));
  ASSERT_EQ(run(SIMINFO_PROGRAM + arguments + " --buildable --simulator-header").status, 0);
  std::istringstream buildable(readFile(directory.path() / "fab1_generated.cpp"));
  EXPECT_TRUE(std::filesystem::exists(directory.path() / "fab1.h"));

  std::vector<std::string> changed;
  std::vector<std::string> added;
  std::string theirs;
  std::getline(buildable, theirs);
  const std::string all = buildable.str();
  for (std::string line; std::getline(exact, line);) {
    if (line.find("mad_buffer.RedirectGID") != std::string::npos) {
      for (int i = 0; i < 16; ++i) std::getline(buildable, theirs);
      continue;
    }
    while (theirs == "        }" && line != theirs) {
      added.push_back(theirs);
      std::getline(buildable, theirs);
    }
    if (line.starts_with("        SMP_KrelExtPortInfo_pack") && line != theirs) {
      changed.push_back("pack");
      continue;
    }
    if (theirs == line + " {") {
      changed.push_back(line);
    } else {
      ASSERT_EQ(theirs, line);
    }
    std::getline(buildable, theirs);
  }
  EXPECT_EQ(changed,
            (std::vector<std::string>{"        case 4:", "        case 6:", "        default:", "pack"}));
  EXPECT_EQ(added.size(), 3U);  // each branch's closing brace
}

}  // namespace
}  // namespace siminfo
