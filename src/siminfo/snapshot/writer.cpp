#include "siminfo/snapshot/writer.h"

#include <algorithm>
#include <charconv>

#include "siminfo/snapshot/format.h"
#include "siminfo/text/number_text.h"
#include "siminfo/text/quoting.h"

namespace siminfo {
namespace {

/// One document of JSON as text, on one line. Puts the commas where they belong.
class JsonLine {
 public:
  void open(char bracket) {
    separate();
    text_ += bracket;
    needsComma_ = false;
  }
  void close(char bracket) {
    text_ += bracket;
    needsComma_ = true;
  }
  JsonLine& key(std::string_view name) {
    string(name);
    text_ += ':';
    needsComma_ = false;
    return *this;
  }
  void string(std::string_view value) {
    separate();
    text_ += jsonString(value);
  }
  template <std::integral Int>
  void number(Int value) {
    separate();
    char digits[24];
    text_ += std::string_view(digits, std::to_chars(std::begin(digits), std::end(digits), value).ptr);
  }
  /// A 64-bit value: a string, as many JSON tools round larger numbers.
  void wide(std::uint64_t value) { string(hexText(value)); }
  void truth(bool value) {
    separate();
    text_ += value ? "true" : "false";
  }

  void writeTo(std::ostream& out) {
    text_ += '\n';
    out.write(text_.data(), static_cast<std::streamsize>(text_.size()));
    text_.clear();
    needsComma_ = false;
  }

 private:
  void separate() {
    if (needsComma_) text_ += ',';
    needsComma_ = true;
  }

  std::string text_;
  bool needsComma_ = false;
};

void writeFields(JsonLine& line, std::span<const Field> fields, const void* record);

/// Text when that says the same, and numbers otherwise.
void writeBytesAsText(JsonLine& line, const Field& field, const void* record) {
  std::string text;
  for (std::size_t i = 0; i < field.count; ++i) text += static_cast<char>(field.get(record, i));
  text.erase(text.find_last_not_of('\0') + 1);
  if (std::ranges::all_of(text, [](char character) { return ' ' <= character && character <= '~'; }))
    return line.string(text);
  line.open('[');
  for (std::size_t i = 0; i < field.count; ++i) line.number(field.get(record, i));
  line.close(']');
}

void writeBytesAsHex(JsonLine& line, const Field& field, const void* record) {
  std::string text;
  for (std::size_t i = 0; i < field.count; ++i) text += hexDigits(field.get(record, i), 2);
  line.string(text);
}

void writeField(JsonLine& line, const Field& field, const void* record) {
  switch (field.form) {
    case FieldForm::kNumber:
      if (field.bits > 32)
        line.wide(field.get(record));
      else
        line.number(field.get(record));
      break;
    case FieldForm::kText:
      writeBytesAsText(line, field, record);
      break;
    case FieldForm::kHexBytes:
      writeBytesAsHex(line, field, record);
      break;
    case FieldForm::kRecords:
      if (field.count > 1) line.open('[');
      for (std::size_t i = 0; i < field.count; ++i) writeFields(line, field.members, field.inner(record, i));
      if (field.count > 1) line.close(']');
      break;
  }
}

void writeFields(JsonLine& line, std::span<const Field> fields, const void* record) {
  line.open('{');
  for (const Field& field : fields) writeField(line.key(field.name), field, record);
  line.close('}');
}

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

/// Writes "records" with the records of the index, and what `writeMore` adds behind them. Writes no empty
/// object.
template <class WriteMore>
void writeRecords(JsonLine& line, std::span<const RecordKind> kinds, const InMemoryExtendedInfo& store,
                  std::uint32_t index, bool hasMore, WriteMore writeMore) {
  const auto isThere = [&](const RecordKind& kind) { return kind.find(store, index) != nullptr; };
  if (!hasMore && std::ranges::none_of(kinds, isThere)) return;
  line.key("records").open('{');
  for (const RecordKind& kind : kinds) {
    if (const void* record = kind.find(store, index)) writeFields(line.key(kind.name), kind.fields, record);
  }
  writeMore();
  line.close('}');
}

void writeCounters(JsonLine& line, const InMemoryExtendedInfo& store, std::uint32_t port) {
  line.key(kCountersName).open('{');
  for (std::uint32_t set = 0; set < InMemoryExtendedInfo::kCounterSets; ++set) {
    if (const auto* counters = store.getZYRReductionCounters(port, set))
      writeFields(line.key(std::to_string(set)), kFields<ZYRReductionCounters>, counters);
  }
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

}  // namespace

void writeSnapshot(const Snapshot& snapshot, std::ostream& out) {
  JsonLine line;
  line.open('{');
  line.key("fabric_snapshot").number(kFormatVersion);
  if (!snapshot.source.empty()) line.key("source").string(snapshot.source);
  if (!snapshot.collectedAt.empty()) line.key("collected_at").string(snapshot.collectedAt);
  line.close('}');
  line.writeTo(out);
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) {
    writeNode(line, *node, snapshot);
    line.writeTo(out);
  }
}

}  // namespace siminfo
