#include "siminfo/collect/walked_fabric.h"

#include <algorithm>

#include "siminfo/collect/mad_fields.h"

namespace siminfo {

WalkedNode makeNode(const Attribute& nodeInfo) {
  WalkedNode node;
  node.info = nodeInfo;
  node.guid = madField64(nodeInfo, IB_NODE_GUID_F);
  node.type = static_cast<int>(madField(nodeInfo, IB_NODE_TYPE_F));
  node.numPorts = madField(nodeInfo, IB_NODE_NPORTS_F);
  node.ports.resize(node.numPorts + std::size_t{1});
  for (WalkedPort& port : node.ports) port.isExpected = node.type == IB_NODE_SWITCH;
  return node;
}

std::string descriptionText(const std::uint8_t* bytes) {
  return {bytes, std::find(bytes, bytes + IB_SMP_DATA_SIZE, 0)};
}

}  // namespace siminfo
