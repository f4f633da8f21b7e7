// siminfo verify as a whole: generated functions are compiled and run.

#include "siminfo/simulator/headers.h"
#include "siminfo/simulator/record_layout.h"
#include "siminfo/verify/report.h"
#include "siminfo/verify/rules.h"
#include "siminfo/verify/verifier.h"
#include "tests/drawn_node.h"
#include "tests/program.h"
#include "tests/support.h"

namespace siminfo {
namespace {

std::string framesOf(std::size_t nodes) { return std::to_string(nodes * rules().size()); }

ProgramRun verify(const std::string& arguments) { return run(kSiminfo + " verify " + arguments); }

TEST(Verify, ProvesTheSmallFabric) {
  const ProgramRun exact = verify(kSmallFabric + " --name Other");
  EXPECT_EQ(exact.status, 0) << exact.output;
  EXPECT_TRUE(
      exact.says("6 nodes of 6 devices, " + framesOf(6) + " frames: ") &&
      exact.says(
          "20 refused by #error, 2 cannot compile as the format stands, 0 differ, 0 fail to compile\n"
          "the text outside the frames: 0 differences\nthe file of the nodes: not compiled as a whole: it "
          "has #error lines"))
      << exact.output;
  EXPECT_TRUE(exact.says("(not collected: status 0x001c)"));
  const ProgramRun ports = verify(kSmallFabric + " --all --exact-ports");
  EXPECT_EQ(ports.status, 0) << ports.output;
  EXPECT_TRUE(ports.says("frames: 48 proven, 84 not carried, 0 refused")) << ports.output;
}

/// Nodes of every kind, whose ports and records are there or not as they come, answer as they were made.
TEST(Verify, ProvesDrawnNodes) {
  Snapshot snapshot;
  for (unsigned seed = 0; seed < 60; ++seed) DrawnNode(snapshot.discovered, "n" + std::to_string(seed), seed);
  const std::vector<const IBNode*> nodes = everyNode(snapshot);
  for (const bool exactPorts : {false, true}) {
    VerifyRequest request;
    request.name = "Drawn";
    request.exactPorts = exactPorts;
    request.compiler = "c++";
    const Verification found =
        verify(snapshot, nodes, request, {[] { return false; }, [](std::size_t, std::size_t) {}});
    EXPECT_TRUE(isProven(found)) << reportText(found);
    EXPECT_EQ(countOutcomes(found)[0] + countOutcomes(found)[3] > 400, true) << summaryText(found);
  }
}

/// A file that was generated, for edits that only a run shows.
class EditedDump : public testing::Test {
 protected:
  void generate(const std::string& options) {
    const ProgramRun made =
        run(kSiminfo + " generate --name Fab1 --output-dir " + folder() + " " + options + " " + kSmallFabric);
    ASSERT_EQ(made.status, 0) << made.output;
    text = readFile(file);
  }
  ProgramRun verifyEdited(const std::string& options) const {
    std::ofstream(file) << text;
    return verify(kSmallFabric + " --name Fab1 --use " + folder() + " " + options);
  }
  /// Replaces what stands first in a frame of the node.
  void edit(const std::string& node, const std::string& method, const std::string& what,
            const std::string& by) {
    const std::size_t frame = text.find("::" + method + "() {", text.find("// Name: '" + node + "'"));
    const std::size_t at = text.find(what, frame);
    ASSERT_NE(at, std::string::npos) << what;
    text.replace(at, what.size(), by);
  }
  std::string folder() const { return directory.path().string(); }

  ScratchDirectory directory;
  std::filesystem::path file = directory.path() / "fab1_generated.cpp";
  std::string text;
};

struct ValueCase {
  const char* method;
  const char* what;
  const char* by;
  const char* words;  ///< of the one line that the report has about it
};

// clang-format off
const ValueCase kValueCases[] = {
    {"setNodeInfo", "VendorID = 0x2c9", "VendorID = 0x2c8", "VendorID: expected 0x2c9, found 0x2c8"},
    {"setPortInfo", "0x24048", "0x24049", "port 1, port 2, port 3: CapMsk: expected 0x24048, found 0x24049"},
    {"setGMPCapability", "capability2 = 0x0", "capability2 = 0x1", "capability2: expected 0x0, found 0x1"},
    {"setSMPCapability", "    mad_buffer.capability1", "    // ", "capability1: expected 0xffffffff, found what was there before"},
    {"setFWInfo", "_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->fwInfo));", " copy = mad_buffer;",
     "every field: expected the discovered values, found what was there before"},
    {"setSWInfo", "mad_buffer.Major = 0x5;", "mad_buffer.Major = 0x5", "line "},
    {"setPortInfoExtended", "i = 0", "i = 1", "port 0: every field: expected the discovered values, found what was there"},
    {"setExtendedPortInfo", "SpecialPortType = 0x0", "SpecialPortType = 0x7", "port 0, port 1, port 2, port 3: SpecialPortType: expected 0x0, found 0x7"},
    {"setArInfo", "group_cap = 0x1000", "group_cap = 0x100", "group_cap: expected 0x1000, found 0x100"},
    {"setPrivateLftInfo", "[2].LFTableSize", "[3].LFTableSize", "Description_Mode[2].LFTableSize: expected 0x2e, found what was there"},
    {"setVSReductionManagerClassPortInfo", "RedirectTC = 0x43", "RedirectTC = 0x44", "RedirectTC: expected 0x43, found 0x44"},
    {"setZYRReductionPortInfo", "i < m_node->numPorts", "i <= m_node->numPorts",
     "zyrReductionPortInfo[7]: the whole image: expected unchanged, found changed"},
    {"setZYRReductionInfo", "mad_buffer.hbf", "*static_cast<volatile int*>(nullptr) = 0; mad_buffer.hbf",
     "the whole frame: expected a function that returns, found a program that ended in it"},
    {"setZYRReductionCounters", "dropped_pkt = 0xa", "dropped_pkt = 0xb", "port 4, counter set 0: dropped_pkt: expected 0xab861db3a5, found 0xbb861db3a5"},
    {"setZYRPushReductionCounters", "set_mlid_error(0x2", "set_mlid_error(0x3", "push counters of headers 4, 1: mlid_error: expected 0x2589d2927"},
};
// clang-format on

/// The frames in their exact form: two of them do not compile as the format stands, and what else they say is
/// judged all the same. The folder's name is no trouble to those who read what a compiler says of files in
/// it.
TEST_F(EditedDump, ShowsEachValueThatDiffersOnce) {
  generate("--guid 0x2c90000000041");
  for (const ValueCase& of : kValueCases) edit("sw1-reduction", of.method, of.what, of.by);
  for (const std::string compiler : {"g++", "clang++"}) {
    if (run(compiler + " --version").status != 0) continue;
    const ProgramRun found = verifyEdited("--guid 0x2c90000000041 --compiler " + compiler + " --keep '" +
                                          folder() + "/a \"quoted\" back\\slash: error: 1:2: '");
    EXPECT_EQ(found.status, 1);
    EXPECT_TRUE(found.says("1 node of 1 device, " + framesOf(1) + " frames: ") &&
                found.says("14 differ, 1 fail to compile\nthe text outside the frames: 0 differences"))
        << found.output;
    for (const ValueCase& of : kValueCases) {
      const std::string frame = std::string(of.method) + ": ";
      const std::size_t at = found.output.find(frame + of.words);
      EXPECT_NE(at, std::string::npos) << frame << of.words << "\n" << found.output;
      EXPECT_EQ(found.output.find(frame, found.output.find(frame) + 1), std::string::npos) << frame << "\n"
                                                                                           << found.output;
    }
  }
}

/// Each node compiles by itself, and the file does not. Only where it might is it asked about.
TEST_F(EditedDump, IsCompiledAsAWhole) {
  const std::string nodes = " --guid 0x2c90000000041 --guid 2c90000000071";
  generate("--buildable" + nodes);
  const ProgramRun right = verifyEdited(nodes);
  EXPECT_EQ(right.status, 0);
  EXPECT_TRUE(
      right.says("2 nodes of 2 devices, " + framesOf(2) + " frames: ") &&
      right.says("0 refused by #error, 0 cannot compile as the format stands, 0 differ, 0 fail to compile\n"
                 "the text outside the frames: 0 differences\nthe file of the nodes: compiles as a whole"))
      << right.output;
  edit("an-1", "setNodeInfo", " = {0};", " = {0}; extern int shared;");
  edit("sw1-reduction", "setNodeInfo", " = {0};", " = {0}; extern char shared;");
  const ProgramRun wrong = verifyEdited(nodes);
  EXPECT_EQ(wrong.status, 1);
  EXPECT_TRUE(wrong.says("the files: the file as a whole: expected one that compiles, found line "))
      << wrong.output;
  EXPECT_TRUE(wrong.says(
      "the text outside the frames: 1 difference\nthe file of the nodes: does not compile as a whole"))
      << wrong.output;
}

TEST(Verify, RefusesWhatItCannotDo) {
  EXPECT_EQ(verify(kSmallFabric + " --name SW").status, 2);
  EXPECT_EQ(verify(kSmallFabric + " --compiler /nonexistent/c++").status, 3);
  EXPECT_EQ(verify(kSmallFabric + " --guid 5").status, 3);
  EXPECT_EQ(verify(kSmallFabric + " --exact-ports --buildable").status, 2);
  EXPECT_EQ(verify(kSmallFabric + " --use /nonexistent").status, 3);
}

/// The generated file stands two folders below the simulator, as it was written, and no compiler finds
/// anything to say.
TEST(Simulator, CompilesTheGeneratedFileWithoutWarnings) {
  const ScratchDirectory directory;
  const std::string root = directory.path().string();
  writeSimulator(root);
  ASSERT_EQ(run(kSiminfo +
                " generate --buildable --simulator-header --name Fab1 --guid 0x2c90000000041 --output-dir " +
                root + "/dumps/fab1 " + kSmallFabric)
                .status,
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

}  // namespace
}  // namespace siminfo
