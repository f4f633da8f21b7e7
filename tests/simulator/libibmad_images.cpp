// libibmad reads InfiniBand attributes by a layout of its own: what it finds in the reference simulator's
// images is what any other InfiniBand program would find.

#include <cstdlib>

#include "siminfo/collect/mad_fields.h"
#include "siminfo/simulator/include/infiniband/drovik/bit_access.h"
#include "siminfo/simulator/record_layout.h"
#include "siminfo/snapshot/reader.h"
#include "siminfo/verify/expectation.h"
#include "siminfo/verify/node_verdict.h"
#include "siminfo/verify/work_folder.h"
#include "siminfo/verify/workshop.h"
#include "tests/support.h"

namespace siminfo {
namespace {

struct Decoded {
  std::string_view record;
  MadField number;
};

template <class Record>
void append(std::string_view record, std::vector<Decoded>& all) {
  for (const MadField& field : kMadFields<Record>) {
    if (field.id != IB_NO_FIELD) all.push_back({record, field});
  }
}

/// What libibmad can read, by the collector's tables; and ClassPortInfo, which is not collected. Without
/// RedirectFL, whose decoder covers RedirectSL.
std::vector<Decoded> decodedNumbers() {
  std::vector<Decoded> all;
  append<SMP_NodeInfo>("SMP_NodeInfo", all);
  append<SMP_SwitchInfo>("SMP_SwitchInfo", all);
  append<SMP_PortInfo>("SMP_PortInfo", all);
  append<SMP_PortInfoExtended>("SMP_PortInfoExtended", all);
  for (const MadField& field : {
           MadField{"BaseVersion", IB_CPI_BASEVER_F},
           MadField{"ClassVersion", IB_CPI_CLASSVER_F},
           MadField{"CapMsk", IB_CPI_CAPMASK_F},
           MadField{"CapMsk2", IB_CPI_CAPMASK2_F},
           MadField{"RespTimeValue", IB_CPI_RESP_TIME_VALUE_F},
           MadField{"RedirectTC", IB_CPI_REDIRECT_TC_F},
           MadField{"RedirectSL", IB_CPI_REDIRECT_SL_F},
           MadField{"RedirectLID", IB_CPI_REDIRECT_LID_F},
           MadField{"RedirectPKey", IB_CPI_REDIRECT_PKEY_F},
           MadField{"RedirectQP", IB_CPI_REDIRECT_QP_F},
           MadField{"RedirectQKey", IB_CPI_REDIRECT_QKEY_F},
       })
    all.push_back({"IB_ClassPortInfo", field});
  return all;
}
const std::vector<Decoded> kDecoded = decodedNumbers();

const NumberLayout& numberOf(const Decoded& decoded) {
  const auto& numbers = recordLayout(decoded.record).numbers;
  return *std::ranges::find(numbers, decoded.number.name, &NumberLayout::path);
}

/// Every bit of the number, and no other.
TEST(Libibmad, HasTheSameLayoutOfStandardAttributes) {
  for (const Decoded& decoded : kDecoded) {
    const NumberLayout& number = numberOf(decoded);
    std::array<std::uint8_t, 128> ours{};
    std::array<std::uint8_t, 128> theirs{};
    const std::uint64_t ones = ~std::uint64_t{0} >> (64 - number.bits);
    drovik::setBits(ours.data(), number.bit, number.bits, ones);
    mad_set_field(theirs.data(), 0, decoded.number.id, ~std::uint32_t{0});
    EXPECT_EQ(ours, theirs) << decoded.record << "." << decoded.number.name;
    EXPECT_EQ(mad_get_field(ours.data(), 0, decoded.number.id), ones);
  }
  for (const MadField& field : kMadFields<SMP_PortInfoExtended>) {
    if (field.firstBit == 0) continue;
    EXPECT_EQ(numberOf({"SMP_PortInfoExtended", field}).bit, field.firstBit) << field.name;
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

/// A fabric that smpquery asked under ibsim, and its nodes as simulated from that.
class SmpqueryFabric : public testing::Test {
 protected:
  void SetUp() override {
    constexpr int kMissing = 77;
    const std::string make = "python3 " SIMINFO_SOURCE_DIR "/tests/collect/smpquery_fabric.py " + folder();
    const int status = std::system(make.c_str());
    if (WEXITSTATUS(status) == kMissing) GTEST_SKIP() << "ibsim, smpquery or opensm is missing";
    ASSERT_EQ(status, 0);
  }

  std::string folder() const { return directory.path().string(); }

  /// The images that the node's set functions changed in a simulated node.
  static ChangedImages simulate(const Snapshot& snapshot, const FoundNode& found,
                                const ExpectedFile& expected, const Workshop& workshop,
                                const std::filesystem::path& source) {
    NodeVerdict verdict = judgeNode(found, expected, FrameForm::kExact);
    const IBNode& node = *verdict.result.node;
    ChangedImages images;
    const UnitResult result = workshop.process({node.name, verdict.result.nodeClass, node.numPorts,
                                                Expectation(snapshot, node).pushKeys(), verdict.frames},
                                               source);
    for (const auto& [method, runs] : result.runs)
      images.insert(runs.at(0).images.begin(), runs.at(0).images.end());
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
      mad_decode_field(image.data(), decoded.number.id, &value);
      mad_dump_field(decoded.number.id, words.data(), words.size(), &value);
      EXPECT_NE(printed.find(words.data()), std::string::npos) << file << " has no line\n" << words.data();
    }
  }

  ScratchDirectory directory;
};

TEST_F(SmpqueryFabric, IsWhatLibibmadReadsInTheImages) {
  auto snapshot = std::make_unique<Snapshot>(readSnapshotFile(folder() + "/fabric.jsonl"));
  const WorkFolder work({});
  const Workshop workshop(work.path(), "Fab1", "c++", {work.group(), [] { return false; }});
  InMemoryDrovik drovik(snapshot->discovered, workshop.dumpFolder());
  ASSERT_EQ(SimInfoDumpCPP(drovik).Generate("Fab1", {}), 0);
  const DumpText text(readFile(drovik.files().path()));

  const ExpectedFile expected{*snapshot, "Fab1", nodesToGenerate(*snapshot, {{}, true})};
  const FileCheck check = checkFile(text, expected);
  EXPECT_EQ(check.nodes.size(), 4U);
  for (const FoundNode& found : check.nodes) {
    const IBNode* node = found.expected->node;
    const std::string& name = node->name;
    const ChangedImages images = simulate(*snapshot, found, expected, workshop, drovik.files().path());
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
