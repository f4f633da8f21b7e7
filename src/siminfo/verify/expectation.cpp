#include "siminfo/verify/expectation.h"

#include "siminfo/verify/expected_images.h"
#include "siminfo/verify/rules.h"

namespace siminfo {

FramePlan Expectation::plan(std::string_view frame) const { return planOf(ruleOf(frame), facts_); }

std::vector<ExpectedImage> Expectation::images(std::string_view frame) const {
  const FramePlan ports = plan(frame);
  if (ports.carriage != Carriage::kCarried) return {};
  return ruleOf(frame).images(facts_, ports);
}

std::vector<std::string> Expectation::comments(std::string_view frame) const {
  const Rule& rule = ruleOf(frame);
  const FramePlan ports = plan(frame);
  if (ports.carriage != Carriage::kCarried || rule.comments == nullptr) return {};
  return rule.comments(facts_, ports);
}

std::string Expectation::absence(std::string_view frame) const {
  const std::string record(ruleOf(frame).record);
  const auto reasonIn = [&](const std::map<std::uint32_t, AbsentRecords>& absent, std::uint32_t index) {
    const auto of = absent.find(index);
    if (of == absent.end()) return std::string();
    const auto found = of->second.find(record);
    return found != of->second.end() ? found->second : std::string();
  };
  if (std::string reason = reasonIn(facts_.snapshot.absentOnNodes, facts_.node.recordIndex); !reason.empty())
    return reason;
  for (const IBPort* port : facts_.node.ports) {
    if (port == nullptr) continue;
    const std::string reason = reasonIn(facts_.snapshot.absentOnPorts, port->recordIndex);
    if (!reason.empty()) return portPlace(port->num) + ": " + reason;
  }
  return {};
}

std::vector<std::pair<unsigned, unsigned>> Expectation::pushKeys() const {
  std::vector<std::pair<unsigned, unsigned>> keys;
  for (const IBPort* port : facts_.node.ports) {
    if (port == nullptr) continue;
    const auto* record = facts_.snapshot.discovered.records.find<ZYRPushReductionCounters>(port->recordIndex);
    if (record != nullptr) keys.emplace_back(record->header0, record->header1);
  }
  return keys;
}

}  // namespace siminfo
