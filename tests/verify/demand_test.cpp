// Which nodes ask for the same, and why something was not collected.

#include "siminfo/verify/demand.h"

#include <functional>

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
IBPort& addFullPort(Snapshot& snapshot, IBNode& node, std::uint8_t num) {
  DiscoveredFabric& discovered = snapshot.discovered;
  IBPort& port = *discovered.fabric.addPort(node, num);
  port.portState = 2;
  const std::uint64_t value = 4U * num;
#define GIVE(Record, getter) discovered.records.set(port.recordIndex, filled<Record>(value));
  SIMINFO_PORT_RECORDS(GIVE)
#undef GIVE
  discovered.records.setCounters(port.recordIndex, 0, filled<ZYRReductionCounters>(value));
  discovered.records.setMonitor(port.recordIndex, 0);
  discovered.records.setMonitor(port.recordIndex, 1);
  return port;
}

/// A switch of three ports, of which 2 is special.
IBNode& addFullSwitch(Snapshot& snapshot, const std::string& name) {
  IBNode& node = addFullNode(snapshot, name, kSwitch, 3);
  for (std::uint8_t num = 0; num < 4; ++num) addFullPort(snapshot, node, num).special = num == 2;
  return node;
}

TEST(Absence, SaysWhyARecordWasNotCollected) {
  Snapshot snapshot;
  IBNode& node = addFullSwitch(snapshot, "sw");
  const Expectation expectation({snapshot, node, node.name});
  EXPECT_EQ(expectation.absence("setSwitchInfo"), "");
  snapshot.absentOnNodes[node.recordIndex]["SMP_SwitchInfo"] = "timed out";
  snapshot.absentOnPorts[node.ports[3]->recordIndex]["ZYRReductionCounters"] = "status 0x001c";
  EXPECT_EQ(expectation.absence("setSwitchInfo"), "timed out");
  EXPECT_EQ(expectation.absence("setExtendedSwitchInfo"), "");
  EXPECT_EQ(expectation.absence("setZYRReductionCounters"), "port 3: status 0x001c");
}

/// A port that says what the ordinary one says needs no branch, if only in what is written of it.
TEST(ExactPorts, AreThoseThatSaySomethingElse) {
  Snapshot snapshot;
  IBNode& node = addFullSwitch(snapshot, "sw");
  const Expectation exact({snapshot, node, node.name, true});
  SMP_PortInfo same = *snapshot.discovered.records.find<SMP_PortInfo>(node.ports[1]->recordIndex);
  same.CapMsk ^= 2U;
  same.LinkWidthSup ^= 1U;
  snapshot.discovered.records.set(node.ports[3]->recordIndex, same);
  EXPECT_TRUE(exact.plan("setPortInfo").special.contains(3));
  node.orbelSwitch = true;
  EXPECT_FALSE(exact.plan("setPortInfo").special.contains(3));
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
      IBNode& node = addFullSwitch(snapshot, name);
      if (node.name == "b") change(snapshot, node);
      demands.insert(demandOf({snapshot, node, node.name}));
    }
    EXPECT_EQ(demands.size(), isSame ? 1U : 2U) << what;
  }
}

}  // namespace
}  // namespace siminfo
