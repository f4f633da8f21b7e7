#include "siminfo/collect/shortfall.h"

#include "siminfo/text/number_text.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

constexpr std::size_t kPortsNamed = 8;

std::string portList(const std::set<unsigned>& ports) {
  if (ports.size() > kPortsNamed) return std::to_string(ports.size()) + " ports";
  std::string text = "port ";
  for (const unsigned port : ports) text += (text.ends_with(' ') ? "" : ", ") + std::to_string(port);
  return text;
}

}  // namespace

Shortfall::Entry& Shortfall::entry(std::uint64_t guid, const std::string& what, const std::string& reason) {
  Entry& found = entries_[{guid, what, reason}];
  ++found.count;
  return found;
}

void Shortfall::add(const WalkedNode& node, const std::string& what, const std::string& reason) {
  const std::string name = cleanName(node.description);
  entry(node.guid, what, reason).node =
      name.empty() ? guidText(node.guid) : name + " (" + guidText(node.guid) + ")";
}

void Shortfall::add(const WalkedNode& node, unsigned port, const std::string& what,
                    const std::string& reason) {
  add(node, what, reason);
  entries_[{node.guid, what, reason}].ports.insert(port);
}

void Shortfall::addCommon(const std::string& what, const std::string& reason) { entry(0, what, reason); }

std::vector<std::string> Shortfall::lines() const {
  std::vector<std::string> lines;
  for (const auto& [key, entry] : entries_) {
    const auto& [guid, what, reason] = key;
    std::string line = entry.node.empty() ? std::to_string(entry.count) + " nodes or ports" : entry.node;
    line.append(": ").append(what);
    if (!entry.ports.empty()) line.append(" of ").append(portList(entry.ports));
    lines.push_back(line.append(": ").append(reason));
  }
  return lines;
}

}  // namespace siminfo
