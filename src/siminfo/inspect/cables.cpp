#include "siminfo/inspect/cables.h"

namespace siminfo {
namespace {

std::uint64_t keyOf(const IBNode& node, std::uint8_t port) {
  return std::uint64_t{node.recordIndex} << 8U | port;
}

}  // namespace

Cables::Cables(const Snapshot& snapshot) {
  const auto& byName = snapshot.discovered.fabric.nodeByName;
  for (const auto& [name, node] : byName) {
    for (const IBPort* port : node->ports) {
      const PortIdentity* identity =
          port != nullptr ? snapshot.portIdentities.find(port->recordIndex) : nullptr;
      if (identity == nullptr || !identity->link) continue;
      const Link& link = *identity->link;
      const auto found = byName.find(link.node);
      const IBNode* other = found != byName.end() ? found->second : nullptr;
      const bool isNew =
          far_.insert_or_assign(keyOf(*node, port->num), Far{other, &link.node, link.port, &link}).second;
      if (other == nullptr)
        ++leaving_;
      else if (isNew)
        ++inside_;
      if (other != nullptr) far_.try_emplace(keyOf(*other, link.port), Far{node, &name, port->num, &link});
    }
  }
}

const Cables::Far* Cables::find(const IBNode& node, std::uint8_t port) const {
  const auto found = far_.find(keyOf(node, port));
  return found != far_.end() ? &found->second : nullptr;
}

}  // namespace siminfo
