#include "siminfo/collect/identity.h"

#include <algorithm>
#include <set>

#include "siminfo/collect/mad_fields.h"
#include "siminfo/snapshot/links.h"
#include "siminfo/text/quoting.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

class IdentityBuilder {
 public:
  IdentityBuilder(const WalkedFabric& fabric, const std::vector<std::string>& names, Snapshot& snapshot)
      : fabric_(fabric), names_(names), snapshot_(snapshot) {}

  void addNode(const WalkedNode& walked, const IBNode& node) {
    NodeIdentity identity;
    identity.systemGuid = madField64(walked.info, IB_NODE_SYSTEM_GUID_F);
    if (walked.isDescribed) identity.description = safeText(walked.description);
    snapshot_.nodeIdentities.set(node.recordIndex, identity);
    for (const IBPort* port : node.ports) {
      if (port != nullptr) addPort(walked, *port);
    }
  }

 private:
  void addPort(const WalkedNode& walked, const IBPort& port) {
    const WalkedPort& from = walked.ports[port.num];
    PortIdentity identity;
    // A switch has one address for all of its ports, which is that of port 0.
    const bool hasAddress = walked.type != IB_NODE_SWITCH || port.num == 0;
    if (hasAddress && from.guid != 0) identity.guid = from.guid;
    if (from.info) {
      if (const auto lid = madField(*from.info, IB_PORT_LID_F); hasAddress && lid != 0) {
        identity.lid = static_cast<std::uint16_t>(lid);
        identity.lmc = static_cast<std::uint8_t>(madField(*from.info, IB_PORT_LMC_F));
      }
      identity.physState = static_cast<std::uint8_t>(madField(*from.info, IB_PORT_PHYS_STATE_F));
    }
    if (from.peer && port.num > 0) identity.link = link(*from.peer, from.info);
    if (identity != PortIdentity{}) snapshot_.portIdentities.set(port.recordIndex, identity);
  }

  /// A saved discovery may name a far end that is not in it.
  std::optional<Link> link(const PeerPort& peer, const std::optional<Attribute>& info) const {
    const auto node = std::ranges::lower_bound(fabric_.nodes, peer.nodeGuid, {}, &WalkedNode::guid);
    if (node == fabric_.nodes.end() || node->guid != peer.nodeGuid || peer.port == 0 || peer.port > 255)
      return std::nullopt;
    Link link;
    link.node = names_[static_cast<std::size_t>(node - fabric_.nodes.begin())];
    link.port = static_cast<std::uint8_t>(peer.port);
    if (info) {
      link.width = static_cast<std::uint8_t>(madField(*info, IB_PORT_LINK_WIDTH_ACTIVE_F));
      link.speed = static_cast<std::uint8_t>(madField(*info, IB_PORT_LINK_SPEED_ACTIVE_F));
      link.speedExt = static_cast<std::uint8_t>(madField(*info, IB_PORT_LINK_SPEED_EXT_ACTIVE_F));
    }
    return link;
  }

  const WalkedFabric& fabric_;
  const std::vector<std::string>& names_;
  Snapshot& snapshot_;
};

/// All links of the snapshot, for judgement; an end's place is its port's record index.
LinkJudge judgeOf(const Snapshot& snapshot) {
  LinkJudge judge;
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) {
    for (const IBPort* port : node->ports) {
      const PortIdentity* identity =
          port != nullptr ? snapshot.portIdentities.find(port->recordIndex) : nullptr;
      if (identity != nullptr && identity->link)
        judge.add({node, port->num, &*identity->link, port->recordIndex});
    }
  }
  return judge;
}

/// Takes out the links that whoever reads the snapshot would refuse, and returns a line for each.
std::vector<std::string> dropContradictions(Snapshot& snapshot) {
  std::vector<std::string> lines;
  for (;;) {  // without one link, another may be right
    std::set<std::size_t> dropped;
    judgeOf(snapshot).judge(snapshot.discovered.fabric,
                            [&](const LinkJudge::End& end, const std::string& what) {
                              if (dropped.insert(end.place).second)
                                lines.push_back("the link of port " + std::to_string(end.port) + " of " +
                                                inQuotes(end.node->name) + " is left out: it " + what);
                            });
    if (dropped.empty()) return lines;
    for (const std::size_t place : dropped) {
      const auto index = static_cast<std::uint32_t>(place);
      PortIdentity identity = *snapshot.portIdentities.find(index);
      identity.link.reset();
      snapshot.portIdentities.set(index, identity);
    }
  }
}

}  // namespace

std::vector<std::string> addIdentities(const WalkedFabric& fabric, const std::vector<std::string>& names,
                                       Snapshot& snapshot) {
  IdentityBuilder builder(fabric, names, snapshot);
  for (std::size_t i = 0; i < names.size(); ++i)
    builder.addNode(fabric.nodes[i], *snapshot.discovered.fabric.nodeByName.at(names[i]));
  return dropContradictions(snapshot);
}

}  // namespace siminfo
