#include "siminfo/collect/discovery_cache.h"

#include <random>

#include "siminfo/collect/collect.h"
#include "tests/snapshot/snapshot_text.h"
#include "tests/support.h"

namespace siminfo {
namespace {

// A discovery of the switch sw1, GUID 0x2c9, with 3 ports of which 0 and 1 are stored, and behind its port 1
// an adapter of one port, GUID 0x1234, which describes itself as "host" and a byte 0xff. Its nodes begin at
// bytes 28 and 253, its ports at 469, 564 and 659.
const std::string kTwoNodes = SIMINFO_SOURCE_DIR "/tests/collect/two_nodes";

/// Other bytes for those at a place of the file.
using Patch = std::pair<std::size_t, std::string>;

std::string patched(const std::vector<Patch>& patches) {
  std::string bytes = readFile(kTwoNodes + ".cache");
  for (const auto& [at, other] : patches) bytes.replace(at, other.size(), other);
  return bytes;
}

class DiscoveryCacheTest : public testing::Test {
 protected:
  Collected collect(const std::string& bytes) {
    CollectOptions options;
    // A new file each time: where one is cut and written anew, the disk may be waited for.
    options.cacheFile = (directory_.path() / std::to_string(++files_)).string();
    std::ofstream(options.cacheFile, std::ios_base::binary) << bytes;
    return collectFabric(options, {});
  }
  std::string refusalOf(const std::string& bytes) {
    try {
      const std::string text = written(collect(bytes).snapshot);
      EXPECT_EQ(withoutHeader(written(read(text))), withoutHeader(text));
    } catch (const CollectError& error) {
      EXPECT_EQ(error.kind(), CollectError::kBadFile);
      return error.what();
    }
    return "accepted";
  }
  static std::string withoutHeader(const std::string& text) { return text.substr(text.find('\n')); }

 private:
  ScratchDirectory directory_;
  int files_ = 0;
};

TEST_F(DiscoveryCacheTest, BecomesASnapshot) {
  const Collected collected = collect(patched({}));
  EXPECT_EQ(withoutHeader(written(collected.snapshot)), withoutHeader(readFile(kTwoNodes + ".jsonl")));
  EXPECT_EQ(collected.missing,
            std::vector<std::string>{
                "sw1 (0x00000000000002c9): SMP_PortInfo of port 2, 3: not in the saved discovery"});
}

/// What the snapshot's reader would refuse is not written; what leads out of the file is not known.
TEST_F(DiscoveryCacheTest, LeavesOutLinksThatContradictEachOther) {
  struct Case {
    const char* name;
    std::vector<Patch> patches;  // of the adapter's far end
    std::size_t warnings, links;
  };
  for (const auto& [name, patches, warnings, links] : {
           Case{"as it is", {}, 0, 2},
           Case{"a loopback plug: two ports lead to the host's", {{745, "\x35\x12"}}, 1, 1},
           Case{"a port of the switch that the file does not have", {{753, "\x02"}}, 0, 1},
           Case{"a device that the file does not have", {{745, "\x99"}}, 0, 1},
           Case{"nothing", {{744, std::string(1, '\0')}}, 0, 1},
       }) {
    const Collected collected = collect(patched(patches));
    EXPECT_EQ(collected.warnings.size(), warnings) << name;
    const std::string text = written(collected.snapshot);
    std::size_t found = 0;
    for (std::size_t at = 0; (at = text.find("\"link\"", at)) != std::string::npos; ++at) ++found;
    EXPECT_EQ(found, links) << name;
    EXPECT_EQ(refusalOf(patched(patches)), "accepted");
  }
}

TEST_F(DiscoveryCacheTest, SaysWhatItCannotDecode) {
  const std::string extended("\x08\x00",
                             2);  // in the CapabilityMask2 of all ports, where the adapter is a router
  const Collected collected =
      collect(patched({{329, "\x03"}, {333, "\x03"}, {542, extended}, {637, extended}, {732, extended}}));
  EXPECT_EQ(collected.warnings.size(), 1U);
  const IBNode* router = collected.snapshot.discovered.fabric.nodeByName.at("host_");
  EXPECT_EQ(collected.snapshot.absentOnNodes.at(router->recordIndex),
            (AbsentRecords{{"SMP_RouterInfo", "not asked: read from a saved discovery"}}));
}

TEST_F(DiscoveryCacheTest, IsRefusedWithThePlaceWhereItIsWrong) {
  const std::string all(4, '\xff');
  const std::vector<std::pair<std::string, std::string>> cases{
      {"", "byte 0:"},
      {patched({{0, "\x01"}}), "byte 0:"},
      {patched({{4, "\x02"}}), "byte 4: version 2 "},
      {patched({{8, all}}), "byte 8: 4294967295 nodes "},
      {patched({{12, all}}), "byte 8: 2 nodes and 4294967295 ports "},
      {patched({{12, "\x02"}}), "byte 659:"},
      {patched({{104, "\x03"}}), "byte 28:"},                          // another type than NodeInfo has
      {patched({{234, "\x01"}}), "byte 244:"},                         // one port named, and two there
      {patched({{252, "\xff"}}), "byte 244: port 255 "},               // of 3
      {patched({{252, std::string(1, '\0')}}), "byte 244:"},           // a port that is named already
      {patched({{321, "\xc9\x02"}, {349, "\x02\xc9"}}), "byte 253:"},  // the other node's GUID
      {patched({{641, "\x34\x12"}}), "byte 564:"},                     // another owner than names it
      {patched({{659, "\xc9\x02"}, {736, "\xc9\x02"}}), "byte 659:"},  // a port that is there already
      {patched({}) + "x", "byte 754:"},
  };
  for (const auto& [bytes, expected] : cases)
    EXPECT_NE(refusalOf(bytes).find(expected), std::string::npos) << refusalOf(bytes) << " for " << expected;
  const std::string whole = patched({});
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_NE(refusalOf(whole.substr(0, size)), "accepted");
}

TEST_F(DiscoveryCacheTest, GivesAValidSnapshotOrARefusalWhateverItsBytesAre) {
  std::mt19937 random(20261121);
  unsigned accepted = 0;
  for (int round = 0; round < 400; ++round) {
    std::string bytes = patched({});
    for (auto change = 1 + random() % 3; change > 0; --change)
      bytes[random() % bytes.size()] = static_cast<char>(random());
    if (refusalOf(bytes) == "accepted") ++accepted;
  }
  EXPECT_GT(accepted, 20U);
  EXPECT_LT(accepted, 400U);
}

}  // namespace
}  // namespace siminfo
