// What every frame must leave in the simulated node, from which ports' records, and which nodes ask for the
// same.

#include <functional>

#include "siminfo/verify/demand.h"
#include "siminfo/verify/expectation.h"
#include "tests/support.h"

namespace siminfo {
namespace {

/// A node that has everything. The node's own records hold 1 in every field, those of port n four times n.
IBNode& addFullNode(Snapshot& snapshot, const std::string& name, int type, std::uint8_t numPorts) {
  DiscoveredFabric& discovered = snapshot.discovered;
  IBNode& node = *discovered.fabric.addNode(name, numPorts);
  node.type = type;
#define GIVE(Record, getter) discovered.records.set(node.recordIndex, filled<Record>(1));
  SIMINFO_NODE_RECORDS(GIVE)
#undef GIVE
  const VSGeneralInfo blocks{{3, 3, 3}, {4, 4, 4, 4, 4, 4}, filled<FWInfo_Block_Element>(5)};
  discovered.records.set(node.recordIndex, blocks);
  discovered.capabilities.setAnswer(node.recordIndex, false, {0, {{~0U, ~0U, 7, 8}}});
  discovered.capabilities.setAnswer(node.recordIndex, true, {0, {{9, 10, 11, 12}}});
  return node;
}
IBPort& addFullPort(Snapshot& snapshot, IBNode& node, std::uint8_t num,
                    const std::vector<std::uint32_t>& sets = {0}) {
  DiscoveredFabric& discovered = snapshot.discovered;
  IBPort& port = *discovered.fabric.addPort(node, num);
  port.portState = 2;
  const std::uint64_t value = 4U * num;
#define GIVE(Record, getter) discovered.records.set(port.recordIndex, filled<Record>(value));
  SIMINFO_PORT_RECORDS(GIVE)
#undef GIVE
  for (const std::uint32_t set : sets)
    discovered.records.setCounters(port.recordIndex, set, filled<ZYRReductionCounters>(value));
  discovered.records.setMonitor(port.recordIndex, 0);
  discovered.records.setMonitor(port.recordIndex, 1);
  return port;
}

/// "nodePortsInfo[1]=8": the images with the values of their numbers, or with the one that all have.
std::vector<std::string> rendered(const std::vector<ExpectedImage>& images) {
  std::vector<std::string> lines;
  for (const ExpectedImage& image : images) {
    std::string line = image.name;
    std::vector<std::uint64_t> values;
    for (const ExpectedNumber& number : image.numbers) values.push_back(number.value);
    if (std::ranges::count(values, values.front()) == std::ssize(values)) values.resize(1);
    for (const std::uint64_t value : values)
      line.append(line == image.name ? "=" : ",").append(std::to_string(value));
    lines.push_back(line);
  }
  return lines;
}

/// A switch with ports of every kind: 1 is down, 2 of another fabric, 3 without records, 4 and 5 ordinary, 6
/// to 8 special each in its own way, 9 special and down, and 10 is missing.
class FullSwitch : public testing::Test {
 protected:
  FullSwitch() {
    addFullPort(snapshot, node, 0).portState = 1;
    addFullPort(snapshot, node, 1).portState = 1;
    addFullPort(snapshot, node, 2).inSubFabric = false;
    snapshot.discovered.fabric.addPort(node, 3)->portState = 4;
    addFullPort(snapshot, node, 4, {0});
    addFullPort(snapshot, node, 5);
    addFullPort(snapshot, node, 6, {7}).special = true;
    addFullPort(snapshot, node, 7, {1, 3}).fnm = true;
    addFullPort(snapshot, node, 8).fnm1 = true;
    IBPort& down = addFullPort(snapshot, node, 9);
    down.special = true;
    down.portState = 1;
  }
  std::vector<std::string> images(std::string_view frame) const {
    return rendered(expectation.images(frame));
  }

  Snapshot snapshot;
  IBNode& node = addFullNode(snapshot, "sw", kSwitch, 10);
  Expectation expectation{{snapshot, node, node.name}};
};

TEST_F(FullSwitch, HasWhatItHasOnce) {
  const std::map<std::string, std::string> expected{
      {"setGMPCapability", "capMaskGMP=9,10,11,12"},
      {"setSMPCapability", "capMaskSMP=4294967295,4294967295,7,8"},
      {"setFWInfo", "fwInfo=5"},
      {"setHWInfo", "hwInfo=4"},
      {"setSWInfo", "swInfo=3"},
      {"setExtendedNodeInfo", "extNodeInfo=1"},
      {"setArInfo", "AdaptiveRoutingInfo=1"},
      {"setExtendedSwitchInfo", "extendedSwitchInfo=1"},
      {"setSwitchInfo", "switchInfo=1"},
      {"setPrivateLftInfo", "plftInfo=1,1,1,1,0,0,0,0,0,0,0,0"},
      {"setEnhancedCongestionInfo", "enhancedCongestionInfo=1"},
      {"setCongestionSwitchGeneralSettings", "congSWGeneralInfo=1"},
      {"setVSReductionManagerClassPortInfo", "zyr_rma_class_port_info=1"},
      {"setZYRReductionInfo", "zyr_red_info=1"},
  };
  for (const auto& [frame, image] : expected) EXPECT_EQ(images(frame), std::vector{image}) << frame;
  EXPECT_EQ(images("setRouterInfo"), std::vector<std::string>{});
  const Expectation router({snapshot, addFullNode(snapshot, "rtr", kRouter, 0), "rtr"});
  EXPECT_EQ(rendered(router.images("setRouterInfo")), std::vector<std::string>{"routerInfo=1"});
  // The partition-key tables take the size that is restored.
  std::vector<std::string> nodeInfo{"nodeInfo=1"};
  for (int port = 0; port <= 10; ++port) nodeInfo.push_back("portPkeyTables[" + std::to_string(port) + "]=1");
  EXPECT_EQ(images("setNodeInfo"), nodeInfo);
  EXPECT_EQ(expectation.images("setNodeInfo").back().place, "port 10, partition-key table");
}

/// Port numbers by the index of the generated loop.
TEST_F(FullSwitch, HasThePortsOfEveryFrame) {
  struct ByPort {
    std::string frame;
    std::string member;
    std::size_t first;
    std::vector<int> sources;
  };
  const ByPort kExpected[]{
      {"setPortInfo", "nodePortsInfo", 0, {0, 4, 4, 4, 4, 4, 6, 7, 8, 4, 4}},
      {"setExtendedPortInfo", "nodeExtPortsInfo", 0, {4, 4, 4, 4, 4, 4, 6, 7, 8, 4, 4}},
      {"setPortInfoExtended", "nodePortsInfoExt", 0, {4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4}},
      {"setZYRReductionPortInfo", "zyrReductionPortInfo", 1, {4, 4, 4, 4, 4, 6, 7, 8, 4, 4}},
  };
  for (const auto& [frame, member, first, sources] : kExpected) {
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < sources.size(); ++i)
      lines.push_back(member + "[" + std::to_string(first + i) + "]=" + std::to_string(4 * sources[i]));
    EXPECT_EQ(images(frame), lines) << frame;
    EXPECT_EQ(expectation.images(frame).back().place, "port 10") << frame;
  }
  EXPECT_EQ(images("setZYRReductionCounters"),
            (std::vector<std::string>{"counterSets[4, 0, 15]=16", "counterSets[6, 7, 15]=24",
                                      "counterSets[7, 1, 15]=28", "counterSets[7, 3, 15]=28",
                                      "counterSets[8, 0, 15]=32"}));
  EXPECT_EQ(expectation.images("setZYRReductionCounters")[1].place, "port 6, counter set 7");
  EXPECT_EQ(images("setZYRPushReductionCounters"),
            (std::vector<std::string>{"pushCounters[16, 16]=16", "pushCounters[24, 24]=24",
                                      "pushCounters[28, 28]=28", "pushCounters[32, 32]=32"}));
  EXPECT_EQ(expectation.images("setZYRPushReductionCounters")[0].numbers.size(),
            kFields<ZYRPushReductionCounters>.size() - 2);  // nothing stores the headers
  EXPECT_EQ(expectation.pushKeys().size(), 9U);             // of every port that has a record
}

/// Push counters are stored by their headers: of two ports that have the same, the later one's stay.
TEST(PushCounters, AreThoseOfTheFirstAndTheLastPortToo) {
  Snapshot snapshot;
  IBNode& node = addFullNode(snapshot, "sw", kSwitch, 3);
  for (std::uint8_t num = 1; num < 4; ++num) addFullPort(snapshot, node, num).special = num != 2;
  const Expectation expectation({snapshot, node, node.name});
  const auto images = [&] { return rendered(expectation.images("setZYRPushReductionCounters")); };
  EXPECT_EQ(images(), (std::vector<std::string>{"pushCounters[12, 12]=12", "pushCounters[4, 4]=4",
                                                "pushCounters[8, 8]=8"}));
  ZYRPushReductionCounters record = filled<ZYRPushReductionCounters>(99);
  record.header0 = record.header1 = 4;
  snapshot.discovered.records.set(node.ports[3]->recordIndex, record);
  EXPECT_EQ(images(), (std::vector<std::string>{"pushCounters[4, 4]=99", "pushCounters[8, 8]=8"}));
}

TEST_F(FullSwitch, ChangesTwoFieldsOfPortInfo) {
  for (const std::size_t num : {0U, 4U, 6U})
    snapshot.discovered.records.set(node.ports[num]->recordIndex, filled<SMP_PortInfo>(~0U));
  const auto numbersOf = [&](std::size_t index) {
    std::map<std::string_view, std::uint64_t> numbers;
    const std::vector<ExpectedImage> found = expectation.images("setPortInfo");
    for (const ExpectedNumber& number : found[index].numbers) numbers[number.field] = number.value;
    return numbers;
  };
  node.orbelSwitch = true;  // whose ordinary ports keep their link width
  for (const std::size_t index : {0U, 1U, 6U}) {
    EXPECT_EQ(numbersOf(index)["CapMsk"], 0xfffffffdU) << index;
    EXPECT_EQ(numbersOf(index)["CapMsk2"], 0xffffU) << index;
  }
  for (const std::size_t index : {1U, 5U, 10U})
    EXPECT_FALSE(numbersOf(index).contains("LinkWidthSup")) << index;
  for (const std::size_t index : {0U, 6U, 8U})
    EXPECT_TRUE(numbersOf(index).contains("LinkWidthSup")) << index;
  node.type = kChannelAdapter;
  EXPECT_TRUE(numbersOf(4).contains("LinkWidthSup"));
  // Nor do other nodes tell special ports apart, or port 0.
  EXPECT_EQ(images("setPortInfo")[0], images("setPortInfo")[4].replace(14, 1, "0"));
  EXPECT_EQ(expectation.plan("setPortInfo").special.size(), 0U);
}

/// The first port that takes part, special or not.
TEST_F(FullSwitch, TakesTheLowestPortForPortInfoExtended) {
  const auto lowest = [&] { return +expectation.plan("setPortInfoExtended").regular->num; };
  EXPECT_EQ(lowest(), 4);
  node.ports[4]->special = true;
  EXPECT_EQ(lowest(), 4);
  node.ports[4]->portState = 1;
  EXPECT_EQ(lowest(), 5);
  node.ports[5]->portState = 0;
  EXPECT_EQ(lowest(), 6);
}

TEST_F(FullSwitch, SaysWhyARecordWasNotCollected) {
  EXPECT_EQ(expectation.absence("setSwitchInfo"), "");
  snapshot.absentOnNodes[node.recordIndex]["SMP_SwitchInfo"] = "timed out";
  snapshot.absentOnPorts[node.ports[5]->recordIndex]["ZYRReductionCounters"] = "status 0x001c";
  EXPECT_EQ(expectation.absence("setSwitchInfo"), "timed out");
  EXPECT_EQ(expectation.absence("setExtendedSwitchInfo"), "");
  EXPECT_EQ(expectation.absence("setZYRReductionCounters"), "port 5: status 0x001c");
}

/// Ports with values of their own have branches: the same tree of ports as above, each with its own.
TEST_F(FullSwitch, HasEveryPortsOwnValuesWithExactPorts) {
  const Expectation exact({snapshot, node, node.name, true});
  const auto sources = [&](std::string_view frame) {
    std::vector<std::uint64_t> ports;
    for (const ExpectedImage& image : exact.images(frame)) ports.push_back(image.numbers.front().value / 4);
    return ports;
  };
  using Ports = std::vector<std::uint64_t>;
  EXPECT_EQ(sources("setPortInfo"), (Ports{0, 1, 4, 4, 4, 5, 6, 7, 8, 9, 4}));
  EXPECT_EQ(sources("setExtendedPortInfo"), (Ports{4, 1, 4, 4, 4, 5, 6, 7, 8, 9, 4}));
  EXPECT_EQ(sources("setPortInfoExtended"), (Ports{4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4}));
  EXPECT_EQ(sources("setZYRReductionPortInfo"), (Ports{1, 4, 4, 4, 5, 6, 7, 8, 9, 4}));
  EXPECT_EQ(exact.plan("setZYRReductionCounters").special.size(), 6U);
  // A port that says what the ordinary one says needs no branch, if only in what is written of it.
  SMP_PortInfo same = *snapshot.discovered.records.find<SMP_PortInfo>(node.ports[4]->recordIndex);
  same.CapMsk ^= 2U;
  same.LinkWidthSup ^= 1U;
  snapshot.discovered.records.set(node.ports[5]->recordIndex, same);
  EXPECT_TRUE(exact.plan("setPortInfo").special.contains(5));
  node.orbelSwitch = true;
  EXPECT_FALSE(exact.plan("setPortInfo").special.contains(5));
}

/// Alone what changes what the frames must do.
TEST(Demand, TellsNodesApartByTheirFrames) {
  struct Variant {
    const char* what;
    std::function<void(Snapshot&, IBNode&)> change;
    bool isSame;
  };
  const auto with = [](auto member, auto value) {
    return [=](Snapshot&, IBNode& node) { node.*member = value; };
  };
  const auto withPort = [](std::size_t num, auto member, auto value) {
    return [=](Snapshot&, IBNode& node) { node.ports[num]->*member = value; };
  };
  const auto withPortInfo = [](std::size_t num, std::uint32_t mask) {
    return [=](Snapshot& all, IBNode& of) {
      SMP_PortInfo record = *all.discovered.records.find<SMP_PortInfo>(of.ports[num]->recordIndex);
      record.CapMsk ^= mask;
      all.discovered.records.set(of.ports[num]->recordIndex, record);
    };
  };
  const Variant kVariants[]{
      {"its name and GUID", with(&IBNode::guid, std::uint64_t{7}), true},
      {"a subnet manager", withPortInfo(1, 2), true},
      {"values of a port that another one stands for", withPortInfo(3, 4), true},
      {"that port down", withPort(3, &IBPort::portState, 1), true},
      {"values of the port that stands for others", withPortInfo(1, 4), false},
      {"values of a special port", withPortInfo(2, 4), false},
      {"values of the node",
       [](Snapshot& all, IBNode& of) { all.discovered.records.set(of.recordIndex, SMP_NodeInfo{}); }, false},
      {"a special port", withPort(3, &IBPort::fnm, true), false},
      {"link widths that are kept", with(&IBNode::orbelSwitch, true), false},
      {"another class", with(&IBNode::type, int{kRouter}), false},
      {"another count of ports", with(&IBNode::numPorts, std::uint8_t{2}), false},
      {"a special node", with(&IBNode::specialNodeType, 1), false},
      {"another counter set",
       [](Snapshot& all, IBNode& of) { all.discovered.records.setCounters(of.ports[1]->recordIndex, 5, {}); },
       false},
      {"another reason",
       [](Snapshot& all, IBNode& of) { all.absentOnNodes[of.recordIndex]["SMP_RouterInfo"] = "timed out"; },
       false},
  };
  for (const auto& [what, change, isSame] : kVariants) {
    Snapshot snapshot;
    std::set<std::string> demands;
    for (const char* name : {"a", "b", "c"}) {
      IBNode& node = addFullNode(snapshot, name, kSwitch, 3);
      for (std::uint8_t num = 0; num < 4; ++num) addFullPort(snapshot, node, num).special = num == 2;
      if (node.name == "b") change(snapshot, node);
      demands.insert(demandOf({snapshot, node, node.name}));
    }
    EXPECT_EQ(demands.size(), isSame ? 1U : 2U) << what;
  }
}

}  // namespace
}  // namespace siminfo
