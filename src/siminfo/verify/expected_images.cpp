#include "siminfo/verify/expected_images.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "siminfo/verify/chosen_ports.h"

namespace siminfo {
namespace {

void dropField(ExpectedImage& image, std::string_view field) {
  std::erase_if(image.numbers, [&](const ExpectedNumber& number) { return number.field == field; });
}

}  // namespace

std::string indexed(const std::string& member, std::size_t index) {
  return member + "[" + std::to_string(index) + "]";
}

std::string portPlace(std::size_t port) { return std::string("port ").append(std::to_string(port)); }

const IBPort* sourceOf(const FramePlan& ports, std::size_t index) {
  if (index == 0) return ports.zero != nullptr ? ports.zero : ports.regular;
  const auto found = ports.special.find(static_cast<std::uint8_t>(index));
  return found != ports.special.end() ? found->second : ports.regular;
}

/// The partition-key tables take the size that was restored.
Images nodeInfoImages(const Facts& facts, const FramePlan&) {
  const auto& record = *facts.record<SMP_NodeInfo>();
  Images images{imageOf("nodeInfo", record)};
  for (std::size_t index = 0; index <= facts.node.numPorts; ++index)
    images.push_back({indexed("portPkeyTables", index),
                      portPlace(index) + ", partition-key table",
                      {{"entries", 0, 32, record.PartitionCap}}});
  return images;
}

Images portInfoImages(const Facts& facts, const FramePlan& ports) {
  Images images = imagesByPort<SMP_PortInfo>(facts, ports, "nodePortsInfo", 0);
  for (std::size_t index = 0; index < images.size(); ++index) {
    // No simulated port hosts a subnet manager.
    std::ranges::find(images[index].numbers, "CapMsk", &ExpectedNumber::field)->value &= 0xfffffffdU;
    const bool isOrdinary = index > 0 && !ports.special.contains(static_cast<std::uint8_t>(index));
    if (facts.isSwitch() && facts.node.orbelSwitch && isOrdinary) dropField(images[index], "LinkWidthSup");
  }
  return images;
}

Images portInfoExtendedImages(const Facts& facts, const FramePlan& ports) {
  return imagesByPort<SMP_PortInfoExtended>(facts, ports, "nodePortsInfoExt", 0);
}

/// Every set of a port under the port's own number; the ports without special sets share one port's.
Images reductionCountersImages(const Facts& facts, const FramePlan& ports) {
  Images images;
  const auto addSets = [&](const IBPort& port) {
    for (std::uint32_t set = 0; set < kCounterSets; ++set) {
      const auto* record = facts.records().getZYRReductionCounters(port.recordIndex, set);
      if (record == nullptr) continue;
      std::ostringstream name;
      std::ostringstream place;
      name << "counterSets[" << +port.num << ", " << set << ", 15]";
      place << portPlace(port.num) << ", counter set " << set;
      images.push_back(imageOf(name.str(), *record, place.str()));
    }
  };
  addSets(*ports.regular);
  for (const auto& [num, port] : ports.special) addSets(*port);
  return images;
}

/// Sets are stored by their headers, so of two ports with the same headers the later one's counters stay.
Images pushCountersImages(const Facts& facts, const FramePlan& ports) {
  std::map<std::string, ExpectedImage> images;
  for (std::size_t index = 1; index <= facts.node.numPorts; ++index) {
    const auto& record = *facts.record<ZYRPushReductionCounters>(*sourceOf(ports, index));
    const std::string key = std::to_string(record.header0) + ", " + std::to_string(record.header1);
    ExpectedImage image = imageOf("pushCounters[" + key + "]", record, "push counters of headers " + key);
    dropField(image, "header0");  // they are the key, and nothing stores them
    dropField(image, "header1");
    images[key] = std::move(image);
  }
  Images all;
  for (auto& [key, image] : images) all.push_back(std::move(image));
  return all;
}

}  // namespace siminfo
