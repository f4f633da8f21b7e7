// The exact text of blocks, one for each shape that there is. Whole field lists stand in the golden file.

#include <functional>

#include "tests/support.h"

namespace siminfo {
namespace {

class Blocks : public GeneratorTest {
 protected:
  IBNode& reductionSwitch(std::uint8_t numPorts) {
    IBNode& node = addNode("sw", kSwitch, numPorts);
    support(node, {9, 55});
    give<IB_ClassPortInfo>(node);
    return node;
  }
  IBPort& addSpecialPort(IBNode& node, std::uint8_t num) {
    IBPort& port = addPort(node, num);
    port.special = true;
    return port;
  }
};

TEST_F(Blocks, OfANode) {
  IBNode& node = addNode("ca", kChannelAdapter);
  give(node, SMP_NodeInfo{.BaseVersion = 1,
                          .ClassVersion = 255,
                          .PartitionCap = 0,
                          .DeviceID = 0xc000,
                          .revision = 0xffffffff,
                          .VendorID = 713});
  EXPECT_EQ(frame("setNodeInfo", node),
            "    SMP_NodeInfo mad_buffer = {0};\n"
            "    SMP_NodeInfo_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodeInfo));\n"
            "\n"
            "    mad_buffer.BaseVersion = 0x1;\n"
            "    mad_buffer.ClassVersion = 0xff;\n"
            "    mad_buffer.PartitionCap = 0x0;\n"
            "    mad_buffer.DeviceID = 0xc000;\n"
            "    mad_buffer.revision = 0xffffffff;\n"
            "    mad_buffer.VendorID = 0x2c9;\n"
            "\n"
            "    SMP_NodeInfo_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodeInfo));\n"
            "\n"
            "    m_node->resizePortPkeyTable(mad_buffer.PartitionCap);");
}

TEST_F(Blocks, OfAnAttributeBehindAnAccessor) {
  IBNode& node = addNode("sw", kSwitch);
  give(node, SMP_ExtendedSwitchInfo{1});
  EXPECT_EQ(frame("setExtendedSwitchInfo", node),
            "    SMP_ExtendedSwitchInfo mad_buffer = {0};\n"
            "    SMP_ExtendedSwitchInfo_unpack(&mad_buffer, "
            "reinterpret_cast<u_int8_t*>(m_node->getExtendedSwitchInfo()));\n"
            "\n"
            "    mad_buffer.turbo_path_cap = 0x1;\n"
            "\n"
            "    SMP_ExtendedSwitchInfo_pack(&mad_buffer, "
            "reinterpret_cast<u_int8_t*>(m_node->getExtendedSwitchInfo()));");
}

TEST_F(Blocks, OfCapabilityMasks) {
  IBNode& node = addNode("sw", kSwitch);
  // A bit without a name and one above the table are restored and not listed.
  discovered.capabilities.setAnswer(node.recordIndex, false, {0, {{0, 1U << 10 | 1U << 12, 0, 0x80000000}}});
  discovered.capabilities.setAnswer(node.recordIndex, true, {0, {}});
  EXPECT_EQ(frame("setSMPCapability", node),
            "    // ---------- SMP Caps ----------\n"
            "    // IsDCQCNSupported\n"
            "\n"
            "    GeneralInfoCapabilityMask mad_buffer = {0};\n"
            "    GeneralInfoCapabilityMask_unpack(&mad_buffer, "
            "reinterpret_cast<u_int8_t*>(&m_node->capMaskSMP));\n"
            "\n"
            "    mad_buffer.capability0 = 0x0;\n"
            "    mad_buffer.capability1 = 0x1400;\n"
            "    mad_buffer.capability2 = 0x0;\n"
            "    mad_buffer.capability3 = 0x80000000;\n"
            "\n"
            "    GeneralInfoCapabilityMask_pack(&mad_buffer, "
            "reinterpret_cast<u_int8_t*>(&m_node->capMaskSMP));");
  EXPECT_TRUE(frame("setGMPCapability", node)
                  .starts_with("    // ---------- GMP Caps ----------\n"
                               "\n"
                               "    GeneralInfoCapabilityMask mad_buffer = {0};\n"));
}

TEST_F(Blocks, OfFirmwareSpellEveryByteOfThePSID) {
  IBNode& node = addNode("ca", kChannelAdapter);
  VSGeneralInfo info{};
  info.FWInfo.BuildID = 0xffffffff;
  info.FWInfo.PSID = {'M', 'T', 0xff};
  info.FWInfo.INI_File_Version = 2;
  give(node, info);
  const std::string text = frame("setFWInfo", node);
  std::string expected = "    mad_buffer.BuildID = 0xffffffff;\n";
  for (int i = 0; i < 16; ++i) {
    const char* const value = i == 0 ? "4d" : i == 1 ? "54" : i == 2 ? "ff" : "0";
    expected += "    mad_buffer.PSID.PSID[" + std::to_string(i) + "] = 0x" + value + ";\n";
  }
  expected += "    mad_buffer.INI_File_Version = 0x2;\n";
  EXPECT_NE(text.find(expected), std::string::npos) << text;
}

TEST_F(Blocks, OfPrivateForwardingSpellAllFourModes) {
  IBNode& node = addNode("sw", kSwitch);
  support(node, {0, 12});
  ib_private_lft_info info{};
  info.NumPLFTs = 1;
  info.Description_Mode[3] = {.NumOfLFTables = 4, .LFTableSize = 48};
  give(node, info);
  const std::string text = frame("setPrivateLftInfo", node);
  EXPECT_NE(text.find("    mad_buffer.NoFallback = 0x0;\n"
                      "    mad_buffer.Description_Mode[0].LFTableSize = 0x0;\n"
                      "    mad_buffer.Description_Mode[0].NumOfLFTables = 0x0;\n"),
            std::string::npos);
  EXPECT_NE(text.find("    mad_buffer.Description_Mode[3].LFTableSize = 0x30;\n"
                      "    mad_buffer.Description_Mode[3].NumOfLFTables = 0x4;\n"
                      "\n"
                      "    ib_private_lft_info_pack("),
            std::string::npos);
}

TEST_F(Blocks, OfTheClassPortInfoHoldAnAddressForTheGID) {
  IBNode& node = reductionSwitch(0);
  const std::string text = frame("setVSReductionManagerClassPortInfo", node);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 17);  // 18 lines
  std::ostringstream address;
  address << static_cast<const void*>(
      discovered.records.getZYRClassPortInfo(node.recordIndex)->RedirectGID.data());
  EXPECT_NE(text.find("\n    mad_buffer.RedirectGID = 0x" + address.str() +
                      ";\n    mad_buffer.RedirectFL = 0x1;\n"),
            std::string::npos)
      << text;
}

constexpr const char* kAdapterHead =
    "    for (size_t i = 0; i < m_node->nodePortsInfo.size(); i++) {\n"
    "        SMP_PortInfo mad_buffer = {0};\n"
    "        SMP_PortInfo_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodePortsInfo[i]));\n"
    "\n";

TEST_F(Blocks, OfAnAdaptersPorts) {
  IBNode& node = addNode("ca", kChannelAdapter, 1);
  // Bit 0 has no name; bit 1, a subnet manager, never shows.
  give(addPort(node, 1), SMP_PortInfo{.CapMsk = 0x80000003,
                                      .CapMsk2 = 0xe000,
                                      .LinkWidthSup = 2,
                                      .LinkSpeedExtSup2 = 1,
                                      .LinkSpeedExtSup = 3,
                                      .LinkSpeedSup = 7,
                                      .MTUCap = 4});
  EXPECT_EQ(
      frame("setPortInfo", node),
      std::string(kAdapterHead) +
          "        // ---------- CapMask\n"
          "        // IsHierarchyInfoSupported                       = 1\n"
          "        mad_buffer.CapMsk = 0x80000001;\n"
          "\n"
          "        // ---------- CapMask2\n"
          "        mad_buffer.CapMsk2 = 0xe000;\n"
          "\n"
          "        mad_buffer.LinkWidthSup = 0x2;\n"
          "\n"
          "        mad_buffer.LinkSpeedExtSup2 = 0x1;\n"
          "        mad_buffer.LinkSpeedExtSup = 0x3;\n"
          "        mad_buffer.LinkSpeedSup = 0x7;\n"
          "        mad_buffer.MTUCap = 0x4;\n"
          "\n"
          "        SMP_PortInfo_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodePortsInfo[i]));\n"
          "    }");
}

TEST_F(Blocks, OfASwitchsPorts) {
  IBNode& node = addNode("sw", kSwitch, 37);
  node.orbelSwitch = true;
  give(addPort(node, 0, 1), SMP_PortInfo{.CapMsk = 0x100000, .CapMsk2 = 1});
  give(addPort(node, 1), SMP_PortInfo{.CapMsk = 2, .LinkWidthSup = 9});
  give(addSpecialPort(node, 37), SMP_PortInfo{.CapMsk = 4, .LinkWidthSup = 3});
  const std::string speeds =
      "            mad_buffer.LinkSpeedExtSup2 = 0x0;\n"
      "            mad_buffer.LinkSpeedExtSup = 0x0;\n"
      "            mad_buffer.LinkSpeedSup = 0x0;\n"
      "            mad_buffer.MTUCap = 0x0;\n";
  EXPECT_EQ(
      frame("setPortInfo", node),
      std::string(kAdapterHead) +
          "        if (!i) {\n"
          "            // ---------- CapMask\n"
          "            // IsVendorClassSupported                         = 1\n"
          "            mad_buffer.CapMsk = 0x100000;\n"
          "\n"
          "            // ---------- CapMask2\n"
          "            // IsSetNodeDescriptionSupported                  = 1\n"
          "            mad_buffer.CapMsk2 = 0x1;\n"
          "\n"
          "            mad_buffer.LinkWidthSup = 0x0;\n"
          "\n" +
          speeds +
          "        } else if (i == 37) {\n"
          "            mad_buffer.CapMsk = 0x4;\n"
          "            mad_buffer.CapMsk2 = 0x0;\n"
          "\n"
          "            mad_buffer.LinkWidthSup = 0x3;\n"
          "\n" +
          speeds +
          "        } else {\n"
          "            mad_buffer.CapMsk = 0x0;\n"
          "            mad_buffer.CapMsk2 = 0x0;\n"
          "\n" +
          speeds +
          "        }\n"
          "\n"
          "        SMP_PortInfo_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->nodePortsInfo[i]));\n"
          "    }");
}

TEST_F(Blocks, OfExtendedPortsAndPortsExtended) {
  IBNode& node = reductionSwitch(2);
  give(addPort(node, 1), filled<SMP_KrelExtPortInfo>(2));
  give(addSpecialPort(node, 2), filled<SMP_KrelExtPortInfo>(3));
  const std::string text = frame("setExtendedPortInfo", node);
  EXPECT_TRUE(
      text.starts_with("    for (size_t i = 0; i < m_node->nodeExtPortsInfo.size(); i++) {\n"
                       "        SMP_KrelExtPortInfo mad_buffer = {0};\n"
                       "        SMP_KrelExtPortInfo_unpack(&mad_buffer, "
                       "reinterpret_cast<u_int8_t*>(&m_node->nodeExtPortsInfo[i]));\n"
                       "\n"
                       "        switch (i) {\n"
                       "        case 2:\n"
                       "            mad_buffer.LinkSpeedSupported = 0x3;\n"))
      << text;
  EXPECT_TRUE(
      text.ends_with("            mad_buffer.FECModeActive = 0x2;\n"
                     "            mad_buffer.RetransMode = 0x2;\n"
                     "        }\n"
                     "\n"
                     "        SMP_KrelExtPortInfo_pack(&mad_buffer, "
                     "reinterpret_cast<u_int8_t*>(&m_node->nodeExtPortsInfo[i]));\n"
                     "    }"))
      << text;
  EXPECT_NE(text.find("            mad_buffer.RetransMode = 0x3;\n"
                      "            break;\n"
                      "        default:\n"
                      "            mad_buffer.LinkSpeedSupported = 0x2;\n"),
            std::string::npos);

  give(*node.ports[1], SMP_PortInfoExtended{.CapMsk = 2, .FECModeActive = 0x10});
  EXPECT_EQ(frame("setPortInfoExtended", node),
            "    for (size_t i = 0; i < m_node->nodePortsInfoExt.size(); i++) {\n"
            "        SMP_PortInfoExtended mad_buffer = {0};\n"
            "        SMP_PortInfoExtended_unpack(&mad_buffer, "
            "reinterpret_cast<u_int8_t*>(&m_node->nodePortsInfoExt[i]));\n"
            "\n"
            "        mad_buffer.CapMsk = 0x2;\n"
            "        mad_buffer.FECModeActive = 0x10;\n"
            "        mad_buffer.FDRFECModeSupported = 0x0;\n"
            "        mad_buffer.EDRFECModeSupported = 0x0;\n"
            "        mad_buffer.HDRFECModeSupported = 0x0;\n"
            "        mad_buffer.NDRFECModeSupported = 0x0;\n"
            "\n"
            "        SMP_PortInfoExtended_pack(&mad_buffer, "
            "reinterpret_cast<u_int8_t*>(&m_node->nodePortsInfoExt[i]));\n"
            "    }");
}

TEST_F(Blocks, OfReductionPorts) {
  IBNode& node = reductionSwitch(65);
  give(addPort(node, 1), ZYRReductionPortInfo{0x11});
  give(addSpecialPort(node, 65), ZYRReductionPortInfo{0x22});
  EXPECT_EQ(frame("setZYRReductionPortInfo", node),
            "    for (phys_port_t i = 1; i < m_node->numPorts; i++) {\n"
            "        ZYRReductionPortInfo mad_buffer = {0};\n"
            "        ZYRReductionPortInfo_unpack(&mad_buffer, "
            "reinterpret_cast<u_int8_t*>(&m_node->zyrReductionPortInfo[i]));\n"
            "\n"
            "        switch (i) {\n"
            "        case 65:\n"
            "            mad_buffer.capability_mask = 0x22;\n"
            "            break;\n"
            "        default:\n"
            "            mad_buffer.capability_mask = 0x11;\n"
            "        }\n"
            "\n"
            "        ZYRReductionPortInfo_pack(&mad_buffer, "
            "reinterpret_cast<u_int8_t*>(&m_node->zyrReductionPortInfo[i]));\n"
            "    }");
}

std::string counterSet(int port, int index, const std::string& lines) {
  const std::string call = "(" + std::to_string(port) + ", " + std::to_string(index) + ", lean_pipe";
  return "            {\n"
         "            ZYRReductCounters mad_buffer = {0};\n"
         "            const ib_zyr_reduction_counters_t *p_ctr = m_node->getZyrReductionCounters" +
         call +
         ");\n"
         "            if (p_ctr) {\n"
         "                ib_zyr_reduction_counters_t ctr = *p_ctr;\n"
         "                ZYRReductionCounters_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(&ctr));\n"
         "\n" +
         lines +
         "\n"
         "                ZYRReductionCounters_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&ctr));\n"
         "                m_node->setZyrReductionCounters" +
         call +
         ", &ctr);\n"
         "            }\n"
         "            }\n";
}

TEST_F(Blocks, OfReductionCounters) {
  // The order of emission, with the record's counters numbered 1 to 20; the ninth comes twice.
  const std::vector<std::pair<const char*, int>> order = {
      {"incoming_good_mc_read_req_pkt", 1},
      {"incoming_good_mc_read_req_data", 2},
      {"incoming_good_mc_write_req_pkt", 3},
      {"incoming_good_mc_write_req_data", 4},
      {"incoming_good_mc_read_resp_pkt", 5},
      {"incoming_good_mc_read_resp_data", 6},
      {"incoming_good_mc_write_resp_pkt", 7},
      {"incoming_good_mc_write_resp_data", 8},
      {"generated_mc_read_resp_pkt", 9},
      {"dropped_pkt", 13},
      {"trapped_pkt", 14},
      {"zyr_reduction_errors", 15},
      {"zyr_reduction_penalty_box_errors", 16},
      {"port_zyd_local_alm_id_allocations", 17},
      {"port_zyd_global_alm_id_allocations", 18},
      {"sent_good_mc_pull_write_req_packet", 19},
      {"sent_good_mc_pull_read_req_packet", 20},
      {"generated_mc_write_resp_pkt", 11},
      {"generated_mc_write_resp_data", 12},
      {"generated_mc_read_resp_pkt", 9},
      {"generated_mc_read_resp_data", 10},
  };
  ZYRReductionCounters numbered{};
  std::uint64_t words[20];
  for (std::uint64_t i = 0; i < 20; ++i) words[i] = 0x8000000000000000 + i + 1;
  static_assert(sizeof words == sizeof numbered);
  std::memcpy(&numbered, words, sizeof words);
  std::string lines;
  for (const auto& [name, number] : order)
    lines += std::string("                mad_buffer.") + name + " = 0x80000000000000" +
             (number < 16 ? "0" : "1") + "0123456789abcdef"[number % 16] + ";\n";

  IBNode& node = reductionSwitch(3);
  for (const std::uint8_t num : {std::uint8_t{1}, std::uint8_t{3}}) {
    IBPort& port = num == 3 ? addSpecialPort(node, num) : addPort(node, num);
    discovered.records.setCounters(port.recordIndex, 3, numbered);
    discovered.records.setMonitor(port.recordIndex, 0);
  }
  discovered.records.setCounters(node.ports[3]->recordIndex, 0, numbered);
  EXPECT_EQ(frame("setZYRReductionCounters", node),
            "\n"
            "    const u_int8_t lean_pipe = 0x0F;\n"
            "    for (phys_port_t i = 1; i < m_node->numPorts; i++) {\n"
            "        switch (i) {\n"
            "            case 3:\n" +
                counterSet(3, 0, lines) + counterSet(3, 3, lines) +
                "            break;\n"
                "        default:\n" +
                counterSet(1, 3, lines) +
                "        }\n"
                "    }");
}

TEST_F(Blocks, OfPushCounters) {
  IBNode& node = reductionSwitch(2);
  ZYRPushReductionCounters record = filled<ZYRPushReductionCounters>(0xab);
  for (const std::uint8_t num : {std::uint8_t{1}, std::uint8_t{2}}) {
    IBPort& port = num == 2 ? addSpecialPort(node, num) : addPort(node, num);
    record.header0 = num;
    record.header1 = 65535;
    give(port, record);
    discovered.records.setMonitor(port.recordIndex, 1);
  }
  std::string setters;
  for (const Field& field : std::span(kFields<ZYRPushReductionCounters>).subspan(2))
    setters += "                wrapper.set_" + std::string(field.name) + "(0xab);\n";
  const auto block = [&](const std::string& num) {
    return "            ZYRPushReductionCounters mad_buffer = {0};\n"
           "            const ZYRPushReductionCounters_view_t *p_ctr = m_node->getZyrPushReductionCounters(" +
           num +
           ", 65535);\n"
           "            if (p_ctr) {\n"
           "                ZYRPushReductionCounters_view_t wrapper = *p_ctr;\n" +
           setters +
           "\n"
           "                m_node->setZyrReductionCounters(" +
           num +
           ", 65535, &wrapper);\n"
           "            }\n";
  };
  EXPECT_EQ(frame("setZYRPushReductionCounters", node),
            "    for (phys_port_t i = 1; i < m_node->numPorts; i++) {\n"
            "        switch (i) {\n"
            "        case 2:\n" +
                block("2") +
                "            break;\n"
                "        default:\n" +
                block("1") +
                "        }\n"
                "\n"
                "        SMP_KrelExtPortInfo_pack(&mad_buffer, "
                "reinterpret_cast<u_int8_t*>(&m_node->nodeExtPortsInfo[i]));\n"
                "    }");
  EXPECT_EQ(std::count(setters.begin(), setters.end(), '\n'), 17);
}

/// The lines of one record, which callers may ask for by themselves, at a given indentation.
struct RecordLines {
  std::string_view record;  ///< its type's name
  std::function<void(std::ostream& os, int indent)> write;
  std::function<void(std::ostream& os)> writeNull;
};

template <class Record>
RecordLines recordLines(const SimInfoDumpCPP& generator,
                        void (SimInfoDumpCPP::*generate)(std::ostream&, int, const Record*) const,
                        const Record& record) {
  return {kRecordName<Record>,
          [=, &generator](std::ostream& os, int indent) { (generator.*generate)(os, indent, &record); },
          [=, &generator](std::ostream& os) { (generator.*generate)(os, 20, nullptr); }};
}

class RecordLevel : public Blocks {
 protected:
  std::vector<RecordLines> operations() const {
    const auto portInfo = filled<SMP_PortInfo>(255);
    const auto counters = filled<ZYRReductionCounters>(7);
    return {
        recordLines(generator, &SimInfoDumpCPP::GenerateExtendedPortInfo, filled<SMP_KrelExtPortInfo>(1)),
        recordLines(generator, &SimInfoDumpCPP::GenerateZYRReductionPortInfo,
                    filled<ZYRReductionPortInfo>(1)),
        recordLines(generator, &SimInfoDumpCPP::GenerateZYRReductionCounters, counters),
        recordLines(generator, &SimInfoDumpCPP::GenerateZYRPushReductionCounters,
                    filled<ZYRPushReductionCounters>(1)),
        {"SMP_PortInfo",
         [this, portInfo](std::ostream& os, int indent) {
           generator.GeneratePortInfoSW(os, &portInfo, indent, true, true);
         },
         [this](std::ostream& os) { generator.GeneratePortInfoSW(os, nullptr, 20, true, true); }},
        {"",
         [this, counters](std::ostream& os, int indent) {
           generator.GenerateZYRReductionCounters(os, indent, 3,
                                                  {{0, &counters}, {1, nullptr}, {7, &counters}});
         },
         {}},
    };
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
  for (const RecordLines& each : operations()) {
    std::ostringstream usual;
    each.write(usual, 12);
    EXPECT_EQ(indentedBy(12, usual.str()), usual.str()) << each.record;
    for (const int indent : {-3, 0, 5, 16, 17, 20, 61, 64, 65, 300}) {
      std::ostringstream os;
      each.write(os, indent);
      EXPECT_EQ(os.str(), indentedBy(std::max(indent, 0), usual.str())) << each.record << " at " << indent;
    }
  }
}

TEST_F(RecordLevel, LinesOfNoRecordStopTheBuild) {
  for (const RecordLines& each : operations()) {
    if (!each.writeNull) continue;
    std::ostringstream os;
    each.writeNull(os);
    EXPECT_EQ(os.str(),
              "\n#error \"Failed to dump " + std::string(each.record) + " MAD. Null pointer is provided.\"");
  }
  std::ostringstream os;
  generator.GeneratePortInfoCA(os, nullptr);
  EXPECT_EQ(os.str(), "#error \"Failed to dump PortInfo MAD. Null pointer is provided.\"");
}

}  // namespace
}  // namespace siminfo
