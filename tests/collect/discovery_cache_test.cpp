#include "siminfo/collect/discovery_cache.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <random>

#include "siminfo/collect/collect.h"
#include "siminfo/collect/mad_fields.h"
#include "siminfo/snapshot/reader.h"
#include "siminfo/snapshot/writer.h"

namespace siminfo {
namespace {

constexpr std::uint64_t kSwitch1 = 0x2c9;
constexpr std::uint64_t kHost1 = 0x1234;

/// A cache file with a switch of 3 ports, of which 0 and 1 are stored, and an adapter of one port. The
/// members are what a test may falsify.
struct CacheFile {
  std::uint64_t magic = 0x8fe7832b;
  std::uint64_t version = 1;
  std::uint64_t nodes = 2;
  std::uint64_t ports = 3;
  std::uint64_t portNumber = 1;  // of the switch's second stored port
  std::uint64_t ownerGuid = kSwitch1;
  std::uint64_t namedPorts = 2;  // of the switch
  std::uint64_t hostGuid = kHost1;
  std::uint8_t hostType = IB_NODE_CA;
  std::uint8_t typeBefore = IB_NODE_SWITCH;  // as the node's own fields have it
  std::uint32_t capabilityMask2 = 2;
  std::uint64_t peerOfHost = kSwitch1;  // by its port's GUID; the host's is behind the switch's port
  std::uint64_t peerPort = 1;
  std::string behind;

  std::string bytes() {
    text_.clear();
    number(magic, 4);
    number(version, 4);
    number(nodes, 4);
    number(ports, 4);
    number(kSwitch1, 8);
    number(1, 4);
    node(kSwitch1, typeBefore, 3, "sw1");
    number(namedPorts, 1);
    number(kSwitch1, 8);
    number(0, 1);
    number(kSwitch1, 8);
    number(portNumber, 1);
    node(hostGuid, hostType, 1, "host\xff");
    number(1, 1);
    number(hostGuid + 1, 8);
    number(1, 1);
    port(kSwitch1, 0, kSwitch1, 0, 0);
    port(kSwitch1, portNumber, ownerGuid, hostGuid + 1, 1);
    port(hostGuid + 1, 1, hostGuid, peerOfHost, peerPort);
    return text_ + behind;
  }

 private:
  void number(std::uint64_t value, int size) {
    for (; size > 0; --size, value >>= 8U) text_ += static_cast<char>(value & 0xffU);
  }
  void attribute(const Attribute& data) { text_.append(data.begin(), data.end()); }
  void node(std::uint64_t guid, std::uint8_t type, std::uint8_t count, const std::string& description) {
    Attribute info{};
    mad_set_field(info.data(), 0, IB_NODE_TYPE_F, guid == kSwitch1 ? std::uint8_t{IB_NODE_SWITCH} : type);
    mad_set_field(info.data(), 0, IB_NODE_NPORTS_F, count);
    mad_set_field64(info.data(), 0, IB_NODE_GUID_F, guid);
    mad_set_field(info.data(), 0, IB_NODE_VENDORID_F, 0x2c9);
    Attribute switchInfo{};
    mad_set_field(switchInfo.data(), 0, IB_SW_LINEAR_FDB_CAP_F, 0xc000);
    number(0, 4);
    attribute(switchInfo);
    number(guid, 8);
    number(type, 1);
    number(count, 1);
    attribute(info);
    text_ += description + std::string(IB_SMP_DATA_SIZE - description.size(), '\0');
  }
  void port(std::uint64_t guid, std::uint64_t num, std::uint64_t owner, std::uint64_t peer,
            std::uint64_t peerNum) {
    Attribute info{};
    mad_set_field(info.data(), 0, IB_PORT_STATE_F, 4);
    mad_set_field(info.data(), 0, IB_PORT_CAPMASK_F, 0x8048);
    mad_set_field(info.data(), 0, IB_PORT_CAPMASK2_F, capabilityMask2);
    number(guid, 8);
    number(num, 1);
    number(0, 4);
    attribute(info);
    number(owner, 8);
    number(peer != 0 ? 1 : 0, 1);
    number(peer, 8);
    number(peerNum, 1);
  }

  std::string text_;
};

class DiscoveryCacheTest : public testing::Test {
 protected:
  ~DiscoveryCacheTest() override { std::remove(path_.c_str()); }

  /// A new file each time: where one is cut and written anew, the disk may be waited for.
  void write(const std::string& bytes) {
    std::remove(path_.c_str());
    std::ofstream(path_, std::ios_base::binary) << bytes;
  }
  Collected collect() {
    CollectOptions options;
    options.cacheFile = path_;
    return collectFabric(options, {});
  }
  std::string refusal(const std::string& bytes) {
    write(bytes);
    try {
      collect();
    } catch (const CollectError& error) {
      EXPECT_EQ(error.kind(), CollectError::kBadInput);
      return error.what();
    }
    return "accepted";
  }

  std::string path_ = testing::TempDir() + "siminfo_cache_" + std::to_string(getpid());
};

TEST_F(DiscoveryCacheTest, BecomesASnapshot) {
  write(CacheFile().bytes());
  const Collected collected = collect();
  std::ostringstream text;
  writeSnapshot(collected.snapshot, text);
  const std::string body = text.str().substr(text.str().find('\n') + 1);
  const std::string port = R"("records":{"SMP_PortInfo":{"CapMsk":32840,"CapMsk2":2,"LinkWidthSup":0,)"
                           R"("LinkSpeedExtSup2":0,"LinkSpeedExtSup":0,"LinkSpeedSup":0,"MTUCap":0}},)"
                           R"("absent":{"SMP_PortInfoExtended":"not asked: read from a saved discovery"}})";
  const std::string unknown =
      R"("state":"unknown","absent":{"SMP_PortInfo":"not asked: read from a saved )"
      R"(discovery","SMP_PortInfoExtended":"not asked: read from a saved discovery"}})";
  EXPECT_EQ(
      body,
      R"({"name":"host_","alternative_name":"host\\u{00ff}","guid":"0x1234","type":"ca","num_ports":1,)"
      R"("system_guid":"0x0","description":"host\\u{00ff}","records":{"SMP_NodeInfo":{"BaseVersion":0,"ClassVersion":0,"PartitionCap":0,"DeviceID":0,)"
      R"("revision":0,"VendorID":713}},"ports":[{"num":1,"state":"active","guid":"0x1235",)"
      R"("phys_state":0,"link":{"node":"sw1","port":1,"width":0,"speed":0,"speed_ext":0},)" +
          port + "]}\n" +
          R"({"name":"sw1","guid":"0x2c9","type":"switch","num_ports":3,"system_guid":"0x0",)"
          R"("description":"sw1","records":{"SMP_NodeInfo":)"
          R"({"BaseVersion":0,"ClassVersion":0,"PartitionCap":0,"DeviceID":0,"revision":0,)"
          R"("VendorID":713},"SMP_SwitchInfo":{"LinearFDBCap":49152,"RandomFDBCap":0,"MCastFDBCap":0,)"
          R"("OptimizedSLVLMapping":0,"LidsPerPort":0,"PartEnfCap":0,"InbEnfCap":0,"OutbEnfCap":0,)"
          R"("FilterRawInbCap":0,"FilterRawOutbCap":0,"ENP0":0}},"ports":[{"num":0,"state":"active",)"
          R"("guid":"0x2c9","phys_state":0,)" +
          port +
          R"(,{"num":1,"state":"active","phys_state":0,"link":{"node":"host_","port":1,"width":0,)"
          R"("speed":0,"speed_ext":0},)" +
          port + R"(,{"num":2,)" + unknown + R"(,{"num":3,)" + unknown + "]}\n");
  EXPECT_EQ(collected.missing,
            std::vector<std::string>{
                "sw1 (0x00000000000002c9): SMP_PortInfo of port 2, 3: not in the saved discovery"});
}

/// What the snapshot's reader would refuse is not written; what leads out of the file is not known.
TEST_F(DiscoveryCacheTest, LeavesOutLinksThatContradictEachOther) {
  struct Case {
    std::uint64_t peer, port;
    std::size_t warnings, links;
  };
  for (const auto& [peer, port, warnings, links] : {
           Case{kSwitch1, 1, 0, 2},    // as it is
           Case{kHost1 + 1, 1, 1, 1},  // a loopback plug: two ports lead to the host's
           Case{kSwitch1, 2, 0, 1},    // a port of the switch that the file does not have
           Case{0x99, 1, 0, 1},
           Case{0, 0, 0, 1},
       }) {
    CacheFile file;
    file.peerOfHost = peer;
    file.peerPort = port;
    write(file.bytes());
    const Collected collected = collect();
    std::ostringstream text;
    writeSnapshot(collected.snapshot, text);
    EXPECT_EQ(collected.warnings.size(), warnings) << peer << " " << port;
    std::size_t found = 0;
    for (std::size_t at = text.str().find("\"link\""); at != std::string::npos;
         at = text.str().find("\"link\"", at + 1))
      ++found;
    EXPECT_EQ(found, links) << peer << " " << port;
    std::istringstream written(text.str());
    EXPECT_NO_THROW(readSnapshot(
        [&](char* to, std::size_t size) {
          return static_cast<std::size_t>(written.read(to, static_cast<std::streamsize>(size)).gcount());
        },
        "snapshot"));
  }
}

TEST_F(DiscoveryCacheTest, SaysWhatItCannotDecode) {
  CacheFile file;
  file.hostType = IB_NODE_ROUTER;
  file.capabilityMask2 = 1U << 11U;
  write(file.bytes());
  const Collected collected = collect();
  EXPECT_EQ(collected.warnings.size(), 1U);
  const IBNode* router = collected.snapshot.discovered.fabric.nodeByName.at("host_");
  EXPECT_EQ(collected.snapshot.absentOnNodes.at(router->recordIndex),
            (AbsentRecords{{"SMP_RouterInfo", "not asked: read from a saved discovery"}}));
}

TEST_F(DiscoveryCacheTest, IsRefusedWithThePlaceWhereItIsWrong) {
  const auto with = [](auto CacheFile::*member, auto value) {
    CacheFile file;
    file.*member = static_cast<std::remove_reference_t<decltype(file.*member)>>(value);
    return file.bytes();
  };
  const std::vector<std::pair<std::string, std::string>> cases{
      {with(&CacheFile::magic, 1), "byte 0:"},
      {with(&CacheFile::version, 2), "byte 4: version 2 "},
      {with(&CacheFile::nodes, 0xffffffff), "byte 8: 4294967295 nodes "},
      {with(&CacheFile::ports, 0xffffffff), "byte 8: 2 nodes and 4294967295 ports "},
      {with(&CacheFile::portNumber, 255), "byte 244: port 255 "},
      {with(&CacheFile::portNumber, 0), "byte 244:"},
      {with(&CacheFile::ownerGuid, kHost1), "byte 564:"},
      {with(&CacheFile::namedPorts, 1), "byte 244:"},
      {with(&CacheFile::hostGuid, kSwitch1), "byte 253:"},
      {with(&CacheFile::typeBefore, std::uint8_t{3}), "byte 28:"},
      {with(&CacheFile::behind, "x"), "byte 754:"},
      {with(&CacheFile::ports, 2), "byte 659:"},
      {"", "byte 0:"},
  };
  for (const auto& [bytes, expected] : cases)
    EXPECT_NE(refusal(bytes).find(expected), std::string::npos) << refusal(bytes) << " for " << expected;
  const std::string whole = CacheFile().bytes();
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_NE(refusal(whole.substr(0, size)), "accepted");
}

TEST_F(DiscoveryCacheTest, GivesAValidSnapshotOrARefusalWhateverItsBytesAre) {
  std::mt19937 random(20261121);
  const std::string whole = CacheFile().bytes();
  unsigned accepted = 0;
  for (int round = 0; round < 400; ++round) {
    std::string bytes = whole;
    for (auto change = 1 + random() % 3; change > 0; --change)
      bytes[random() % bytes.size()] = static_cast<char>(random());
    if (refusal(bytes) != "accepted") continue;
    ++accepted;
    std::stringstream text;
    writeSnapshot(collect().snapshot, text);
    EXPECT_NO_THROW(readSnapshot(
        [&](char* to, std::size_t size) {
          return static_cast<std::size_t>(text.read(to, static_cast<std::streamsize>(size)).gcount());
        },
        "snapshot"))
        << text.str();
  }
  EXPECT_GT(accepted, 20U);
  EXPECT_LT(accepted, 400U);
}

}  // namespace
}  // namespace siminfo
