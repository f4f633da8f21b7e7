#include "siminfo/collect/questions.h"

#include <algorithm>
#include <map>

#include "siminfo/collect/mad_fields.h"
#include "siminfo/text/number_text.h"

namespace siminfo {
namespace {

const std::string kPortInfo(kRecordName<SMP_PortInfo>);
const std::string kPortInfoExtended(kRecordName<SMP_PortInfoExtended>);
const std::string kSwitchInfo(kRecordName<SMP_SwitchInfo>);
const std::string kRouterInfo(kRecordName<SMP_RouterInfo>);

Route behind(const WalkedNode& node, unsigned number) {
  Route route = node.route;
  route.push_back(static_cast<std::uint8_t>(number));
  return route;
}

/// Why discovery left a device out that answers with this NodeInfo.
std::string whyLeftOut(const WalkedFabric& fabric, const Attribute& nodeInfo) {
  const std::uint64_t guid = madField64(nodeInfo, IB_NODE_GUID_F);
  if (std::ranges::binary_search(fabric.nodes, guid, {}, &WalkedNode::guid))
    return "has the GUID " + guidText(guid) + " of another device";
  if (!isPlaced(nodeInfo))
    return "says that it received the question at its port " +
           std::to_string(madField(nodeInfo, IB_NODE_LOCAL_PORT_F)) + " of " +
           std::to_string(madField(nodeInfo, IB_NODE_NPORTS_F));
  return "was missed by the discovery, but answers now";
}

}  // namespace

bool supportsExtended(const WalkedNode& node, unsigned number) {
  const auto says = [&](unsigned port) {
    const std::optional<Attribute>& info = node.ports[port].info;
    return info && (capabilityMask2(*info) & kHasPortInfoExtended) != 0;
  };
  return says(number) || (node.type == IB_NODE_SWITCH && says(0));
}

void Questions::askAll(WalkedFabric& fabric, unsigned localPort, std::optional<std::uint16_t> routerInfo) {
  const auto forPorts = [&](auto add) {
    for (WalkedNode& node : fabric.nodes) {
      for (unsigned number = node.firstPort(); number <= node.numPorts; ++number) add(node, number);
    }
    ask();
  };
  for (WalkedNode& node : fabric.nodes) {
    if (!node.isDescribed) addDescription(node);
    if (node.type == IB_NODE_SWITCH && !node.switchInfo)
      addOfNode(node, IB_ATTR_SWITCH_INFO, kSwitchInfo, node.switchInfo);
    if (node.type == IB_NODE_ROUTER) addRouterInfo(node, routerInfo);
  }
  forPorts([&](WalkedNode& node, unsigned number) {
    if (!node.ports[number].info) addPortInfo(node, number);
  });
  forPorts([&](WalkedNode& node, unsigned number) {
    if (supportsExtended(node, number)) addExtended(node, number);
  });
  forPorts([&](const WalkedNode& node, unsigned number) {
    // Packets leave through any port of a switch, and through the port in use of this host.
    const bool isOnTheWay =
        node.type == IB_NODE_SWITCH ? number > 0 : node.route.empty() && number == localPort;
    if (isOnTheWay) addPeer(fabric, node, number);
  });
}

void Questions::addDescription(WalkedNode& node) {
  questions_.push_back({node.route, IB_ATTR_NODE_DESC, 0, [&](const auto& data, const Reason& reason) {
                          if (data)
                            node.description = descriptionText(data->data());
                          else
                            miss(node, "NodeDescription", reason);
                        }});
}

void Questions::addOfNode(WalkedNode& node, std::uint16_t attribute, const std::string& record,
                          std::optional<Attribute>& place) {
  questions_.push_back({node.route, attribute, 0, [&, record](const auto& data, const Reason& reason) {
                          place = data;
                          if (data) return;
                          node.absent[record] = reason.text;
                          miss(node, record, reason);
                        }});
}

void Questions::addRouterInfo(WalkedNode& node, std::optional<std::uint16_t> attribute) {
  if (attribute)
    addOfNode(node, *attribute, kRouterInfo, node.routerInfo);
  else
    node.absent[kRouterInfo] = "not asked: unknown to the InfiniBand libraries";
}

void Questions::addPortInfo(WalkedNode& node, unsigned number) {
  questions_.push_back(
      {node.route, IB_ATTR_PORT_INFO, number, [&, number](const auto& data, const Reason& reason) {
         WalkedPort& port = node.ports[number];
         port.info = data;
         if (data) return;
         port.absent[kPortInfo] = reason.text;
         // An adapter may refuse to speak for a port that it was not asked through.
         if (port.isExpected || !reason.isRefusal) missOfPort(node, number, kPortInfo, reason);
       }});
}

void Questions::addExtended(WalkedNode& node, unsigned number) {
  questions_.push_back(
      {node.route, IB_ATTR_PORT_INFO_EXT, number, [&, number](const auto& data, const Reason& reason) {
         node.ports[number].extended = data;
         if (data) return;
         node.ports[number].absent[kPortInfoExtended] = reason.text;
         missOfPort(node, number, kPortInfoExtended, reason);
       }});
}

void Questions::addPeer(const WalkedFabric& fabric, const WalkedNode& node, unsigned number) {
  const WalkedPort& port = node.ports[number];
  const bool isLinked = port.info && madField(*port.info, IB_PORT_PHYS_STATE_F) == kLinkUp;
  const std::size_t mostHops = limits_.maxHops != 0 ? limits_.maxHops : IB_SUBNET_PATH_HOPS_MAX - 1;
  if (!isLinked || port.peer || node.route.size() >= mostHops) return;
  questions_.push_back(
      {behind(node, number), IB_ATTR_NODE_INFO, 0, [&, number](const auto& data, const Reason& reason) {
         missOfPort(node, number, "the device at the far end",
                    data ? Reason{whyLeftOut(fabric, *data)} : reason);
       }});
}

void Questions::miss(const WalkedNode& node, const std::string& what, const Reason& reason) {
  if (reason.isCommon) return shortfall_.addCommon(what, reason.text);
  shortfall_.add(node, what, reason.text);
}

void Questions::missOfPort(const WalkedNode& node, unsigned number, const std::string& what,
                           const Reason& reason) {
  if (reason.isCommon) return shortfall_.addCommon(what, reason.text);
  shortfall_.add(node, number, what, reason.text);
}

Questions::Reason Questions::reasonFor(SmpOutcome outcome, std::uint32_t status) {
  switch (outcome) {
    case SmpOutcome::kAnswered:
      return {"status " + hexText(status, 4), true, false};
    case SmpOutcome::kTimedOut:
      return {"timed out"};
    case SmpOutcome::kDeviceSilent:
      return {"not asked: the device had stopped answering"};
    case SmpOutcome::kInterrupted:
      return {"not asked: interrupted", false, true};
    case SmpOutcome::kFabricSilent:
      return {"not asked: the fabric had stopped answering", false, true};
  }
  return {};
}

void Questions::ask() {
  std::map<std::uint32_t, const Question*> asked;  // by transaction
  std::size_t next = 0;
  while (next < questions_.size() || !asked.empty()) {
    while (next < questions_.size() && asked.size() < limits_.outstanding) {
      const Question& question = questions_[next++];
      Packet request = makeRequest(question.route, question.attribute, question.modifier);
      asked.emplace(request.transaction(), &question);
      exchange_.submit(request);
    }
    SmpExchange::Completed completed = *exchange_.next();
    const auto question = asked.find(completed.packet.transaction());
    const std::uint32_t status = completed.packet.field(IB_DRSMP_STATUS_F);
    if (completed.outcome == SmpOutcome::kAnswered && status == 0)
      question->second->take(completed.packet.attribute(), {});
    else
      question->second->take(std::nullopt, reasonFor(completed.outcome, status));
    asked.erase(question);
  }
  questions_.clear();
}

}  // namespace siminfo
