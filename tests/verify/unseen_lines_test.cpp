// Faults of a dump that no restored field shows.

#include <cstdlib>

#include "tests/support.h"

namespace siminfo {
namespace {

const std::string kSmallFabric = SIMINFO_SOURCE_DIR "/examples/small_fabric.json";

/// The buildable dump of the small fabric, one node of each class, to be spoilt and verified.
class SpoiltDump : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(
        run("generate --buildable --one-per-class --name Fab1 --output-dir " + folder() + " " + kSmallFabric),
        0);
    text = readFile(directory.path() / "fab1_generated.cpp");
  }
  /// What siminfo verify says of the text as it is now.
  std::string report() {
    std::ofstream(directory.path() / "fab1_generated.cpp") << text;
    EXPECT_EQ(run("verify " + kSmallFabric + " --name Fab1 --use " + folder()), 1);
    return readFile(directory.path() / "out.txt");
  }
  std::string folder() const { return directory.path().string(); }
  int run(const std::string& arguments) const {
    return WEXITSTATUS(
        std::system((SIMINFO_PROGRAM " " + arguments + " > " + folder() + "/out.txt 2> /dev/null").c_str()));
  }

  ScratchDirectory directory;
  std::string text;
};

/// Port 5 has counters in the snapshot and must not have them in the dump, for want of a monitor.
TEST_F(SpoiltDump, ShowsPushCountersOfAPortThatMustHaveNone) {
  const std::size_t at = text.find("        default: {");  // no other frame has braces there
  ASSERT_NE(at, std::string::npos);
  text.insert(at,
              "        case 5: {\n"
              "            const ZYRPushReductionCounters_view_t *p_ctr = "
              "m_node->getZyrPushReductionCounters(5, 1);\n"
              "            if (p_ctr) {\n"
              "                ZYRPushReductionCounters_view_t wrapper = *p_ctr;\n"
              "                wrapper.set_dup_error(0x7);\n"
              "                m_node->setZyrReductionCounters(5, 1, &wrapper);\n"
              "            }\n"
              "            break;\n"
              "        }\n");
  EXPECT_NE(
      report().find("setZYRPushReductionCounters: pushCounters[5, 1]: the whole image: expected unchanged"),
      std::string::npos);
}

/// What a frame does not unpack, it packs zeros over.
TEST_F(SpoiltDump, ShowsEveryFrameWithoutItsUnpackLine) {
  std::istringstream lines(text);
  text.clear();
  std::string node;
  std::string frame;
  std::vector<std::string> spoilt;
  for (std::string line; std::getline(lines, line);) {
    const std::string_view kName = "// Name: '";
    if (line.starts_with(kName)) node = line.substr(kName.size(), line.find("',") - kName.size());
    if (line.starts_with("void "))
      frame = line.substr(line.rfind("::") + 2, line.find('(') - line.rfind("::") - 2);
    if (line.find("_unpack(") == std::string::npos)
      text += line + "\n";
    else if (const std::string place = node + ": " + frame + ": "; spoilt.empty() || spoilt.back() != place)
      spoilt.push_back(place);
  }
  const std::string found = report();
  EXPECT_GT(spoilt.size(), SimInfoDumpCPP::Frames().size());
  for (const std::string& place : spoilt) EXPECT_NE(found.find("  " + place), std::string::npos) << place;
}

}  // namespace
}  // namespace siminfo
