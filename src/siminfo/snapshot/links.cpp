#include "siminfo/snapshot/links.h"

#include <algorithm>

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
  if (targetOf(end) == nameOf(end)) return "leads back to the port itself";
  const auto found = fabric.nodeByName.find(end.link->node);
  if (found == fabric.nodeByName.end() || end.link->port <= found->second->numPorts) return {};
  return "leads to " + spelled(targetOf(end)) + ", which has ports 1 to " +
         std::to_string(found->second->numPorts);
}

using Ends = std::vector<const LinkJudge::End*>;

/// The ends in the order of that name of theirs, and those of one name in the order of the file.
Ends sortedBy(PortName (*name)(const LinkJudge::End&), const std::vector<LinkJudge::End>& ends) {
  Ends sorted;
  sorted.reserve(ends.size());
  for (const LinkJudge::End& end : ends) sorted.push_back(&end);
  std::ranges::stable_sort(sorted, {}, [name](const LinkJudge::End* end) { return name(*end); });
  return sorted;
}

/// The first of those that have that name; null when there is none.
const LinkJudge::End* find(const Ends& sorted, PortName (*name)(const LinkJudge::End&),
                           const PortName& wanted) {
  const auto found =
      std::ranges::lower_bound(sorted, wanted, {}, [name](const LinkJudge::End* end) { return name(*end); });
  return found != sorted.end() && name(**found) == wanted ? *found : nullptr;
}

}  // namespace

void LinkJudge::judge(const IBFabric& fabric, const Refuse& refuse) const {
  bool isEachRight = true;
  for (const End& end : ends_) {
    const std::string fault = targetFault(fabric, end);
    if (!fault.empty()) refuse(end, fault);
    isEachRight = isEachRight && fault.empty();
  }
  if (!isEachRight) return;
  const Ends bySource = sortedBy(nameOf, ends_);
  const Ends byTarget = sortedBy(targetOf, ends_);
  for (const End& end : ends_) {
    if (const End* first = find(byTarget, targetOf, targetOf(end)); first != &end)
      refuse(end, "leads to " + spelled(targetOf(end)) + ", where " + spelled(nameOf(*first)) +
                      " is already connected");
    const End* back = find(bySource, nameOf, targetOf(end));
    if (back != nullptr && targetOf(*back) != nameOf(end))
      refuse(end, "leads to " + spelled(targetOf(end)) + ", which says that it is connected to " +
                      spelled(targetOf(*back)));
  }
}

}  // namespace siminfo
