#include "siminfo/inspect/cables.h"

#include <algorithm>
#include <array>
#include <span>

#include "siminfo/text/number_text.h"

namespace siminfo {
namespace {

std::uint64_t keyOf(const IBNode& node, std::uint8_t port) {
  return std::uint64_t{node.recordIndex} << 8U | port;
}

}  // namespace

std::string speedWords(const Link& link) {
  constexpr std::array kWidths{Word{"1x", 1}, Word{"4x", 2}, Word{"8x", 4}, Word{"12x", 8}, Word{"2x", 16}};
  constexpr std::array kSpeeds{Word{"SDR", 1}, Word{"DDR", 2}, Word{"QDR", 4}};
  constexpr std::array kExtended{Word{"FDR", 1}, Word{"EDR", 2}, Word{"HDR", 4}, Word{"NDR", 8}};
  const auto wordOf = [](std::span<const Word> words, std::optional<std::uint8_t> code) {
    const auto found = std::ranges::find(words, code.value_or(0), &Word::value);
    return found != words.end() ? found->word : std::string_view();
  };
  const std::string_view width = wordOf(kWidths, link.width);
  std::string_view speed = wordOf(kExtended, link.speedExt);
  if (speed.empty()) speed = wordOf(kSpeeds, link.speed);
  if (width.empty() || speed.empty()) return {};
  return std::string(width).append(speed);
}

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
