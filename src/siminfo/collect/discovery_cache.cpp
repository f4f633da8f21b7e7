#include "siminfo/collect/discovery_cache.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <system_error>
#include <utility>

#include "siminfo/collect/collect_error.h"
#include "siminfo/collect/mad_fields.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

// The file, numbers with their low byte first and attributes as they travel:
//   header  magic 4, version 4, nodes 4, ports 4, GUID of the first node 8, largest hop count 4
//   node    LID 2, LMC 1, enhanced port 0 1, SwitchInfo 64, GUID 8, type 1, port count 1, NodeInfo 64,
//           NodeDescription 64, stored ports 1, and for each of these: port GUID 8, port number 1
//   port    GUID 8, number 1, external number 1, LID 2, LMC 1, PortInfo 64, GUID of its node 8,
//           has a remote port 1, remote port's GUID 8, remote port's number 1
// All nodes come before all ports.
constexpr std::uint64_t kMagic = 0x8fe7832b;
constexpr std::uint64_t kVersion = 1;
constexpr std::size_t kSmallestNode = 207;
constexpr std::size_t kPort = 95;
// Every node has a LID of its own, and a subnet has no more of them for single ports.
constexpr std::uint64_t kMaxNodes = IB_MAX_UCAST_LID;
// Ports that nodes have and the file does not: of an adapter, all but the one through which it was found.
constexpr std::size_t kMostUnknownPorts = std::size_t{1} << 16U;
// Far more than so many nodes with all their ports take.
constexpr std::uintmax_t kLargestFile = std::uintmax_t{1} << 30U;

using PortKey = std::pair<std::uint64_t, unsigned>;  // port GUID and number

class CacheReader {
 public:
  CacheReader(std::string fileName, std::vector<std::uint8_t> bytes)
      : fileName_(std::move(fileName)), bytes_(std::move(bytes)) {}

  WalkedFabric read() {
    if (number(4) != kMagic)
      refuse(0, "this is not a discovery cache; expected a file that ibnetdiscover --cache wrote");
    if (const auto version = number(4); version != kVersion)
      refuse(4, "version " + std::to_string(version) + " of the format; expected version " +
                    std::to_string(kVersion));
    const std::uint64_t nodes = number(4);
    const std::uint64_t ports = number(4);
    skip(12);
    if (nodes > kMaxNodes)
      refuse(8, std::to_string(nodes) + " nodes are announced, more than a subnet can have");
    if (nodes * kSmallestNode + ports * kPort > bytes_.size() - at_)
      refuse(8, std::to_string(nodes) + " nodes and " + std::to_string(ports) +
                    " ports are announced, which do not fit into " + std::to_string(bytes_.size()) +
                    " bytes");
    for (std::uint64_t i = 0; i < nodes; ++i) readNode();
    for (std::uint64_t i = 0; i < ports; ++i) readPort();
    if (at_ != bytes_.size()) refuse(at_, "there is more data after the last port");
    return finish();
  }

 private:
  [[noreturn]] void refuse(std::size_t at, const std::string& what) const {
    throw CollectError(CollectError::kBadFile,
                       safeText(fileName_) + ": byte " + std::to_string(at) + ": " + what);
  }
  void require(std::size_t count) const {
    if (bytes_.size() - at_ < count) refuse(bytes_.size(), "the file ends too soon");
  }
  void skip(std::size_t count) {
    require(count);
    at_ += count;
  }
  std::uint64_t number(std::size_t count) {
    require(count);
    std::uint64_t value = 0;
    for (std::size_t i = count; i-- > 0;) value = value << 8U | bytes_[at_ + i];
    at_ += count;
    return value;
  }
  Attribute attribute() {
    require(IB_SMP_DATA_SIZE);
    Attribute data;
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(at_), data.size(), data.begin());
    at_ += data.size();
    return data;
  }

  void readNode() {
    const std::size_t start = at_;
    skip(4);
    const Attribute switchInfo = attribute();
    const std::uint64_t guid = number(8);
    const std::uint64_t type = number(1);
    const std::uint64_t numPorts = number(1);
    WalkedNode node = makeNode(attribute());
    if (node.guid != guid || node.numPorts != numPorts || node.type != static_cast<int>(type))
      refuse(start, "the node's GUID, type and port count are not those of its NodeInfo");
    node.description = descriptionText(attribute().data());
    if (node.type == IB_NODE_SWITCH) node.switchInfo = switchInfo;
    std::uint64_t stored = number(1);
    unknownPorts_ += numPorts - std::min(numPorts, stored);
    if (unknownPorts_ > kMostUnknownPorts)
      refuse(start, "up to this node, " + std::to_string(unknownPorts_) +
                        " ports of nodes are not in the file; expected at most " +
                        std::to_string(kMostUnknownPorts));
    for (; stored > 0; --stored) {
      const std::size_t at = at_;
      const std::uint64_t portGuid = number(8);
      const PortKey key{portGuid, static_cast<unsigned>(number(1))};
      if (key.second > node.numPorts || key.second < node.firstPort())
        refuse(at, "port " + std::to_string(key.second) + " is listed for a node that has " +
                       std::to_string(node.numPorts) + " ports");
      if (!named_.emplace(key, guid).second) refuse(at, "the port already belongs to another node");
    }
    if (!nodes_.emplace(guid, std::move(node)).second)
      refuse(start, "there is already a node with this GUID");
  }

  void readPort() {
    const std::size_t start = at_;
    const std::uint64_t guid = number(8);
    const PortKey key{guid, static_cast<unsigned>(number(1))};
    skip(4);
    WalkedPort port;
    port.info = attribute();
    const auto owner = named_.find(key);
    if (owner == named_.end() || number(8) != owner->second)
      refuse(start, "no node has this port, or another node has it than the port says");
    const bool hasPeer = number(1) != 0;
    const std::uint64_t peerGuid = number(8);
    const PortKey peer{peerGuid, static_cast<unsigned>(number(1))};
    if (hasPeer) peers_.push_back({owner->second, key.second, peer});
    const auto node = nodes_.find(owner->second);
    WalkedPort& place = node->second.ports[key.second];
    if (place.info) refuse(start, "the port is in the file twice");
    port.isExpected = true;
    port.guid = guid;
    place = port;
  }

  WalkedFabric finish() {
    // The file names a far end by its port, and ports may come in any order.
    for (const Peer& each : peers_) {
      if (const auto owner = named_.find(each.farEnd); owner != named_.end())
        nodes_.at(each.node).ports[each.port].peer = {owner->second, each.farEnd.second};
    }
    WalkedFabric fabric;
    for (auto& [guid, node] : nodes_) fabric.nodes.push_back(std::move(node));
    return fabric;
  }

  std::string fileName_;
  std::vector<std::uint8_t> bytes_;
  std::size_t at_ = 0;
  std::size_t unknownPorts_ = 0;
  std::map<std::uint64_t, WalkedNode> nodes_;
  struct Peer {
    std::uint64_t node;  // by GUID
    unsigned port;
    PortKey farEnd;
  };
  std::vector<Peer> peers_;
  std::map<PortKey, std::uint64_t> named_;  // ports that nodes name as theirs
};

}  // namespace

WalkedFabric readDiscoveryCache(const std::string& fileName) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(fileName, error);
  if (!error && size > kLargestFile) error = std::make_error_code(std::errc::file_too_large);
  std::vector<std::uint8_t> bytes(error ? 0 : size);
  if (!error) {
    errno = 0;
    std::ifstream file(fileName, std::ios_base::binary);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!file) error = {errno != 0 ? errno : EIO, std::generic_category()};
  }
  if (error) throw CollectError(CollectError::kBadFile, safeText(fileName) + ": " + error.message());
  return CacheReader(fileName, std::move(bytes)).read();
}

}  // namespace siminfo
