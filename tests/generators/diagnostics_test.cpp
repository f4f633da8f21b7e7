// The one line that a frame holds when its attribute is not restored, for every reason there is.

#include "tests/support.h"

namespace siminfo {
namespace {

class Diagnostics : public GeneratorTest {
 protected:
  struct Expected {
    const char* method;
    const char* line;
  };
  void expectLines(const IBNode& node, std::initializer_list<Expected> expected) {
    for (const auto& [method, line] : expected) EXPECT_EQ(frame(method, node), line) << method;
  }
};

TEST_F(Diagnostics, OfAttributesThatBelongToOtherNodeTypes) {
  // The type decides before anything else: these nodes have every capability and every record.
  for (const int type : {int{kChannelAdapter}, int{kRouter}, 7}) {
    IBNode& node = addNode("n" + std::to_string(type), type);
    support(node, {0, 2, 9, 12, 13, 44, 55});
    give<SMP_SwitchInfo>(node);
    give<adaptive_routing_info>(node);
    give<IB_ClassPortInfo>(node);
    const std::string line = "// The node=" + node.name + " is not a switch";
    for (const char* method : {"setArInfo", "setExtendedSwitchInfo", "setSwitchInfo", "setPrivateLftInfo",
                               "setCongestionSwitchGeneralSettings", "setVSReductionManagerClassPortInfo",
                               "setZYRReductionPortInfo", "setZYRReductionInfo", "setZYRReductionCounters",
                               "setZYRPushReductionCounters"})
      EXPECT_EQ(frame(method, node), line) << method;
  }
  EXPECT_EQ(frame("setRouterInfo", addNode("sw", kSwitch)), "// The node=sw is not a router");
}

TEST_F(Diagnostics, OfMissingCapabilities) {
  IBNode& node = addNode("sw", kSwitch);
  support(node, {});
  give<ib_extended_node_info>(node);
  give<adaptive_routing_info>(node);
  give<CC_EnhancedCongestionInfo>(node);
  give<IB_ClassPortInfo>(node);
  give<ZYRReductionInfo>(node);
  expectLines(
      node,
      {
          {"setExtendedNodeInfo", "// The ExtendedNodeInfo mad is not supported on the node=sw"},
          {"setExtendedPortInfo", "// The ExtendedPortInfo mad is not supported on the node=sw"},
          {"setPrivateLftInfo", "#error \"The node=sw does not support Private LFT\""},
          {"setArInfo", "#error \"The node=sw does not support AR\""},
          {"setEnhancedCongestionInfo",
           "#error \"The node=sw does not support Enhanced Congestion Control\""},
          {"setVSReductionManagerClassPortInfo", "// The node=sw does not support ZYR Reduction Management"},
          {"setZYRReductionInfo", "// The node=sw does not support ZYR Reduction Management"},
          {"setZYRReductionPortInfo", "// The node=sw does not support ZYR Reduction Management"},
          {"setZYRReductionCounters", "// The node=sw does not support ZYR Reduction Management"},
          {"setZYRPushReductionCounters", "// The node=sw does not support ZYR Reduction Management"},
      });
  // Private linear forwarding takes two capabilities.
  for (const unsigned only : {0U, 12U}) {
    support(node, {only});
    EXPECT_EQ(frame("setPrivateLftInfo", node), "#error \"The node=sw does not support Private LFT\"");
  }
}

TEST_F(Diagnostics, OfMissingRecords) {
  IBNode& node = addNode("sw", kSwitch);
  support(node, {0, 2, 9, 12, 13, 44, 55});
  const std::string unclosed = "#error \"Failed to get ZYRClassPortInfo mad for the node=sw";
  expectLines(node,
              {
                  {"setNodeInfo", "#error \"Failed to get NodeInfo mad for the node=sw\""},
                  {"setSwitchInfo", "// Failed to get SwitchInfo mad for the node=sw"},
                  {"setExtendedSwitchInfo", "// Failed to get VS ExtendedSwitchInfo mad for the node=sw"},
                  {"setExtendedNodeInfo", "// Failed to get VS ExtendedNodeInfo mad for the node=sw"},
                  {"setFWInfo", "// Failed to get VS GeneralInfo mad for the node=sw"},
                  {"setHWInfo", "// Failed to get VS GeneralInfo mad for the node=sw"},
                  {"setSWInfo", "// Failed to get VS GeneralInfo mad for the node=sw"},
                  {"setPrivateLftInfo", "#error \"Failed to get PrivateLFTInfo mad for the node=sw"},
                  {"setArInfo", "#error \"Failed to get VS ArInfo mad for the node=sw"},
                  {"setEnhancedCongestionInfo",
                   "#error \"Failed to get CC_EnhancedCongestionInfo mad for the node=sw"},
                  {"setCongestionSwitchGeneralSettings",
                   "#error \"Failed to get CC_EnhancedCongestionInfo mad for the node=sw. Cannot check "
                   "supported version of "
                   "Congestion Control attributes"},
                  {"setVSReductionManagerClassPortInfo",
                   "#error \"Failed to get VS IB_ClassPortInfo mad for the node=sw"},
                  {"setZYRReductionInfo", "#error \"Failed to get ZYRReductionInfo mad for the node=sw"},
                  {"setZYRReductionPortInfo", unclosed.c_str()},
                  {"setZYRReductionCounters", unclosed.c_str()},
                  {"setZYRPushReductionCounters", unclosed.c_str()},
              });
  IBNode& router = addNode("rtr", kRouter);
  EXPECT_EQ(frame("setRouterInfo", router), "// Failed to get RouterInfo mad for the node=rtr");
}

TEST_F(Diagnostics, OfCongestionSettings) {
  IBNode& node = addNode("sw", kSwitch);
  node.specialNodeType = 1;  // neither this nor a capability counts here
  give<CC_CongestionSwitchGeneralSettings>(node);
  give(node, CC_EnhancedCongestionInfo{.ver1 = 1, .ver0 = 0, .CC_Capability_Mask = 0});
  EXPECT_EQ(frame("setCongestionSwitchGeneralSettings", node),
            "#error \"The node=sw does not support any version of Congestion Control attributes\"");
  IBNode& other = addNode("other", kSwitch);
  give(other, CC_EnhancedCongestionInfo{.ver1 = 0, .ver0 = 1, .CC_Capability_Mask = 0});
  EXPECT_EQ(frame("setCongestionSwitchGeneralSettings", other),
            "#error \"Failed to get CC_CongestionSwitchGeneralSettings mad for the node=other");
}

TEST_F(Diagnostics, OfSpecialNodes) {
  IBNode& node = addNode("an", kChannelAdapter);
  node.specialNodeType = 1;
  support(node, {44});
  give<VSGeneralInfo>(node);
  give<CC_EnhancedCongestionInfo>(node);
  expectLines(
      node, {
                {"setGMPCapability", "// The node=an is special and it should not support GMP capabilities."},
                {"setSWInfo", "// The node=an is special and it should not support VS GeneralInfo mad."},
                {"setFWInfo", "// The node=an is special and it should not support VS General Info mad."},
                {"setHWInfo", "// The node=an is special and it should not support VS General Info mad."},
                {"setEnhancedCongestionInfo",
                 "// The node=an is special and it should not support Enhanced Congestion Control"},
            });
  EXPECT_NE(frame("setSMPCapability", node).find("m_node->capMaskSMP"), std::string::npos);
}

TEST_F(Diagnostics, OfCapabilityQueries) {
  IBNode& node = addNode("sw", kSwitch);
  expectLines(node,
              {
                  {"setSMPCapability", "#error \"Failed to get SMP capabilites for the node=sw with rc=1\""},
                  {"setGMPCapability", "#error \"Failed to get GMP capabilites for the node=sw with rc=1\""},
              });
  discovered.capabilities.setAnswer(node.recordIndex, true, {-22, {}});
  EXPECT_EQ(frame("setGMPCapability", node),
            "#error \"Failed to get GMP capabilites for the node=sw with rc=-22\"");
}

TEST_F(Diagnostics, OfPortsWithoutUsableRecords) {
  IBNode& node = addNode("sw", kSwitch, 2);
  support(node, {9, 55});
  give<IB_ClassPortInfo>(node);
  addPort(node, 0);
  expectLines(
      node, {
                {"setPortInfo",
                 "#error \"Failed to dump PortInfo MAD. Zero and a regular ports must be provided.\""},
                {"setExtendedPortInfo", "// Failed to dump ExtendedPortInfo MAD. Null pointer is provided."},
                {"setPortInfoExtended", "// Failed to dump PortInfoExtended MAD. Null pointer is provided."},
                {"setZYRReductionPortInfo",
                 "#error \"Failed to dump ZYRReductionPortInfo MAD. Null pointer is provided.\""},
                {"setZYRReductionCounters",
                 "#error \"Failed to dump ZYRReductionCountersInfo MAD. Normal port data is not provided.\""},
                {"setZYRPushReductionCounters",
                 "#error \"Failed to dump ZYRPushReductionCountersInfo MAD. Null pointer is provided.\""},
            });
  EXPECT_EQ(frame("setPortInfo", addNode("ca", kChannelAdapter, 1)),
            "#error \"Failed to dump PortInfo MAD. Null pointer is provided.\"");
}

TEST_F(Diagnostics, OfCountersWithoutSpecialPorts) {
  IBNode& node = addNode("sw", kSwitch, 1);
  support(node, {55});
  give<IB_ClassPortInfo>(node);
  IBPort& port = addPort(node, 1);
  give<ZYRPushReductionCounters>(port);
  discovered.records.setCounters(port.recordIndex, 0, {});
  discovered.records.setMonitor(port.recordIndex, 0);
  discovered.records.setMonitor(port.recordIndex, 1);
  expectLines(
      node,
      {
          {"setZYRReductionCounters",
           "#error \"Failed to dump ZYRReductionCountersInfo MAD. Special port data is not provided.\""},
          {"setZYRPushReductionCounters",
           "#error \"Failed to dump ZYRPushReductionCountersInfo MAD. Special port data is not provided.\""},
      });
}

}  // namespace
}  // namespace siminfo
