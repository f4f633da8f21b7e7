// Which ports take part and which of them are special, over every attribute that is held per port.

#include "siminfo/generators/port/port_selection.h"

#include <functional>
#include <stdexcept>

#include "tests/support.h"

namespace siminfo {
namespace {

/// An attribute held per port: how to give a port a recognisable record, and how its value shows in the text.
struct Family {
  std::string method;
  std::function<void(InMemoryExtendedInfo&, std::uint32_t port, std::uint8_t value)> give;
  std::string value;       // the line that shows the value, up to its digits
  std::string caseBefore;  // what stands around a special port's number
  std::string caseAfter;
  bool needsSpecial = false;
};

std::vector<Family> families() {
  const auto set = [](auto record, auto member) {
    return [=](InMemoryExtendedInfo& store, std::uint32_t port, std::uint8_t value) mutable {
      record.*member = value;
      store.set(port, record);
    };
  };
  return {
      {"setPortInfo", set(SMP_PortInfo{}, &SMP_PortInfo::MTUCap), "MTUCap = 0x", "} else if (i == ", ") {"},
      {"setExtendedPortInfo", set(SMP_KrelExtPortInfo{}, &SMP_KrelExtPortInfo::RetransMode),
       "RetransMode = 0x", "case ", ":"},
      {"setZYRReductionPortInfo", set(ZYRReductionPortInfo{}, &ZYRReductionPortInfo::capability_mask),
       "capability_mask = 0x", "case ", ":"},
      {"setZYRReductionCounters",
       [](InMemoryExtendedInfo& store, std::uint32_t port, std::uint8_t value) {
         ZYRReductionCounters record{};
         record.trapped_pkt = value;
         store.setCounters(port, 5, record);
         store.setMonitor(port, 0);
       },
       "trapped_pkt = 0x", "case ", ":", true},
      {"setZYRPushReductionCounters",
       [](InMemoryExtendedInfo& store, std::uint32_t port, std::uint8_t value) {
         ZYRPushReductionCounters record{};
         record.dup_error = value;
         store.set(port, record);
         store.setMonitor(port, 1);
       },
       "set_dup_error(0x", "case ", ":", true},
  };
}

class PortSelection : public GeneratorTest {
 protected:
  /// A switch that carries every attribute, with port 0 and a special port 9 of value 0x99.
  IBNode& makeSwitch(const Family& family, std::uint8_t numPorts = 9) {
    IBNode& node = addNode("sw" + std::to_string(count++), kSwitch, numPorts);
    support(node, {9, 55});
    give<IB_ClassPortInfo>(node);
    addPort(node, 0);
    family.give(discovered.records, node.ports[0]->recordIndex, 0x77);
    IBPort& special = addPort(node, 9);
    special.special = true;
    family.give(discovered.records, special.recordIndex, 0x99);
    return node;
  }
  IBPort& addWithValue(const Family& family, IBNode& node, std::uint8_t num, std::uint8_t value,
                       int state = 4) {
    IBPort& port = addPort(node, num, state);
    family.give(discovered.records, port.recordIndex, value);
    return port;
  }
  static bool shows(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
  }

  int count = 0;
};

TEST_F(PortSelection, TakesTheLowestUsableOrdinaryPortForAllOthers) {
  for (const Family& family : families()) {
    IBNode& node = makeSwitch(family);
    addWithValue(family, node, 1, 0x11, 1);   // Down
    addWithValue(family, node, 2, 0x12, -3);  // states are signed
    addWithValue(family, node, 3, 0x13).inSubFabric = false;
    addPort(node, 5);  // usable, without a record; 4 is not there at all
    addWithValue(family, node, 6, 0x16, 2);
    addWithValue(family, node, 7, 0x17);
    const std::string text = frame(family.method, node);
    EXPECT_TRUE(shows(text, family.value + "16")) << family.method << text;
    EXPECT_TRUE(shows(text, family.value + "99")) << family.method << text;
    for (const char* left : {"11", "12", "13", "17"}) EXPECT_FALSE(shows(text, family.value + left)) << text;
    EXPECT_EQ(shows(text, family.value + "77"), family.method == "setPortInfo")
        << "port 0 in " << family.method;
  }
}

TEST_F(PortSelection, TellsSpecialPortsApartInAscendingOrder) {
  for (const Family& family : families()) {
    IBNode& node = makeSwitch(family);
    addWithValue(family, node, 8, 0x18);
    addWithValue(family, node, 5, 0x15).fnm1 = true;
    addWithValue(family, node, 3, 0x13).fnm = true;
    addWithValue(family, node, 2, 0x12, 1).special = true;  // Down, special or not
    // The key is the port's own number, and the later of two replaces the earlier.
    addWithValue(family, node, 6, 0x16).special = true;
    node.ports[6]->num = 9;
    const std::string text = frame(family.method, node);
    const auto place = [&](const std::string& number) {
      return text.find(family.caseBefore + number + family.caseAfter);
    };
    EXPECT_LT(place("3"), place("5")) << text;
    EXPECT_LT(place("5"), place("9")) << text;
    EXPECT_NE(place("9"), std::string::npos);
    EXPECT_EQ(place("2"), std::string::npos);
    EXPECT_EQ(place("6"), std::string::npos);
    EXPECT_FALSE(shows(text, family.value + "16")) << text;
    EXPECT_TRUE(shows(text, family.value + "18")) << text;
  }
}

TEST_F(PortSelection, NeedsAnOrdinaryPortAndSometimesASpecialOne) {
  for (const Family& family : families()) {
    IBNode& onlySpecial = makeSwitch(family);
    EXPECT_EQ(frame(family.method, onlySpecial).find('\n'), std::string::npos) << family.method;
    IBNode& onlyOrdinary = makeSwitch(family);
    addWithValue(family, onlyOrdinary, 1, 0x11);
    onlyOrdinary.ports[9] = nullptr;
    const std::string text = frame(family.method, onlyOrdinary);
    EXPECT_EQ(shows(text, family.value + "11"), !family.needsSpecial) << text;
    EXPECT_FALSE(shows(text, "case ") || shows(text, "else if"));
  }
}

TEST_F(PortSelection, StopsAtThePortCountAndAtTheEndOfTheList) {
  for (const Family& family : families()) {
    IBNode& node = makeSwitch(family);
    addWithValue(family, node, 1, 0x11);
    node.numPorts = 8;  // the special port is beyond the count
    EXPECT_FALSE(shows(frame(family.method, node), family.value + "99")) << family.method;
    node.numPorts = 200;  // and the count beyond the list
    EXPECT_TRUE(shows(frame(family.method, node), family.value + "99")) << family.method;
  }
}

TEST_F(PortSelection, AsksEachKindOfCountersForItsOwnMonitor) {
  for (const Family& family : families()) {
    if (!family.needsSpecial) continue;
    IBNode& node = makeSwitch(family);
    IBPort& port = addPort(node, 1);
    discovered.records.setCounters(port.recordIndex, 0, {});
    give<ZYRPushReductionCounters>(port);
    discovered.records.setMonitor(port.recordIndex, family.method == "setZYRReductionCounters" ? 1 : 0);
    EXPECT_TRUE(frame(family.method, node).starts_with("#error")) << family.method;
  }
}

TEST_F(PortSelection, OfPortInfoExtendedTakesTheFirstPortEvenIfSpecial) {
  IBNode& node = addNode("sw", kSwitch, 3);
  give(addPort(node, 0), SMP_PortInfoExtended{.CapMsk = 0x10});
  give(addPort(node, 1, 1), SMP_PortInfoExtended{.CapMsk = 0x11});
  IBPort& special = addPort(node, 2);
  special.special = true;
  give(special, SMP_PortInfoExtended{.CapMsk = 0x12});
  give(addPort(node, 3), SMP_PortInfoExtended{.CapMsk = 0x13});
  EXPECT_TRUE(shows(frame("setPortInfoExtended", node), "mad_buffer.CapMsk = 0x12;"));
}

TEST_F(PortSelection, OfAnAdapterBeginsAtPortOne) {
  IBNode& node = addNode("ca", kChannelAdapter, 2);
  give(addPort(node, 0), SMP_PortInfo{.MTUCap = 1});
  give(addPort(node, 1), SMP_PortInfo{.MTUCap = 4});
  give(addPort(node, 2), SMP_PortInfo{.MTUCap = 5});
  const std::string text = frame("setPortInfo", node);
  EXPECT_TRUE(shows(text, "MTUCap = 0x4;"));
  EXPECT_FALSE(shows(text, "MTUCap = 0x1;") || shows(text, "MTUCap = 0x5;"));
}

TEST_F(PortSelection, EndsTheProcessOverASwitchWithoutAPortList) {
  IBNode& node = addNode("sw", kSwitch, 1);
  node.ports.clear();
  EXPECT_DEATH(frame("setPortInfo", node), "Assertion");
}

TEST_F(PortSelection, CountsPortsInEightBits) {
  // With 255 ports the counter wraps to 0 and the scan would go on for ever.
  IBNode& node = addNode("sw", kSwitch, 254);
  IBPort& zero = addPort(node, 0);
  node.numPorts = 255;
  EXPECT_THROW(VisitPorts(node,
                          [&](const IBPort& port) {
                            if (&port == &zero) throw std::runtime_error("wrapped");
                            return true;
                          }),
               std::runtime_error);
}

}  // namespace
}  // namespace siminfo
