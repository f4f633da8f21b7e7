// What generators write that the golden file cannot show. Its text of blocks is that of the small example
// fabric.

#include <functional>

#include "tests/support.h"

namespace siminfo {
namespace {

class Blocks : public GeneratorTest {};

TEST_F(Blocks, OfTheClassPortInfoHoldAnAddressForTheGID) {
  IBNode& node = addNode("sw", kSwitch);
  support(node, {55});
  give<IB_ClassPortInfo>(node);
  std::ostringstream line;
  line << "\n    mad_buffer.RedirectGID = 0x"
       << static_cast<const void*>(
              discovered.records.getZYRClassPortInfo(node.recordIndex)->RedirectGID.data())
       << ";\n    mad_buffer.RedirectFL = 0x1;\n";
  const std::string text = frame("setVSReductionManagerClassPortInfo", node);
  EXPECT_NE(text.find(line.str()), std::string::npos) << text;
}

/// Bits without a name and above the table; but no simulated port is a subnet manager.
TEST_F(Blocks, OfMasksRestoreBitsThatTheyDoNotList) {
  IBNode& node = addNode("ca", kChannelAdapter, 1);
  discovered.capabilities.setAnswer(node.recordIndex, false, {0, {{0, 1U << 10 | 1U << 12, 0, 0x80000000}}});
  EXPECT_TRUE(frame("setSMPCapability", node)
                  .starts_with("    // ---------- SMP Caps ----------\n"
                               "    // IsDCQCNSupported\n"
                               "\n"));
  for (const char* line : {"capability1 = 0x1400;", "capability3 = 0x80000000;"})
    EXPECT_NE(frame("setSMPCapability", node).find(line), std::string::npos) << line;
  give(addPort(node, 1), SMP_PortInfo{.CapMsk = 0x80000003, .CapMsk2 = 0xe000});
  EXPECT_NE(frame("setPortInfo", node)
                .find("        // ---------- CapMask\n"
                      "        // IsHierarchyInfoSupported                       = 1\n"
                      "        mad_buffer.CapMsk = 0x80000001;\n"
                      "\n"
                      "        // ---------- CapMask2\n"
                      "        mad_buffer.CapMsk2 = 0xe000;\n"),
            std::string::npos);
}

/// The lines of one record, which callers may ask for by themselves; of none, when there is to be none.
struct RecordLines {
  std::string record;  ///< its type's name
  std::function<void(std::ostream& os, int indent, bool isNull)> write;
};

class RecordLevel : public GeneratorTest {
 protected:
  template <class Record>
  RecordLines linesOf(void (SimInfoDumpCPP::*generate)(std::ostream&, int, const Record*) const) const {
    return {std::string(kRecordName<Record>), [=, this](std::ostream& os, int indent, bool isNull) {
              const auto record = filled<Record>(7);
              (generator.*generate)(os, indent, isNull ? nullptr : &record);
            }};
  }
  std::vector<RecordLines> operations() const {
    return {linesOf<SMP_KrelExtPortInfo>(&SimInfoDumpCPP::GenerateExtendedPortInfo),
            linesOf<ZYRReductionPortInfo>(&SimInfoDumpCPP::GenerateZYRReductionPortInfo),
            linesOf<ZYRReductionCounters>(&SimInfoDumpCPP::GenerateZYRReductionCounters),
            linesOf<ZYRPushReductionCounters>(&SimInfoDumpCPP::GenerateZYRPushReductionCounters),
            {"SMP_PortInfo", [this](std::ostream& os, int indent, bool isNull) {
               const auto info = filled<SMP_PortInfo>(255);
               generator.GeneratePortInfoSW(os, isNull ? nullptr : &info, indent, true, true);
             }}};
  }
};

/// The text, which was indented by 12 at the least, with its outermost lines at `indent`.
std::string indentedBy(int indent, const std::string& text) {
  std::istringstream lines(text);
  std::string moved;
  std::string line;
  for (std::getline(lines, line); std::getline(lines, line);)
    moved +=
        "\n" + (line.empty() ? "" : std::string(static_cast<std::size_t>(indent), ' ') + line.substr(12));
  return moved;
}

TEST_F(RecordLevel, LinesStandAtAnyIndentation) {
  std::vector<RecordLines> all = operations();
  all.push_back({"counter sets", [this](std::ostream& os, int indent, bool) {
                   const auto counters = filled<ZYRReductionCounters>(7);
                   generator.GenerateZYRReductionCounters(os, indent, 3,
                                                          {{0, &counters}, {1, nullptr}, {7, &counters}});
                 }});
  for (const RecordLines& each : all) {
    std::ostringstream usual;
    each.write(usual, 12, false);
    EXPECT_EQ(indentedBy(12, usual.str()), usual.str()) << each.record;
    for (const int indent : {-3, 0, 5, 16, 17, 20, 61, 64, 65, 300}) {
      std::ostringstream os;
      each.write(os, indent, false);
      EXPECT_EQ(os.str(), indentedBy(std::max(indent, 0), usual.str())) << each.record << " at " << indent;
    }
  }
}

TEST_F(RecordLevel, LinesOfNoRecordStopTheBuild) {
  for (const RecordLines& each : operations()) {
    std::ostringstream os;
    each.write(os, 20, true);
    EXPECT_EQ(os.str(), "\n#error \"Failed to dump " + each.record + " MAD. Null pointer is provided.\"");
  }
}

}  // namespace
}  // namespace siminfo
