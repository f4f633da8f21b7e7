#include "siminfo/cli/selection.h"

#include <algorithm>

#include "siminfo/cli/command.h"
#include "siminfo/cli/console.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/text/number_text.h"

namespace siminfo {

std::vector<const IBNode*> selectNodes(const IBFabric& fabric, const std::set<std::uint64_t>& guids,
                                       const std::string& snapshot) {
  std::vector<const IBNode*> nodes;
  std::set<std::uint64_t> unknown = guids;
  for (const auto& [name, node] : fabric.nodeByName) {
    if (!SimInfoDumpCPP::Selects(guids, node)) continue;
    nodes.push_back(node);
    unknown.erase(node->guid);
  }
  if (nodes.empty())
    throw CommandError(kBadInput, snapshot + ": no node is selected; expected " +
                                      (guids.empty() ? "a node of the sub-fabric in it"
                                                     : "the GUID of a node of the sub-fabric"));
  for (const std::uint64_t guid : unknown)
    printWarning("GUID " + guidText(guid) + " is no node of the sub-fabric and selects nothing");
  return nodes;
}

std::string someOf(const std::vector<std::string>& names) {
  constexpr std::size_t kNamed = 8;
  const std::size_t shown = std::min(names.size(), kNamed);
  std::string text;
  for (std::size_t i = 0; i < shown; ++i) text.append(i > 0 ? ", " : "").append(names[i]);
  if (names.size() > shown) text.append(" and ").append(std::to_string(names.size() - shown)).append(" more");
  return text;
}

std::string counted(std::size_t number, const std::string& thing) {
  return std::to_string(number) + " " + thing + (number == 1 ? "" : "s");
}

}  // namespace siminfo
