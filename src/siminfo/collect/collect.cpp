#include "siminfo/collect/collect.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <utility>

#include "siminfo/collect/attribute_layouts.h"
#include "siminfo/collect/discovery_cache.h"
#include "siminfo/collect/identity.h"
#include "siminfo/collect/live_discovery.h"
#include "siminfo/collect/mad_fields.h"
#include "siminfo/collect/names.h"
#include "siminfo/collect/questions.h"
#include "siminfo/collect/umad_port.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

constexpr unsigned kMaxPorts = 254;  // that a snapshot's node can have

std::string utcText(std::time_t when) {
  std::tm parts{};
  gmtime_r(&when, &parts);
  char text[sizeof "2026-11-21T03:00:00Z"];
  return {text, std::strftime(text, sizeof text, "%FT%TZ", &parts)};
}

/// What the user tells of a fabric, beside what it tells of itself.
struct UserFiles {
  NodeNameMap names;
  AttributeLayouts layouts;
};

/// Makes a snapshot of what was walked.
class SnapshotBuilder {
 public:
  /// `notAsked` is why an attribute is missing that nobody asked for.
  SnapshotBuilder(Collected& collected, Shortfall& shortfall, const AttributeLayouts& layouts,
                  std::string notAsked)
      : collected_(collected), shortfall_(shortfall), layouts_(layouts), notAsked_(std::move(notAsked)) {}

  void add(const WalkedNode& walked, const std::string& name, const std::string& alternativeName) {
    const unsigned numPorts = std::min(walked.numPorts, kMaxPorts);
    Snapshot& snapshot = collected_.snapshot;
    IBNode& node = *snapshot.discovered.fabric.addNode(name, static_cast<std::uint8_t>(numPorts));
    node.alternativeName = alternativeName;
    node.guid = walked.guid;
    node.type = walked.type;
    if (numPorts < walked.numPorts)
      shortfall_.add(walked, "port 255", "a snapshot's nodes have at most 254 ports");

    const std::uint32_t index = node.recordIndex;
    AbsentRecords absent = walked.absent;
    store<SMP_NodeInfo>(walked.info, notAsked_, index, absent);
    if (node.type == kSwitch) store<SMP_SwitchInfo>(walked.switchInfo, notAsked_, index, absent);
    if (node.type == kRouter) store<SMP_RouterInfo>(walked.routerInfo, notAsked_, index, absent);
    if (!absent.empty()) snapshot.absentOnNodes[index] = std::move(absent);
    for (unsigned number = walked.firstPort(); number <= numPorts; ++number) addPort(walked, number, node);
  }

  void finish() {
    collected_.missing = shortfall_.lines();
    if (withSpeeds2_ > 0 && !layouts_.firstBits.contains(&kLinkSpeedExtSup2))
      collected_.warnings.push_back(
          "LinkSpeedExtSup2, which libibmad does not decode, is written as 0; ports that have such speeds: " +
          std::to_string(withSpeeds2_) + "; --attribute-layouts can tell where the field is");
  }

 private:
  void addPort(const WalkedNode& walked, unsigned number, IBNode& node) {
    const WalkedPort& from = walked.ports[number];
    Snapshot& snapshot = collected_.snapshot;
    IBPort& port = *snapshot.discovered.fabric.addPort(node, static_cast<std::uint8_t>(number));
    if (from.info) port.portState = static_cast<int>(madField(*from.info, IB_PORT_STATE_F));

    AbsentRecords absent = from.absent;
    const std::uint32_t index = port.recordIndex;
    store<SMP_PortInfo>(from.info, notAsked_, index, absent);
    const std::string unsupported = from.info ? "not asked: the port does not support it" : notAsked_;
    store<SMP_PortInfoExtended>(from.extended, supportsExtended(walked, number) ? notAsked_ : unsupported,
                                index, absent);
    if (!absent.empty()) snapshot.absentOnPorts[index] = std::move(absent);
    if (from.info && (capabilityMask2(*from.info) & kHasExtendedSpeeds2) != 0) ++withSpeeds2_;
  }

  /// The record of the attribute, or the reason why there is none.
  template <class Record>
  void store(const std::optional<Attribute>& attribute, const std::string& reason, std::uint32_t index,
             AbsentRecords& absent) {
    if (attribute)
      collected_.snapshot.discovered.records.set(index, decode<Record>(*attribute, layouts_));
    else
      absent.try_emplace(std::string(kRecordName<Record>), reason);
  }

  Collected& collected_;
  Shortfall& shortfall_;
  const AttributeLayouts& layouts_;
  std::string notAsked_;
  std::size_t withSpeeds2_ = 0;  // ports that have extended speeds of the second set
};

void build(const WalkedFabric& fabric, const UserFiles& files, const std::string& notAsked,
           Shortfall& shortfall, Collected& collected) {
  SnapshotBuilder builder(collected, shortfall, files.layouts, notAsked);
  const std::vector<std::string> names = nodeNames(fabric.nodes);
  for (std::size_t i = 0; i < names.size(); ++i)
    builder.add(fabric.nodes[i], names[i], alternativeName(fabric.nodes[i], files.names));
  builder.finish();
  for (std::string& line : addIdentities(fabric, names, collected.snapshot))
    collected.warnings.push_back(std::move(line));
}

Collected fromCache(const CollectOptions& options, const UserFiles& files) {
  const WalkedFabric fabric = readDiscoveryCache(options.cacheFile);
  Collected collected;
  collected.snapshot.source = safeText(std::filesystem::path(options.cacheFile).filename().string());
  struct stat file {};
  if (::stat(options.cacheFile.c_str(), &file) == 0) collected.snapshot.collectedAt = utcText(file.st_mtime);
  Shortfall shortfall;
  for (const WalkedNode& node : fabric.nodes) {
    for (unsigned number = node.firstPort(); number <= node.numPorts; ++number) {
      if (node.ports[number].isExpected && !node.ports[number].info)
        shortfall.add(node, number, "SMP_PortInfo", "not in the saved discovery");
    }
  }
  build(fabric, files, "not asked: read from a saved discovery", shortfall, collected);
  return collected;
}

Collected fromPort(const CollectOptions& options, const UserFiles& files, const CollectWatch& user) {
  Collected collected;
  const HostPort port = choosePort(options.device, options.port);
  collected.snapshot.source = safeText(port.name());
  collected.snapshot.collectedAt = utcText(std::time(nullptr));

  SmpWatch watch;
  CollectProgress progress;
  watch.isInterrupted = user.isInterrupted;
  watch.tick = [&] {
    progress.packets = watch.sent;
    user.progress(progress);
  };
  WalkedFabric fabric = discoverFabric(port, options.limits, watch, progress.nodes);
  UmadPort umad(port.device, port.number);
  Shortfall shortfall;
  const std::optional<std::uint16_t> routerInfo = files.layouts.routerInfo;
  Questions(umad, options.limits, watch, shortfall)
      .askAll(fabric, static_cast<unsigned>(port.number), routerInfo);
  const auto routers = std::ranges::count(fabric.nodes, kRouter, &WalkedNode::type);
  if (routers > 0 && !routerInfo)
    collected.warnings.push_back(
        "SMP_RouterInfo, which libibmad does not know, was not asked for; routers: " +
        std::to_string(routers) + "; --attribute-layouts can tell its number and layout");
  collected.packets = watch.sent;
  build(fabric, files, "not asked: PortInfo is missing", shortfall, collected);
  return collected;
}

}  // namespace

Collected collectFabric(const CollectOptions& options, const CollectWatch& watch) {
  UserFiles files;
  if (!options.nodeNameMap.empty()) files.names = readNodeNameMap(options.nodeNameMap);
  if (!options.attributeLayouts.empty()) files.layouts = readAttributeLayouts(options.attributeLayouts);
  return options.cacheFile.empty() ? fromPort(options, files, watch) : fromCache(options, files);
}

}  // namespace siminfo
