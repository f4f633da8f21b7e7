#include <regex>

#include "tests/support.h"

namespace siminfo {
namespace {

class Driver : public GeneratorTest {};

TEST_F(Driver, KnowsTheYearEvenWithoutAClock) {
  std::tm now{};
  now.tm_year = 131;
  EXPECT_EQ(CopyrightYear(&now), 2031);
  EXPECT_EQ(CopyrightYear(nullptr), 2025);
}

TEST_F(Driver, SelectsNodesInNameOrder) {
  for (const char* name : {"b", "a", "c", "B"})
    addNode(name, kSwitch).guid = 2U + static_cast<unsigned>(discovered.fabric.nodeByName.size());
  discovered.fabric.nodeByName["c"]->inSubFabric = false;
  discovered.fabric.nodeByName["null"] = nullptr;
  const auto names = [this](const std::set<std::uint64_t>& guids) {
    EXPECT_EQ(generator.Generate("F", guids), 0);
    EXPECT_EQ(engine.files().failure(), "");
    const std::string text = readFile(engine.files().path());
    std::string found;
    const std::regex banner("// Name: '(\\w+)'");
    for (std::sregex_iterator at(text.begin(), text.end(), banner), end; at != end; ++at)
      found += (*at)[1].str();
    return found;
  };
  EXPECT_EQ(names({}), "Bab");
  EXPECT_EQ(names({2, 5, 99}), "Bb");
  EXPECT_EQ(names({4}), "");
}

TEST_F(Driver, CountsWhatCameOfTheFrames) {
  IBNode& node = addNode("sw1", kSwitch);
  give<SMP_NodeInfo>(node);
  give<SMP_SwitchInfo>(node);
  support(node, {});
  GenerationSummary summary;
  generator.Generate("F", {}, summary);
  EXPECT_EQ(summary.nodes, 1U);
  EXPECT_EQ(summary.frames(), SimInfoDumpCPP::Frames().size());
  EXPECT_EQ(summary.blocks, 3U);  // NodeInfo, SwitchInfo, SMP capabilities
  // PortInfo, GMP capabilities, AR, private LFT, both of congestion control
  EXPECT_EQ(summary.missingFrames(), 6U);
}

TEST_F(Driver, ReturnsTheStatusOfAFailedOpenAndDoesNothingElse) {
  class ClosedEngine final : public Drovik {
   public:
    const IBFabric& fabric() const override { throw std::logic_error("read after a failed open"); }
    const KvormExtendedInfo& extendedInfo() const override { throw std::logic_error("read"); }
    CapabilityModule& capabilityModule() const override { throw std::logic_error("read"); }
    int OpenFile(const std::string& description, const OutputControl::Identity& identity, std::ofstream&,
                 bool flag, const char* text) override {
      EXPECT_EQ(description, "Simulator generated code");
      EXPECT_EQ(identity.fileName(), "fab1_generated.cpp");
      EXPECT_EQ(identity.flags(), 4U);
      EXPECT_FALSE(flag);
      EXPECT_EQ(text, nullptr);
      return 17;
    }
    int CloseFile(std::ofstream&, const char*) override { throw std::logic_error("closed"); }
  };
  ClosedEngine closed;
  EXPECT_EQ(SimInfoDumpCPP(closed).Generate("FAB1", {}), 17);
}

}  // namespace
}  // namespace siminfo
