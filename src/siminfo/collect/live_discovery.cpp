#include "siminfo/collect/live_discovery.h"

#include <infiniband/ibnetdisc.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "siminfo/collect/collect_error.h"
#include "siminfo/collect/library_gate.h"

namespace siminfo {
namespace {

/// Keeps the C libraries from printing: they report each failed request in their own words and places, and
/// whatever they missed is asked for again and reported in ours.
class QuietLibraries {
 public:
  QuietLibraries() : kept_(stderr), nowhere_(std::fopen("/dev/null", "w")) {
    if (nowhere_ != nullptr) stderr = nowhere_;
  }
  ~QuietLibraries() {
    stderr = kept_;
    if (nowhere_ != nullptr) std::fclose(nowhere_);
  }
  QuietLibraries(const QuietLibraries&) = delete;
  QuietLibraries& operator=(const QuietLibraries&) = delete;

 private:
  std::FILE* kept_;
  std::FILE* nowhere_;
};

using LibraryFabric = std::unique_ptr<ibnd_fabric_t, decltype(&ibnd_destroy_fabric)>;

/// The library leaves zeros where an attribute was not answered, and no device answers with zeros alone.
std::optional<Attribute> answered(const std::uint8_t (&bytes)[IB_SMP_DATA_SIZE]) {
  if (std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; })) return std::nullopt;
  Attribute data;
  std::ranges::copy(bytes, data.begin());
  return data;
}

WalkedNode fromLibrary(const ibnd_node_t& found) {
  Attribute info;
  std::ranges::copy(found.info, info.begin());
  WalkedNode node = makeNode(info);
  if (node.type == IB_NODE_SWITCH) node.switchInfo = answered(found.switchinfo);
  node.description = descriptionText(reinterpret_cast<const std::uint8_t*>(found.nodedesc));
  node.isDescribed = !node.description.empty();
  const ib_dr_path_t& path = found.path_portid.drpath;
  const std::ptrdiff_t hops = std::clamp(path.cnt, 0, IB_SUBNET_PATH_HOPS_MAX - 1);
  node.route.assign(path.p + 1, path.p + 1 + hops);
  for (unsigned number = node.firstPort(); number <= node.numPorts; ++number) {
    const ibnd_port_t* port = found.ports[number];
    if (port == nullptr) continue;
    node.ports[number].info = answered(port->info);
    node.ports[number].guid = port->guid;
    if (port->remoteport != nullptr)
      node.ports[number].peer = {port->remoteport->node->guid,
                                 static_cast<unsigned>(port->remoteport->portnum)};
    node.ports[number].isExpected = true;
  }
  return node;
}

}  // namespace

WalkedFabric discoverFabric(const HostPort& port, const WalkLimits& limits, SmpWatch& watch,
                            std::size_t& nodesFound) {
  ibnd_config_t config{};
  config.max_smps = limits.outstanding;
  config.timeout_ms = limits.timing.timeoutMs;
  config.retries = limits.timing.retries;
  LibraryFabric found(nullptr, &ibnd_destroy_fabric);
  {
    const QuietLibraries quiet;
    const LibraryGate gate(limits, watch, nodesFound);
    std::string device = port.device;
    found.reset(ibnd_discover_fabric(device.data(), port.number, nullptr, &config));
  }
  WalkedFabric fabric;
  if (!found) {
    if (watch.isInterrupted()) return fabric;
    // No packet at all: the library could not even open the port.
    throw CollectError(CollectError::kNoPort, watch.sent == 0
                                                  ? portFault(port)
                                                  : port.name() + ": the port's own device does not answer");
  }
  for (const ibnd_node_t* node = found->nodes; node != nullptr; node = node->next)
    fabric.nodes.push_back(fromLibrary(*node));
  std::ranges::sort(fabric.nodes, {}, &WalkedNode::guid);
  return fabric;
}

}  // namespace siminfo
