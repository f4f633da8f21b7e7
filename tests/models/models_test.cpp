#include <algorithm>
#include <map>

#include "siminfo/core/section_stream.h"
#include "siminfo/models/model_files.h"
#include "siminfo/models/project.h"
#include "tests/drawn_node.h"
#include "tests/support.h"

namespace siminfo {
namespace {

class ModelsTest : public GeneratorTest {
 protected:
  std::vector<const IBNode*> nodes() const {
    std::vector<const IBNode*> all;
    for (const auto& [name, node] : discovered.fabric.nodeByName) all.push_back(node);
    return all;
  }
  ModelSet models(bool exactPorts = false, const ModelHash& hash = modelHash) {
    return ModelWriter(engine, exactPorts, hash).findModels(nodes());
  }
  std::string modelText(const Model& model, bool exactPorts = false) {
    SectionStream os;
    ModelWriter(engine, exactPorts).printModel(os, "D", model);
    return std::string(os.text());
  }
  /// A switch with NodeInfo, a management port and `ports` ordinary ones with PortInfo of these MTUs.
  IBNode& addSwitch(const std::string& name, std::initializer_list<std::uint8_t> mtus) {
    IBNode& node = addNode(name, kSwitch, static_cast<std::uint8_t>(mtus.size()));
    give<SMP_NodeInfo>(node);
    give<SMP_PortInfo>(addPort(node, 0));
    std::uint8_t num = 0;
    for (const std::uint8_t mtu : mtus) {
      SMP_PortInfo info{};
      info.MTUCap = mtu;
      give(addPort(node, ++num), info);
    }
    return node;
  }
};

/// The frames of the node as a run of its own writes them, for the class `D::<class>`.
std::string ownFrames(InMemoryDrovik& engine, const IBNode& node, const std::string& nodeClass) {
  const SimInfoDumpCPP generator(engine, SimInfoDumpCPP::BuildableFrames(), Missing::kComment);
  SectionStream os;
  GenerationSummary summary;
  generator.PrintFrames(
      os, "D::" + nodeClass, [&](const SimInfoDumpCPP::Frame&) -> const IBNode& { return node; }, summary);
  return std::string(os.text());
}

std::string exchanged(std::string text, const std::string& word, const std::string& by) {
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + by.size()))
    text.replace(at, word.size(), by);
  return text;
}

TEST_F(ModelsTest, FramesAreThoseOfEachNodeButForClassAndName) {
  for (unsigned i = 0; i < 1000; ++i) DrawnNode(discovered, "<" + std::to_string(i) + ">", i % 500);
  const ModelSet set = models();
  EXPECT_EQ(set.nodes.size(), 1000U);
  std::map<std::string, std::string> modelOf;  // by text without names
  for (const auto& [node, at] : set.nodes) {
    const Model& model = set.models[at];
    const std::string own = exchanged(ownFrames(engine, *node, model.name), node->name, model.name);
    EXPECT_EQ(modelText(model),
              "\n\n// Model: " + model.name + ", Ports: " + std::to_string(node->numPorts) + "\n" + own);
    // And one model for one text.
    const std::string text =
        std::to_string(node->numPorts) + exchanged(ownFrames(engine, *node, model.nodeClass), node->name, "");
    EXPECT_EQ(modelOf.try_emplace(text, model.name).first->second, model.name);
  }
  EXPECT_EQ(modelOf.size(), set.models.size());
  EXPECT_GT(set.models.size(), 490U);
}

TEST_F(ModelsTest, NodesDifferInNameAloneWhateverTheName) {
  for (const char* name : {"i", "mad_buffer", "the same", "0x1", "SW"})
    give<SMP_NodeInfo>(addNode(name, kSwitch, 2));
  const ModelSet set = models();
  ASSERT_EQ(set.models.size(), 1U);
  EXPECT_EQ(set.models[0].nodes, 5U);
  EXPECT_NE(modelText(set.models[0]).find("// The node=" + set.models[0].name + " is not a router"),
            std::string::npos);
}

/// A model's name must be the same tomorrow, elsewhere, and for another dump.
TEST_F(ModelsTest, NamesStay) {
  give<SMP_NodeInfo>(addNode("n", kSwitch, 2));
  EXPECT_EQ(models().models[0].name, "SW_3613defe1653aaab");
}

TEST_F(ModelsTest, ModelsOfOneHashAreToldApart) {
  addSwitch("a", {4});
  addSwitch("b", {5});
  addSwitch("c", {5, 5});
  // Texts with zero bytes behind them hash to how many these are, and so collide up to the last.
  const auto hash = [](std::string_view text) {
    return std::uint64_t{text.size() - text.find_last_not_of('\0') - 1};
  };
  const ModelSet set = models(false, hash);
  ASSERT_EQ(set.models.size(), 3U);
  std::map<std::string, std::string> names;
  for (const Model& model : set.models) names[model.first->name] = model.name;
  EXPECT_EQ(names,
            (std::map<std::string, std::string>{
                {"a", "SW_0000000000000000"}, {"b", "SW_0000000000000001"}, {"c", "SW_0000000000000002"}}));
}

TEST_F(ModelsTest, ExactPortsRestoreEveryPortsOwnValues) {
  IBNode& node = addSwitch("sw", {4, 4, 5, 3});
  node.ports[4]->portState = 1;
  ModelSet set = models();
  EXPECT_EQ(set.standIns, (StandIns{{"setPortInfo", 2}}));
  EXPECT_EQ(modelText(set.models[0]).find("i == "), std::string::npos);

  set = models(true);
  EXPECT_TRUE(set.standIns.empty());
  const std::string text = modelText(set.models[0], true);
  EXPECT_EQ(text.find("i == 2"), std::string::npos);
  for (const char* branch :
       {"} else if (i == 3) {\n            mad_buffer.CapMsk = 0x0;", "mad_buffer.MTUCap = 0x5;",
        "} else if (i == 4) {\n", "mad_buffer.MTUCap = 0x3;"})
    EXPECT_NE(text.find(branch), std::string::npos) << branch;
  EXPECT_EQ(node.ports[3]->special, false) << "the fabric itself must not change";
}

TEST_F(ModelsTest, SharesTellWhichPortStandsAndWhoDiffers) {
  IBNode& node = addSwitch("sw", {4, 4, 5, 3, 2});
  node.ports[1]->portState = 1;  // Down: port 2 stands for it
  node.ports[4]->fnm = true;
  node.ports[5]->inSubFabric = false;
  const std::vector<PortShares> all = portSharesOf(engine, node);
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(all[0].method, "setPortInfo");
  EXPECT_EQ(all[0].standing, node.ports[2]);
  EXPECT_EQ(all[0].special, std::vector<const IBPort*>{node.ports[4]});
  ASSERT_EQ(all[0].differences.size(), 1U);
  const auto& [port, field, own, standing] = all[0].differences[0];
  EXPECT_EQ(std::tie(port->num, field, own, standing),
            std::make_tuple(std::uint8_t{3}, std::string_view("MTUCap"), std::uint64_t{5}, std::uint64_t{4}));
}

TEST_F(ModelsTest, ExactPortsGiveCountersTheirSpecialPorts) {
  IBNode& node = addSwitch("sw", {4, 4});
  support(node, {55});
  give<IB_ClassPortInfo>(node);
  for (const std::uint8_t num : {std::uint8_t{1}, std::uint8_t{2}}) {
    const std::uint32_t index = node.ports[num]->recordIndex;
    discovered.records.setMonitor(index, 0);
    discovered.records.setMonitor(index, 1);
    discovered.records.setCounters(index, 3, {});
    ZYRPushReductionCounters push{};
    push.header0 = num;
    push.header1 = 7;
    discovered.records.set(index, push);
  }
  const std::string plain = modelText(models().models[0]);
  EXPECT_EQ(plain.find("getZyrReductionCounters"), std::string::npos);
  const ModelSet set = models(true);
  const std::string exact = modelText(set.models[0], true);
  for (const char* call :
       {"getZyrReductionCounters(1, 3, lean_pipe)", "getZyrReductionCounters(2, 3, lean_pipe)",
        "getZyrPushReductionCounters(1, 7)", "getZyrPushReductionCounters(2, 7)"})
    EXPECT_NE(exact.find(call), std::string::npos) << call;
  EXPECT_EQ(ModelWriter(engine, true).pushKeys(set.models[0]), (PushKeys{{1, 7}, {2, 7}}));
  EXPECT_EQ(ModelWriter(engine, false).pushKeys(set.models[0]), (PushKeys{{1, 7}}));
}

TEST_F(ModelsTest, FilesThatWereWrittenBeforeGoAndOthersStay) {
  addSwitch("a", {1});
  ModelFiles files{"Fab1", 3, directory.path()};
  const ModelWriter writer(engine, false);
  const ModelSet set = writer.findModels(nodes());
  writeModelFiles(writer, set, files, Durability::kScratch);
  EXPECT_TRUE(std::filesystem::exists(directory.path() / "fab1_models_2.cpp"));
  files.shards = 1;
  std::ofstream(directory.path() / "fab1_models_x.cpp") << "mine";
  writeModelFiles(writer, set, files, Durability::kScratch);
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "fab1_models_2.cpp"));
  EXPECT_TRUE(std::filesystem::exists(directory.path() / "fab1_models_x.cpp"));
  EXPECT_EQ(otherOwner(files), "");
  files.name = "FAB1";
  EXPECT_EQ(otherOwner(files), "Fab1");
}

}  // namespace
}  // namespace siminfo
