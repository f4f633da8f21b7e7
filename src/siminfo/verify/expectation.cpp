#include "siminfo/verify/expectation.h"

#include "siminfo/text/number_text.h"
#include "siminfo/verify/expected_images.h"
#include "siminfo/verify/rules.h"

namespace siminfo {
namespace {

std::string_view typeWord(int type) {
  switch (type) {
    case kChannelAdapter:
      return "CA";
    case kSwitch:
      return "SW";
    case kRouter:
      return "RTR";
    default:
      return "UNKNOWN";
  }
}

}  // namespace

std::string Expectation::nodeClass() const {
  switch (node_.type) {
    case kSwitch:
      return "SW";
    case kRouter:
      return "RTR";
    default:
      if (!node_.specialNodeType) return "HCA";
      return *node_.specialNodeType == 1 ? "AN" : "Unknown";
  }
}

std::string Expectation::banner() const {
  std::string lines = "// Node Type: ";
  lines += typeWord(node_.type);
  if (node_.specialNodeType) lines += "(Special Node)";
  lines += ", Node GUID: " + guidText(node_.guid) + ", Ports: " + std::to_string(node_.numPorts);
  lines += "\n// Name: '" + node_.name + "', Alt: '" + node_.alternativeName;  // which nothing closes
  return lines;
}

FramePlan Expectation::plan(std::string_view frame) const {
  return planOf(ruleOf(frame), {snapshot_, node_});
}

std::vector<ExpectedImage> Expectation::images(std::string_view frame) const {
  const FramePlan ports = plan(frame);
  if (ports.carriage != Carriage::kCarried) return {};
  return ruleOf(frame).images({snapshot_, node_}, ports);
}

std::vector<std::string> Expectation::comments(std::string_view frame) const {
  const Rule& rule = ruleOf(frame);
  const FramePlan ports = plan(frame);
  if (ports.carriage != Carriage::kCarried || rule.comments == nullptr) return {};
  return rule.comments({snapshot_, node_}, ports);
}

std::string Expectation::absence(std::string_view frame) const {
  const std::string record(ruleOf(frame).record);
  const auto reasonIn = [&](const std::map<std::uint32_t, AbsentRecords>& absent, std::uint32_t index) {
    const auto of = absent.find(index);
    if (of == absent.end()) return std::string();
    const auto found = of->second.find(record);
    return found != of->second.end() ? found->second : std::string();
  };
  if (std::string reason = reasonIn(snapshot_.absentOnNodes, node_.recordIndex); !reason.empty())
    return reason;
  for (const IBPort* port : node_.ports) {
    if (port == nullptr) continue;
    const std::string reason = reasonIn(snapshot_.absentOnPorts, port->recordIndex);
    if (!reason.empty()) return portPlace(port->num) + ": " + reason;
  }
  return {};
}

std::vector<std::pair<unsigned, unsigned>> Expectation::pushKeys() const {
  std::vector<std::pair<unsigned, unsigned>> keys;
  for (const IBPort* port : node_.ports) {
    if (port == nullptr) continue;
    const auto* record = snapshot_.discovered.records.find<ZYRPushReductionCounters>(port->recordIndex);
    if (record != nullptr) keys.emplace_back(record->header0, record->header1);
  }
  return keys;
}

}  // namespace siminfo
