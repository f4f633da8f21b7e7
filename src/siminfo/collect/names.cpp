#include "siminfo/collect/names.h"

#include <optional>

#include "siminfo/collect/collect_error.h"
#include "siminfo/text/line_file.h"
#include "siminfo/text/number_text.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

/// GUID and name of a line that is neither empty nor a comment.
std::optional<std::pair<std::uint64_t, std::string_view>> parseEntry(std::string_view line) {
  // Without "0x", the tools that share this file read the number in other bases.
  if (!line.starts_with("0x") && !line.starts_with("0X")) return std::nullopt;
  const std::string_view number = line.substr(0, line.find_first_of(kBlanks));
  const std::optional<std::uint64_t> guid = parseUnsigned(number);
  const std::string_view rest = trimmed(line.substr(number.size()));
  if (!guid || !rest.starts_with('"')) return std::nullopt;
  const std::size_t close = rest.find('"', 1);
  if (close == std::string_view::npos) return std::nullopt;
  const std::string_view behind = trimmed(rest.substr(close + 1));
  if (!behind.empty() && !behind.starts_with('#')) return std::nullopt;
  return std::pair{*guid, rest.substr(1, close - 1)};
}

}  // namespace

NodeNameMap readNodeNameMap(const std::string& fileName) {
  NodeNameMap names;
  const std::string fault = readLines(fileName, [&](std::string_view line) -> std::string {
    const auto entry = parseEntry(line);
    if (!entry) return "this is not a GUID and a name; expected a line like 0x0002c90300000001 \"name\"";
    std::string name = safeText(entry->second);
    if (const std::string length = lengthFault(name); !length.empty()) return "the name " + length;
    names.try_emplace(entry->first, std::move(name));
    return {};
  });
  if (!fault.empty()) throw CollectError(CollectError::kBadFile, fault);
  return names;
}

std::vector<std::string> nodeNames(const std::vector<WalkedNode>& nodes) {
  std::vector<std::string> names;
  for (const WalkedNode& node : nodes) {
    names.push_back(cleanName(node.description));
    if (names.back().empty()) names.back() = guidText(node.guid);
  }
  // A device may call itself what another one gets its name by. Each round gives its GUID to one more node at
  // least, and two names that end in their nodes' GUIDs differ, however long they grow.
  for (bool isDone = false; !isDone;) {
    std::map<std::string_view, unsigned> uses;
    for (const std::string& name : names) ++uses[name];
    std::vector<std::size_t> shared;
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (uses[names[i]] > 1) shared.push_back(i);
    }
    for (const std::size_t i : shared) names[i].append(" ").append(guidText(nodes[i].guid));
    isDone = shared.empty();
  }
  return names;
}

std::string alternativeName(const WalkedNode& node, const NodeNameMap& map) {
  if (const auto entry = map.find(node.guid); entry != map.end()) return entry->second;
  return cleanName(node.description) != node.description ? safeText(node.description) : std::string();
}

}  // namespace siminfo
