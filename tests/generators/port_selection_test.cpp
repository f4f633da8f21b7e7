// Which ports take part and which of them are special, over every attribute that is held per port.

#include "siminfo/generators/port/port_selection.h"

#include <functional>
#include <regex>
#include <stdexcept>

#include "tests/support.h"

namespace siminfo {
namespace {

/// An attribute held per port: how to give a port a recognisable record, and how its value shows in the text.
struct Family {
  std::string method;
  std::function<void(InMemoryExtendedInfo&, std::uint32_t port, std::uint8_t value)> give;
  std::string value;  // what stands before its digits, as an expression
  bool needsSpecial = false;
};

std::vector<Family> families() {
  const auto set = [](auto record, auto member) {
    return [=](InMemoryExtendedInfo& store, std::uint32_t port, std::uint8_t value) mutable {
      record.*member = value;
      store.set(port, record);
      store.setMonitor(port, 1);
    };
  };
  const auto setCounters = [](InMemoryExtendedInfo& store, std::uint32_t port, std::uint8_t value) {
    store.setCounters(port, 5, {.trapped_pkt = value});
    store.setMonitor(port, 0);
  };
  return {
      {"setPortInfo", set(SMP_PortInfo{}, &SMP_PortInfo::MTUCap), "MTUCap = "},
      {"setExtendedPortInfo", set(SMP_KrelExtPortInfo{}, &SMP_KrelExtPortInfo::RetransMode),
       "RetransMode = "},
      {"setZYRReductionPortInfo", set(ZYRReductionPortInfo{}, &ZYRReductionPortInfo::capability_mask),
       "capability_mask = "},
      {"setZYRReductionCounters", setCounters, "trapped_pkt = ", true},
      {"setZYRPushReductionCounters", set(ZYRPushReductionCounters{}, &ZYRPushReductionCounters::dup_error),
       "set_dup_error\\(", true},
  };
}

/// The values that the text restores, in its order: "9=19 16" for 0x19 at port 9, and 0x16 at all others.
std::string shown(const std::string& text, const std::string& value) {
  const std::regex branchOrValue("(?:case |else if \\(i == )(\\d+)|" + value + "0x(\\w+)");
  std::string found;
  for (std::sregex_iterator at(text.begin(), text.end(), branchOrValue), end; at != end; ++at)
    found += (*at)[1].matched ? (*at)[1].str() + "=" : (*at)[2].str() + " ";
  return found;
}

struct Selection {
  const char* name;
  const char* ports;  // by number, with that in which one differs from an active, ordinary port with a record
  const char* shown;  // the record of port 6 holds 0x16
  void (*change)(IBNode& node) = [](IBNode&) {};
};

const std::vector<Selection> kCases = {
    {"the lowest usable ordinary port is for all others",
     "1:down 2:below-down 3:elsewhere 5:bare 6 7 9:special", "9=19 16 "},
    {"special ports stand in ascending order", "8 9:special 5:fnm1 3:fnm 2:special-down",
     "3=13 5=15 9=19 18 "},
    {"no ordinary port", "9:special", ""},
    {"no special port", "1", "11 "},
    {"of two with one number the later one counts", "1 6:special 9:special", "9=19 11 ",
     [](IBNode& node) { node.ports[6]->num = 9; }},
    {"beyond the port count", "1 2:special 9:special", "2=12 11 ", [](IBNode& node) { node.numPorts = 8; }},
    {"a port count beyond the list", "1 9:special", "9=19 11 ", [](IBNode& node) { node.numPorts = 200; }},
};

class PortSelection : public GeneratorTest {
 protected:
  void addPorts(const Family& family, IBNode& node, const Selection& each) {
    std::istringstream ports(each.ports);
    for (unsigned num = 0; ports >> num;) {
      std::string kind;
      if (ports.peek() == ':') ports >> kind;
      IBPort& port = addPort(node, static_cast<std::uint8_t>(num));
      if (kind.ends_with("down")) port.portState = kind == ":below-down" ? -3 : 1;
      port.inSubFabric = kind != ":elsewhere";
      port.special = kind.starts_with(":special");
      port.fnm = kind == ":fnm";
      port.fnm1 = kind == ":fnm1";
      if (kind == ":bare") continue;
      family.give(discovered.records, port.recordIndex, static_cast<std::uint8_t>(0x10 + num));
    }
    each.change(node);
  }
};

TEST_F(PortSelection, IsTheSameForEveryAttribute) {
  for (const Family& family : families()) {
    for (const Selection& each : kCases) {
      IBNode& node = addNode(family.method + each.name, kSwitch, 9);
      support(node, {9, 55});
      give<IB_ClassPortInfo>(node);
      family.give(discovered.records, addPort(node, 0).recordIndex, 0x77);
      addPorts(family, node, each);
      std::string expected = each.shown;
      if (family.needsSpecial && expected == "11 ") expected = "";
      if (family.method == "setPortInfo" && !expected.empty()) expected.insert(0, "77 ");  // port 0
      EXPECT_EQ(shown(frame(family.method, node), family.value), expected)
          << family.method << ": " << each.name;
    }
  }
}

TEST_F(PortSelection, OfPortInfoExtendedTakesTheFirstPortEvenIfSpecial) {
  IBNode& node = addNode("sw", kSwitch, 3);
  give(addPort(node, 0), SMP_PortInfoExtended{.CapMsk = 0x10});
  give(addPort(node, 1, 1), SMP_PortInfoExtended{.CapMsk = 0x11});
  give(addPort(node, 2), SMP_PortInfoExtended{.CapMsk = 0x12});
  node.ports[2]->special = true;
  give(addPort(node, 3), SMP_PortInfoExtended{.CapMsk = 0x13});
  EXPECT_EQ(shown(frame("setPortInfoExtended", node), "CapMsk = "), "12 ");
}

TEST_F(PortSelection, OfAnAdapterBeginsAtPortOne) {
  IBNode& node = addNode("ca", kChannelAdapter, 2);
  for (const std::uint8_t num : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{2}})
    give(addPort(node, num), SMP_PortInfo{.MTUCap = num});
  EXPECT_EQ(shown(frame("setPortInfo", node), "MTUCap = "), "1 ");
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
