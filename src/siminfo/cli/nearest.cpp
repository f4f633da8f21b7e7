#include "siminfo/cli/nearest.h"

#include <algorithm>
#include <utility>

#include "siminfo/text/number_text.h"
#include "siminfo/text/quoting.h"
#include "siminfo/text/spelling.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

constexpr std::size_t kNearest = 3;

/// The few that `distanceOf` says are nearest, in the order of their distance and then of their own.
template <class Thing, class DistanceOf>
std::vector<Thing> nearest(const std::vector<Thing>& things, DistanceOf distanceOf) {
  std::vector<std::pair<std::size_t, std::size_t>> order;
  for (std::size_t i = 0; i < things.size(); ++i) order.emplace_back(distanceOf(things[i]), i);
  const std::size_t count = std::min(order.size(), kNearest);
  std::ranges::partial_sort(order, order.begin() + static_cast<std::ptrdiff_t>(count));
  std::vector<Thing> few;
  for (std::size_t i = 0; i < count; ++i) few.push_back(things[order[i].second]);
  return few;
}

std::string listed(const std::string& head, const std::vector<std::string>& things) {
  std::string text;
  for (const std::string& thing : things) text.append(text.empty() ? head : ", ").append(thing);
  return text;
}

}  // namespace

std::string nearestWords(const std::vector<std::string>& words, std::string_view pattern) {
  return listed("the nearest are ",
                nearest(words, [&](const std::string& word) { return distance(pattern, word); }));
}

std::string nearestNames(const std::vector<const IBNode*>& nodes, std::string_view pattern) {
  std::vector<std::string> names;
  for (const IBNode* node : nearest(nodes, [&](const IBNode* each) { return distance(pattern, each->name); }))
    names.push_back(inQuotes(node->name));
  return listed("the nearest are ", names);
}

std::string nearestGuids(const std::vector<const IBNode*>& nodes, std::uint64_t guid) {
  const std::string digits = hexDigits(guid, 16);
  std::vector<std::string> named;
  for (const IBNode* node :
       nearest(nodes, [&](const IBNode* each) { return distance(digits, hexDigits(each->guid, 16)); }))
    named.push_back(guidText(node->guid) + " (" + printable(node->name) + ")");
  return listed("the nearest GUIDs are ", named);
}

}  // namespace siminfo
