#include "siminfo/inspect/topology.h"

#include <algorithm>
#include <set>

#include "siminfo/inspect/cables.h"
#include "siminfo/text/number_text.h"
#include "siminfo/text/quoting.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

/// How the text form calls a type of node. It has three; what is of another type is written as an adapter.
struct TypeWords {
  std::string_view line;
  std::string_view guid;
  std::string_view letter;
};
TypeWords wordsOf(const IBNode& node) {
  if (node.type == kSwitch) return {"Switch", "switchguid", "S"};
  if (node.type == kRouter) return {"Rt", "rtguid", "R"};
  return {"Ca", "caguid", "H"};
}

class TopologyWriter {
 public:
  TopologyWriter(const Snapshot& snapshot, const std::vector<const IBNode*>& nodes)
      : snapshot_(snapshot), cables_(snapshot), shown_(nodes.begin(), nodes.end()) {}

  std::string write(const std::vector<const IBNode*>& nodes) {
    text_ = "#\n# Topology file: of " + safeText(snapshot_.source.empty() ? "a snapshot" : snapshot_.source) +
            "\n#\n";
    // Switches come first, and the first port in the file is where a simulator's own manager sits: the
    // order is that of the tool whose form this is.
    for (const bool isSwitch : {true, false}) {
      for (const IBNode* node : nodes) {
        if ((node->type == kSwitch) == isSwitch) addNode(*node);
      }
    }
    return std::move(text_);
  }

 private:
  /// Nodes that share a GUID would be one node to whoever reads the file, so all but the first get a name
  /// that is their own.
  std::string idOf(const IBNode& node) {
    const auto [found, isNew] = owners_.try_emplace(node.guid, &node);
    std::string id(wordsOf(node).letter);
    id.append("-").append(hexDigits(node.guid, 16));
    if (found->second != &node) id.append("-").append(std::to_string(node.recordIndex));
    return id;
  }

  std::string portGuid(const IBNode& node, std::uint8_t num) const {
    const PortIdentity* identity = identityOf(node, num);
    if (identity == nullptr || !identity->guid) return {};
    return std::string("(").append(hexDigits(*identity->guid)).append(")");
  }
  const PortIdentity* identityOf(const IBNode& node, std::uint8_t num) const {
    const IBPort* port = num < node.ports.size() ? node.ports[num] : nullptr;
    return port != nullptr ? snapshot_.portIdentities.find(port->recordIndex) : nullptr;
  }
  /// " lid 4 lmc 0", as far as it is known.
  std::string addressOf(const IBNode& node, std::uint8_t num, bool withLmc) const {
    const PortIdentity* identity = identityOf(node, node.type == kSwitch ? std::uint8_t{0} : num);
    if (identity == nullptr || !identity->lid) return {};
    std::string text(" lid ");
    text.append(std::to_string(*identity->lid));
    if (withLmc) text.append(" lmc ").append(std::to_string(identity->lmc.value_or(0)));
    return text;
  }

  void addNode(const IBNode& node) {
    const auto& [line, guid, letter] = wordsOf(node);
    const auto* info = snapshot_.discovered.records.find<SMP_NodeInfo>(node.recordIndex);
    const NodeIdentity* identity = snapshot_.nodeIdentities.find(node.recordIndex);
    text_ += "\n";
    if (info != nullptr)
      text_ += "vendid=" + hexText(info->VendorID) + "\ndevid=" + hexText(info->DeviceID) + "\n";
    if (identity != nullptr && identity->systemGuid)
      text_ += "sysimgguid=" + hexText(*identity->systemGuid) + "\n";
    text_.append(guid).append("=").append(hexText(node.guid));
    if (node.type == kSwitch) text_ += portGuid(node, 0);
    text_.append("\n").append(line).append("\t").append(std::to_string(node.numPorts));
    text_.append(" \"").append(idOf(node)).append("\"\t\t# \"").append(nameOf(node)).append("\"");
    if (node.type == kSwitch) text_ += portZeroWords(node) + addressOf(node, 0, true);
    text_ += "\n";
    for (unsigned num = 1; num <= node.numPorts; ++num) addPort(node, static_cast<std::uint8_t>(num));
  }

  /// A name as the device gave it; what could end the quotation is shown as its code.
  std::string nameOf(const IBNode& node) const {
    const NodeIdentity* identity = snapshot_.nodeIdentities.find(node.recordIndex);
    return printable(identity != nullptr && identity->description ? *identity->description : node.name);
  }

  std::string portZeroWords(const IBNode& node) const {
    const auto* info = snapshot_.discovered.records.find<SMP_SwitchInfo>(node.recordIndex);
    return info != nullptr && info->ENP0 != 0 ? " enhanced port 0" : " base port 0";
  }

  static std::string speedText(const Link& link) {
    const std::string words = speedWords(link);
    return words.empty() ? words : " " + words;
  }

  void addPort(const IBNode& node, std::uint8_t num) {
    const Cables::Far* far = cables_.find(node, num);
    if (far == nullptr) return;
    std::string near = "[";
    near.append(std::to_string(num)).append("]");
    if (far->node == nullptr || !shown_.contains(far->node)) {
      text_.append("# ").append(near).append(" to port ").append(std::to_string(far->port)).append(" of ");
      text_.append(inQuotes(*far->name)).append(", which is not in this file\n");
      return;
    }
    const bool isSwitch = node.type == kSwitch;
    text_.append(near).append(isSwitch ? "" : portGuid(node, num)).append("\t\"");
    text_.append(idOf(*far->node)).append("\"[").append(std::to_string(far->port)).append("]");
    if (far->node->type != kSwitch) text_ += portGuid(*far->node, far->port);
    text_.append("\t\t#").append(isSwitch ? "" : addressOf(node, num, true));
    text_.append(" \"").append(nameOf(*far->node)).append("\"");
    text_.append(addressOf(*far->node, far->port, false)).append(speedText(*far->link)).append("\n");
  }

  const Snapshot& snapshot_;
  Cables cables_;
  std::set<const IBNode*> shown_;
  std::map<std::uint64_t, const IBNode*> owners_;  // the node that has the GUID to itself
  std::string text_;
};

}  // namespace

std::string topologyText(const Snapshot& snapshot, const std::vector<const IBNode*>& nodes) {
  return TopologyWriter(snapshot, nodes).write(nodes);
}

}  // namespace siminfo
