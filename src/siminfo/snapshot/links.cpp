#include "siminfo/snapshot/links.h"

#include "siminfo/text/quoting.h"

namespace siminfo {
namespace {

using PortName = std::pair<std::string_view, unsigned>;

PortName nameOf(const LinkJudge::End& end) { return {end.node->name, end.port}; }
PortName targetOf(const LinkJudge::End& end) { return {end.link->node, end.link->port}; }

std::string spelled(const PortName& port) {
  return "port " + std::to_string(port.second) + " of " + inQuotes(port.first);
}

/// What is wrong with the far end that a link names, or nothing. A node that is not there was not recorded.
std::string targetFault(const IBFabric& fabric, const LinkJudge::End& end) {
  if (targetOf(end) == nameOf(end)) return "leads to the port itself";
  const auto found = fabric.nodeByName.find(end.link->node);
  if (found == fabric.nodeByName.end() || end.link->port <= found->second->numPorts) return {};
  return "leads to " + spelled(targetOf(end)) + ", which has ports 1 to " +
         std::to_string(found->second->numPorts);
}

}  // namespace

void LinkJudge::judge(const IBFabric& fabric, const Refuse& refuse) const {
  std::map<PortName, const End*> bySource;
  for (const End& end : ends_) bySource.emplace(nameOf(end), &end);
  std::map<PortName, const End*> byTarget;
  bool isEachRight = true;
  for (const End& end : ends_) {
    const std::string fault = targetFault(fabric, end);
    if (!fault.empty()) refuse(end, fault);
    isEachRight = isEachRight && fault.empty();
  }
  if (!isEachRight) return;
  for (const End& end : ends_) {
    const auto [first, isNew] = byTarget.emplace(targetOf(end), &end);
    if (!isNew)
      refuse(end, "leads to " + spelled(targetOf(end)) + ", where " + spelled(nameOf(*first->second)) +
                      " is connected already");
    const auto back = bySource.find(targetOf(end));
    if (back != bySource.end() && targetOf(*back->second) != nameOf(end))
      refuse(end, "leads to " + spelled(targetOf(end)) + ", which says that it is connected to " +
                      spelled(targetOf(*back->second)));
  }
}

}  // namespace siminfo
