#include "siminfo/verify/shapes.h"

#include <sstream>

#include "siminfo/verify/rules.h"

namespace siminfo {
namespace {

std::string shapeOf(const Snapshot& snapshot, const IBNode& node) {
  const Expectation expectation(snapshot, node);
  std::ostringstream shape;
  shape << expectation.nodeClass() << ' ' << +node.numPorts << ' ' << node.orbelSwitch;
  for (const Rule& rule : rules()) {
    const FramePlan plan = expectation.plan(rule.frame);
    shape << ';' << static_cast<int>(plan.carriage);
    for (const auto& [num, port] : plan.special) shape << ' ' << +num;
  }
  // Ports differ in how many counter sets they have.
  for (const ExpectedImage& image : expectation.images("setZYRReductionCounters")) shape << ';' << image.name;
  return shape.str();
}

}  // namespace

std::vector<Representative> representatives(const Snapshot& snapshot,
                                            const std::vector<const IBNode*>& nodes) {
  std::vector<Representative> chosen;
  std::map<std::string, std::size_t> places;
  for (const IBNode* node : nodes) {
    const auto [place, isNew] = places.try_emplace(shapeOf(snapshot, *node), chosen.size());
    if (isNew) chosen.push_back({node, 0});
    ++chosen[place->second].alike;
  }
  return chosen;
}

}  // namespace siminfo
