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

std::vector<std::size_t> portIndexes(const Facts& facts, const FramePlan& ports, std::size_t first) {
  std::vector<std::size_t> indexes;
  bool hasOrdinary = false;
  for (std::size_t index = first; index <= facts.node.numPorts; ++index) {
    const bool isOrdinary = index > 0 && !ports.special.contains(static_cast<std::uint8_t>(index));
    if (!isOrdinary || !hasOrdinary || !facts.isBrief) indexes.push_back(index);
    hasOrdinary = hasOrdinary || isOrdinary;
  }
  return indexes;
}

/// The partition-key tables take the size that was restored.
Images nodeInfoImages(const Facts& facts, const FramePlan& ports) {
  const auto& record = *facts.record<SMP_NodeInfo>();
  Images images{imageOf("nodeInfo", record)};
  for (const std::size_t index : portIndexes(facts, ports, 0))
    images.push_back({indexed("portPkeyTables", index),
                      portPlace(index) + ", partition-key table",
                      {{"entries", 0, 32, record.PartitionCap}}});
  return images;
}

Images portInfoImages(const Facts& facts, const FramePlan& ports) {
  Images images;
  for (const std::size_t index : portIndexes(facts, ports, 0)) {
    SMP_PortInfo record = *facts.record<SMP_PortInfo>(*sourceOf(ports, index));
    record.CapMsk &= 0xfffffffdU;  // no simulated port hosts a subnet manager
    ExpectedImage& image =
        images.emplace_back(imageOf(indexed("nodePortsInfo", index), record, portPlace(index)));
    const bool isOrdinary = index > 0 && !ports.special.contains(static_cast<std::uint8_t>(index));
    if (facts.isSwitch() && facts.node.orbelSwitch && isOrdinary) dropField(image, "LinkWidthSup");
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
      for (std::ostringstream* text : {&name, &place}) text->exceptions(std::ios_base::badbit);
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
  for (const std::size_t index : portIndexes(facts, ports, 1)) {
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
