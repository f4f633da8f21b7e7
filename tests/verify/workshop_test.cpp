// Programs of many models, of which some do not compile: only what is at fault is left out, and named.

#include "siminfo/verify/workshop.h"

#include "siminfo/models/project.h"
#include "siminfo/snapshot/reader.h"
#include "siminfo/verify/section_verdict.h"
#include "siminfo/verify/work_folder.h"
#include "tests/support.h"

namespace siminfo {
namespace {

/// The models of the small fabric in one source, which is edited.
class SpoiltModels : public testing::Test {
 protected:
  void SetUp() override {
    InMemoryDrovik engine(snapshot.discovered, folder.path());
    const ModelWriter writer(engine, false);
    set = writer.findModels(everyNode(snapshot));
    writeProject(writer, set, "Fab1", 1, folder.path());
    text = readFile(file);
  }

  /// Puts words in front of the first line of a frame of the node's model.
  void spoil(const std::string& node, const std::string& method, const std::string& words) {
    const auto& member = *std::ranges::find(set.nodes, node, [](const auto& of) { return of.node->name; });
    const std::string head = set.models[member.model].name + "::" + method + "() {\n";
    const std::size_t at = text.find(head);
    ASSERT_NE(at, std::string::npos);
    text.insert(at + head.size(), words);
  }

  /// "host-1 HCA-1: setNodeInfo: words", for each frame that is left out; and that all others have run.
  std::vector<std::string> leftOut() {
    std::ofstream(file) << text;
    const DumpText dump(text);
    ExpectedFile expected{"model", "Fab1", {}, {}, {}};
    for (const Model& model : set.models) expected.sections.push_back(modelSection(model));
    const FileCheck check = checkFile(dump, expected);
    Unit unit{
        "1", "dumps/fab1/fab1_models_0.cpp", {}, "#define SIMINFO_SHARD 0\n#include \"fab1_models_0.cpp\"\n"};
    for (const FoundSection& found : check.sections) {
      const Model& model = set.models[found.place];
      const Expectation expectation({snapshot, *model.first, model.name});
      unit.devices.push_back(
          {model.name, model.ports, expectation.pushKeys(),
           judgeSection(found, expectation, Missing::kComment, FrameForm::kBuildable).toRun});
    }
    const Workshop workshop({folder.path(), "Fab1"}, folder.path(),
                            {"c++", std::chrono::seconds(300), std::size_t{1} << 32U, [] { return false; }});
    const UnitResult result = workshop.process(unit);
    std::vector<std::string> words;
    if (!result.fileFault.empty()) words.push_back(result.fileFault);
    for (std::size_t i = 0; i < unit.devices.size(); ++i) {
      const DeviceRuns& runs = result.devices[i];
      for (const auto& [method, why] : runs.broken)
        words.push_back(set.models[i].first->name + ": " + std::string(method) + ": " + why);
      EXPECT_EQ(runs.frames.size() + runs.broken.size(), unit.devices[i].frames.size());
      for (const auto& [method, both] : runs.frames) EXPECT_TRUE(both.size() == 2 && both[1].ended) << method;
    }
    return words;
  }

  Snapshot snapshot = readSnapshotFile(SIMINFO_SOURCE_DIR "/examples/small_fabric.json");
  WorkFolder folder{""};
  ModelSet set;
  std::filesystem::path file = folder.path() / "dumps/fab1/fab1_models_0.cpp";
  std::string text;
};

TEST_F(SpoiltModels, NamesFramesThatDoNotCompile) {
  EXPECT_EQ(leftOut(), std::vector<std::string>{});
  spoil("sw1-reduction", "setPortInfo", "    no such thing;\n");
  spoil("an-1", "setNodeInfo", "    int x = \"text\";\n");
  const std::vector<std::string> found = leftOut();
  ASSERT_EQ(found.size(), 2U) << testing::PrintToString(found);
  EXPECT_TRUE(found[0].starts_with("an-1: setNodeInfo: line ")) << found[0];
  EXPECT_TRUE(found[1].starts_with("sw1-reduction: setPortInfo: line ")) << found[1];
}

/// Linkers name no lines.
TEST_F(SpoiltModels, NamesAFrameThatDoesNotLink) {
  spoil("host-1 HCA-1", "setFWInfo", "    extern int nowhere; nowhere = 1;\n");
  const std::vector<std::string> found = leftOut();
  ASSERT_EQ(found.size(), 1U) << testing::PrintToString(found);
  EXPECT_TRUE(found[0].starts_with("host-1 HCA-1: setFWInfo: ")) << found[0];
}

/// Each frame is right by itself, and what is wrong stands between them.
TEST_F(SpoiltModels, CompilesTheFileAsItIs) {
  text += "int main() {}\n";
  const std::vector<std::string> found = leftOut();
  ASSERT_EQ(found.size(), 1U) << testing::PrintToString(found);
  EXPECT_NE(found[0].find("main"), std::string::npos) << found[0];
}

}  // namespace
}  // namespace siminfo
