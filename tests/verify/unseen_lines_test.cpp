// Faults of a dump that no restored field shows.

#include "tests/program.h"
#include "tests/support.h"

namespace siminfo {
namespace {

/// The buildable dump of the small fabric, one node of each class, to be spoilt and verified.
class SpoiltDump : public testing::Test {
 protected:
  void SetUp() override {
    const ProgramRun made = run(kSiminfo + " generate --buildable --one-per-class --name Fab1 --output-dir " +
                                directory.path().string() + " " + kSmallFabric);
    ASSERT_EQ(made.status, 0) << made.output;
    text = readFile(file);
  }
  ProgramRun verify() const {
    std::ofstream(file) << text;
    return run(kSiminfo + " verify " + kSmallFabric + " --name Fab1 --use " + directory.path().string());
  }

  ScratchDirectory directory;
  std::filesystem::path file = directory.path() / "fab1_generated.cpp";
  std::string text;
};

/// Port 5 has counters in the snapshot and must not have them in the dump, for want of a monitor.
TEST_F(SpoiltDump, ShowsPushCountersOfAPortThatMustHaveNone) {
  const std::size_t at = text.find("        default: {");  // no other frame has braces there
  ASSERT_NE(at, std::string::npos);
  text.insert(at, R"(        case 5: {
            const ZYRPushReductionCounters_view_t *p_ctr = m_node->getZyrPushReductionCounters(5, 1);
            if (p_ctr) {
                ZYRPushReductionCounters_view_t wrapper = *p_ctr;
                wrapper.set_dup_error(0x7);
                m_node->setZyrReductionCounters(5, 1, &wrapper);
            }
            break;
        }
)");
  const ProgramRun found = verify();
  EXPECT_EQ(found.status, 1);
  EXPECT_TRUE(
      found.says("setZYRPushReductionCounters: pushCounters[5, 1]: the whole image: expected unchanged"))
      << found.output;
}

/// What a frame does not unpack, it packs zeros over.
TEST_F(SpoiltDump, ShowsEveryFrameWithoutItsUnpackLine) {
  std::istringstream lines(std::exchange(text, {}));
  std::string node;
  std::string frame;
  std::set<std::string> spoilt;
  for (std::string line; std::getline(lines, line);) {
    const std::string_view kName = "// Name: '";
    if (line.starts_with(kName)) node = line.substr(kName.size(), line.find("',") - kName.size());
    if (line.starts_with("void "))
      frame = line.substr(line.rfind("::") + 2, line.find('(') - line.rfind("::") - 2);
    if (line.find("_unpack(") != std::string::npos)
      spoilt.insert(std::string("  ").append(node).append(": ").append(frame).append(": "));
    else
      text += line + "\n";
  }
  std::set<std::string> shown;
  std::istringstream report(verify().output);
  for (std::string line; std::getline(report, line);) {
    if (line.find(", outside the fields: expected unchanged") == std::string::npos) continue;
    for (const std::string& place : spoilt) {
      if (line.starts_with(place)) shown.insert(place);
    }
  }
  EXPECT_FALSE(spoilt.empty());
  EXPECT_EQ(shown, spoilt);
}

}  // namespace
}  // namespace siminfo
