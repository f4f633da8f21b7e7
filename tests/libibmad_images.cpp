// libibmad reads InfiniBand attributes by a layout of its own: what it finds in the reference simulator's
// images is what any other InfiniBand program would find.

#include <infiniband/mad.h>

#include <cstdlib>

#include "simulator/include/infiniband/drovik/bit_access.h"
#include "simulator/record_layout.h"
#include "snapshot/reader.h"
#include "tests/support.h"
#include "verify/expectation.h"
#include "verify/workshop.h"

namespace siminfo {
namespace {

struct Decoded {
  std::string_view record;
  std::string_view number;
  MAD_FIELDS field;
};
// Without three fields, in whose places libibmad contradicts itself: its HDRFECModeSupported lies on its
// EDRFECModeEnabled and drags NDRFECModeSupported along, and its RedirectFL covers RedirectSL.
constexpr std::array kDecoded{
    Decoded{"SMP_NodeInfo", "BaseVersion", IB_NODE_BASE_VERS_F},
    Decoded{"SMP_NodeInfo", "ClassVersion", IB_NODE_CLASS_VERS_F},
    Decoded{"SMP_NodeInfo", "PartitionCap", IB_NODE_PARTITION_CAP_F},
    Decoded{"SMP_NodeInfo", "DeviceID", IB_NODE_DEVID_F},
    Decoded{"SMP_NodeInfo", "revision", IB_NODE_REVISION_F},
    Decoded{"SMP_NodeInfo", "VendorID", IB_NODE_VENDORID_F},
    Decoded{"SMP_SwitchInfo", "LinearFDBCap", IB_SW_LINEAR_FDB_CAP_F},
    Decoded{"SMP_SwitchInfo", "RandomFDBCap", IB_SW_RANDOM_FDB_CAP_F},
    Decoded{"SMP_SwitchInfo", "MCastFDBCap", IB_SW_MCAST_FDB_CAP_F},
    Decoded{"SMP_SwitchInfo", "OptimizedSLVLMapping", IB_SW_OPT_SLTOVL_MAPPING_F},
    Decoded{"SMP_SwitchInfo", "LidsPerPort", IB_SW_LIDS_PER_PORT_F},
    Decoded{"SMP_SwitchInfo", "PartEnfCap", IB_SW_PARTITION_ENFORCE_CAP_F},
    Decoded{"SMP_SwitchInfo", "InbEnfCap", IB_SW_PARTITION_ENF_INB_F},
    Decoded{"SMP_SwitchInfo", "OutbEnfCap", IB_SW_PARTITION_ENF_OUTB_F},
    Decoded{"SMP_SwitchInfo", "FilterRawInbCap", IB_SW_FILTER_RAW_INB_F},
    Decoded{"SMP_SwitchInfo", "FilterRawOutbCap", IB_SW_FILTER_RAW_OUTB_F},
    Decoded{"SMP_SwitchInfo", "ENP0", IB_SW_ENHANCED_PORT0_F},
    Decoded{"SMP_PortInfo", "CapMsk", IB_PORT_CAPMASK_F},
    Decoded{"SMP_PortInfo", "CapMsk2", IB_PORT_CAPMASK2_F},
    Decoded{"SMP_PortInfo", "LinkWidthSup", IB_PORT_LINK_WIDTH_SUPPORTED_F},
    Decoded{"SMP_PortInfo", "LinkSpeedExtSup", IB_PORT_LINK_SPEED_EXT_SUPPORTED_F},
    Decoded{"SMP_PortInfo", "LinkSpeedSup", IB_PORT_LINK_SPEED_SUPPORTED_F},
    Decoded{"SMP_PortInfo", "MTUCap", IB_PORT_MTU_CAP_F},
    Decoded{"SMP_PortInfoExtended", "CapMsk", IB_PORT_EXT_CAPMASK_F},
    Decoded{"SMP_PortInfoExtended", "FECModeActive", IB_PORT_EXT_FEC_MODE_ACTIVE_F},
    Decoded{"SMP_PortInfoExtended", "FDRFECModeSupported", IB_PORT_EXT_FDR_FEC_MODE_SUPPORTED_F},
    Decoded{"SMP_PortInfoExtended", "EDRFECModeSupported", IB_PORT_EXT_EDR_FEC_MODE_SUPPORTED_F},
    Decoded{"IB_ClassPortInfo", "BaseVersion", IB_CPI_BASEVER_F},
    Decoded{"IB_ClassPortInfo", "ClassVersion", IB_CPI_CLASSVER_F},
    Decoded{"IB_ClassPortInfo", "CapMsk", IB_CPI_CAPMASK_F},
    Decoded{"IB_ClassPortInfo", "CapMsk2", IB_CPI_CAPMASK2_F},
    Decoded{"IB_ClassPortInfo", "RespTimeValue", IB_CPI_RESP_TIME_VALUE_F},
    Decoded{"IB_ClassPortInfo", "RedirectTC", IB_CPI_REDIRECT_TC_F},
    Decoded{"IB_ClassPortInfo", "RedirectSL", IB_CPI_REDIRECT_SL_F},
    Decoded{"IB_ClassPortInfo", "RedirectLID", IB_CPI_REDIRECT_LID_F},
    Decoded{"IB_ClassPortInfo", "RedirectPKey", IB_CPI_REDIRECT_PKEY_F},
    Decoded{"IB_ClassPortInfo", "RedirectQP", IB_CPI_REDIRECT_QP_F},
    Decoded{"IB_ClassPortInfo", "RedirectQKey", IB_CPI_REDIRECT_QKEY_F},
};

const NumberLayout& numberOf(const Decoded& decoded) {
  const auto& numbers = recordLayout(decoded.record).numbers;
  return *std::ranges::find(numbers, decoded.number, &NumberLayout::path);
}

/// Every bit of the number, and no other.
TEST(Libibmad, HasTheSameLayoutOfStandardAttributes) {
  for (const Decoded& decoded : kDecoded) {
    const NumberLayout& number = numberOf(decoded);
    std::array<std::uint8_t, 128> ours{};
    std::array<std::uint8_t, 128> theirs{};
    const std::uint64_t ones = ~std::uint64_t{0} >> (64 - number.bits);
    drovik::setBits(ours.data(), number.bit, number.bits, ones);
    mad_set_field(theirs.data(), 0, decoded.field, ~std::uint32_t{0});
    EXPECT_EQ(ours, theirs) << decoded.record << "." << decoded.number;
    EXPECT_EQ(mad_get_field(ours.data(), 0, decoded.field), ones);
  }
  std::array<std::uint8_t, 128> image{};
  std::array<std::uint8_t, 16> gid{};
  const auto& numbers = recordLayout("IB_ClassPortInfo").numbers;
  for (std::size_t i = 0; i < gid.size(); ++i) {
    const std::string path = "RedirectGID[" + std::to_string(i) + "]";
    const auto number = std::ranges::find(numbers, path, &NumberLayout::path);
    drovik::setBits(image.data(), number->bit, number->bits, 0xf0 + i);
  }
  mad_get_array(image.data(), 0, IB_CPI_REDIRECT_GID_F, gid.data());
  for (std::size_t i = 0; i < gid.size(); ++i) EXPECT_EQ(gid[i], 0xf0 + i);
}

std::string preloadLibrary() {
  for (const auto& folder : std::filesystem::directory_iterator("/usr/lib")) {
    const auto path = folder.path() / "umad2sim/libumad2sim.so";
    if (std::error_code error; std::filesystem::exists(path, error)) return path;
  }
  return {};
}

/// A fabric that smpquery asked under ibsim, and its nodes as simulated from that.
class SmpqueryFabric : public testing::Test {
 protected:
  void SetUp() override {
    const std::string preload = preloadLibrary();
    if (preload.empty() || std::system("command -v ibsim smpquery python3 >/dev/null") != 0)
      GTEST_SKIP()
          << "ibsim, smpquery or python3 is missing (packages ibsim-utils, infiniband-diags, python3)";
    const std::string make =
        "python3 " SIMINFO_SOURCE_DIR "/tests/smpquery_fabric.py " + folder() + " " + preload;
    ASSERT_EQ(std::system(make.c_str()), 0);
  }

  std::string folder() const { return directory.path().string(); }

  /// The images that the node's set functions changed in a simulated node.
  static ChangedImages simulate(const Snapshot& snapshot, const IBNode& node, const DumpText& text,
                                const Workshop& workshop, const std::filesystem::path& source) {
    const Expectation expectation(snapshot, node);
    Unit unit{node.name, "Fab1::" + expectation.nodeClass(), node.numPorts, {}, {}};
    for (const DumpFrame& frame : text.sectionsOf({&node}).front()->frames) {
      if (frame.kind() == FrameText::kBlock) unit.frames.push_back(&frame);
    }
    ChangedImages images;
    UnitResult result = workshop.process(unit, text.head(), source);
    for (auto& [method, runs] : result.runs) images.merge(runs.at(0).images);
    return images;
  }

  /// Looks up in the image every number that the record has, in the very words that smpquery printed.
  void expectPrinted(std::string_view record, std::vector<std::uint8_t> image,
                     const std::string& file) const {
    const std::string printed = readFile(directory.path() / file);
    ASSERT_FALSE(printed.empty()) << file;
    ASSERT_EQ(image.size(), recordLayout(record).bytes) << file;
    for (const Decoded& decoded : kDecoded) {
      if (decoded.record != record) continue;
      std::array<char, 4096> words{};
      std::uint64_t value = 0;
      mad_decode_field(image.data(), decoded.field, &value);
      mad_dump_field(decoded.field, words.data(), words.size(), &value);
      EXPECT_NE(printed.find(words.data()), std::string::npos) << file << " has no line\n" << words.data();
    }
  }

  ScratchDirectory directory;
};

TEST_F(SmpqueryFabric, IsWhatLibibmadReadsInTheImages) {
  auto snapshot = std::make_unique<Snapshot>(readSnapshotFile(folder() + "/fabric.jsonl"));
  const Workshop workshop(directory.path() / "work", "c++");
  workshop.writeDumpHeader("Fab1");
  InMemoryDrovik drovik(snapshot->discovered, workshop.dumpFolder("fab1"));
  ASSERT_EQ(SimInfoDumpCPP(drovik).Generate("Fab1", {}), 0);
  const DumpText text(readFile(drovik.files().path()));

  const auto& nodes = snapshot->discovered.fabric.nodeByName;
  EXPECT_EQ(nodes.size(), 4U);
  for (const auto& [name, node] : nodes) {
    const ChangedImages images = simulate(*snapshot, *node, text, workshop, drovik.files().path());
    expectPrinted("SMP_NodeInfo", images.at("nodeInfo"), name + ".nodeinfo.txt");
    if (node->type == kSwitch) {
      expectPrinted("SMP_SwitchInfo", images.at("switchInfo"), name + ".switchinfo.txt");
      expectPrinted("SMP_PortInfo", images.at("nodePortsInfo[0]"), name + ".portinfo.0.txt");
    }
    // The lowest port above Down is the one whose values all ordinary ports share.
    for (std::size_t num = 1; num < node->ports.size(); ++num) {
      if (node->ports[num]->portState < 2) continue;
      const std::string port = std::to_string(num);
      std::string file = name;
      file.append(".portinfo.").append(port).append(".txt");
      expectPrinted("SMP_PortInfo", images.at("nodePortsInfo[" + port + "]"), file);
      break;
    }
  }
}

}  // namespace
}  // namespace siminfo
