#include "siminfo/snapshot/writer.h"

#include <algorithm>

#include "siminfo/snapshot/format.h"
#include "siminfo/snapshot/record_writer.h"

namespace siminfo {
namespace {

template <std::size_t N>
void writeWord(JsonLine& line, const std::array<Word, N>& words, int value) {
  const auto* word = std::ranges::find(words, value, &Word::value);
  if (word != words.end())
    line.string(word->word);
  else
    line.number(value);
}

void writeAbsent(JsonLine& line, const std::map<std::uint32_t, AbsentRecords>& absent, std::uint32_t index) {
  const auto found = absent.find(index);
  if (found == absent.end()) return;
  line.key("absent").open('{');
  for (const auto& [name, reason] : found->second) line.key(name).string(reason);
  line.close('}');
}

/// Writes "records" with the records of the index, and what `writeMore` adds behind them; nothing when that
/// would be an empty object.
template <class WriteMore>
void writeRecords(JsonLine& line, std::span<const RecordKind> kinds, const InMemoryExtendedInfo& store,
                  std::uint32_t index, bool hasMore, WriteMore writeMore) {
  const auto isThere = [&](const RecordKind& kind) { return kind.find(store, index) != nullptr; };
  if (!hasMore && std::ranges::none_of(kinds, isThere)) return;
  line.key("records").open('{');
  for (const RecordKind& kind : kinds) {
    if (const void* record = kind.find(store, index)) writeRecord(line.key(kind.name), kind.fields, record);
  }
  writeMore();
  line.close('}');
}

void writeCounters(JsonLine& line, const InMemoryExtendedInfo& store, std::uint32_t port) {
  line.key(kCountersName).open('{');
  for (std::uint32_t set = 0; set < InMemoryExtendedInfo::kCounterSets; ++set) {
    if (const auto* counters = store.getZYRReductionCounters(port, set))
      writeRecord(line.key(std::to_string(set)), kFields<ZYRReductionCounters>, counters);
  }
  line.close('}');
}

template <std::integral Int>
void writeIfTold(JsonLine& line, std::string_view key, const std::optional<Int>& value) {
  if (!value) return;
  line.key(key);
  if constexpr (sizeof(Int) > sizeof(std::uint32_t))
    line.wide(*value);
  else
    line.number(*value);
}

void writeIdentity(JsonLine& line, const NodeIdentity* identity) {
  if (identity == nullptr) return;
  writeIfTold(line, "system_guid", identity->systemGuid);
  if (identity->description) line.key("description").string(*identity->description);
}

void writeIdentity(JsonLine& line, const PortIdentity* identity) {
  if (identity == nullptr) return;
  writeIfTold(line, "guid", identity->guid);
  writeIfTold(line, "lid", identity->lid);
  writeIfTold(line, "lmc", identity->lmc);
  writeIfTold(line, "phys_state", identity->physState);
  if (!identity->link) return;
  const Link& link = *identity->link;
  line.key("link").open('{');
  line.key("node").string(link.node);
  line.key("port").number(link.port);
  writeIfTold(line, "width", link.width);
  writeIfTold(line, "speed", link.speed);
  writeIfTold(line, "speed_ext", link.speedExt);
  line.close('}');
}

void writePort(JsonLine& line, const IBPort& port, const Snapshot& snapshot) {
  const InMemoryExtendedInfo& store = snapshot.discovered.records;
  const std::uint32_t index = port.recordIndex;
  line.open('{');
  line.key("num").number(port.num);
  writeWord(line.key("state"), kPortStates, port.portState);
  if (!port.inSubFabric) line.key("in_sub_fabric").truth(false);
  if (std::ranges::any_of(kPortKinds, [&](const PortKind& kind) { return port.*(kind.flag); })) {
    line.key("kinds").open('[');
    for (const PortKind& kind : kPortKinds) {
      if (port.*(kind.flag)) line.string(kind.word);
    }
    line.close(']');
  }
  writeIdentity(line, snapshot.portIdentities.find(index));
  bool hasCounters = false;
  for (std::uint32_t set = 0; set < InMemoryExtendedInfo::kCounterSets; ++set)
    hasCounters = hasCounters || store.getZYRReductionCounters(index, set) != nullptr;
  std::vector<unsigned> monitors;
  for (unsigned monitor = 0; monitor < 256; ++monitor) {
    if (store.getZYRReductionConfigureMLIDMonitors(index, static_cast<std::uint8_t>(monitor)) != nullptr)
      monitors.push_back(monitor);
  }
  writeRecords(line, kPortRecordKinds, store, index, hasCounters || !monitors.empty(), [&] {
    if (hasCounters) writeCounters(line, store, index);
    if (monitors.empty()) return;
    line.key(kMonitorsName).open('[');
    for (const unsigned monitor : monitors) line.number(monitor);
    line.close(']');
  });
  writeAbsent(line, snapshot.absentOnPorts, index);
  line.close('}');
}

void writeCapabilities(JsonLine& line, const InMemoryCapabilities& capabilities, std::uint32_t index) {
  if (capabilities.find(index, false) == nullptr && capabilities.find(index, true) == nullptr) return;
  line.key("capabilities").open('{');
  for (const bool isGMP : {false, true}) {
    const CapabilityAnswer* answer = capabilities.find(index, isGMP);
    if (answer == nullptr) continue;
    const std::string name = isGMP ? "gmp" : "smp";
    if (answer->error != 0) {
      line.key(name + "_error").number(answer->error);
      continue;
    }
    line.key(name).open('[');
    for (const std::uint32_t word : answer->mask.words) line.number(word);
    line.close(']');
  }
  line.close('}');
}

}  // namespace

void writeNode(JsonLine& line, const IBNode& node, const Snapshot& snapshot) {
  line.open('{');
  line.key("name").string(node.name);
  if (!node.alternativeName.empty()) line.key("alternative_name").string(node.alternativeName);
  line.key("guid").wide(node.guid);
  writeWord(line.key("type"), kNodeTypes, node.type);
  line.key("num_ports").number(node.numPorts);
  if (!node.inSubFabric) line.key("in_sub_fabric").truth(false);
  if (node.specialNodeType) line.key("special_type").number(*node.specialNodeType);
  if (node.orbelSwitch) line.key("orbel_switch").truth(true);
  writeIdentity(line, snapshot.nodeIdentities.find(node.recordIndex));
  writeCapabilities(line, snapshot.discovered.capabilities, node.recordIndex);
  writeRecords(line, kNodeRecordKinds, snapshot.discovered.records, node.recordIndex, false, [] {});
  writeAbsent(line, snapshot.absentOnNodes, node.recordIndex);
  if (std::ranges::any_of(node.ports, [](const IBPort* port) { return port != nullptr; })) {
    line.key("ports").open('[');
    for (const IBPort* port : node.ports) {
      if (port != nullptr) writePort(line, *port, snapshot);
    }
    line.close(']');
  }
  line.close('}');
}

void writeSnapshot(const Snapshot& snapshot, std::ostream& out) {
  JsonLine line;
  line.open('{');
  line.key("fabric_snapshot").number(kFormatVersion);
  if (!snapshot.source.empty()) line.key("source").string(snapshot.source);
  if (!snapshot.collectedAt.empty()) line.key("collected_at").string(snapshot.collectedAt);
  if (!snapshot.fabric.empty()) line.key("fabric").string(snapshot.fabric);
  line.key("nodes").number(snapshot.discovered.fabric.nodeByName.size());
  line.close('}');
  line.writeTo(out);
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) {
    writeNode(line, *node, snapshot);
    line.writeTo(out);
  }
}

}  // namespace siminfo
