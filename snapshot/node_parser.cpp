#include "snapshot/node_parser.h"

#include <algorithm>
#include <bitset>

#include "snapshot/format.h"
#include "snapshot/record_parser.h"

namespace siminfo {
namespace {

constexpr std::uint64_t kMostPorts = 254;  // the highest port number there is

/// The record names of nodes or of ports, with a parser for each.
struct RecordSchema {
  std::span<const RecordKind> kinds;
  std::vector<RecordParser> parsers;
  KeyTable names;  // kinds first, in their order, then those that are no single record
};

RecordSchema makeSchema(const std::string& owner, std::span<const RecordKind> kinds,
                        const std::vector<std::string_view>& others) {
  std::vector<RecordParser> parsers;
  std::vector<std::string_view> names;
  for (const RecordKind& kind : kinds) {
    parsers.emplace_back(std::string(kind.name), kind.fields);
    names.push_back(kind.name);
  }
  names.insert(names.end(), others.begin(), others.end());
  return {kinds, std::move(parsers), KeyTable(owner, std::move(names), 0)};
}

const RecordSchema& nodeSchema() {
  static const RecordSchema schema = makeSchema("a node's records", kNodeRecordKinds, {});
  return schema;
}
const RecordSchema& portSchema() {
  static const RecordSchema schema =
      makeSchema("a port's records", kPortRecordKinds, {kCountersName, kMonitorsName});
  return schema;
}

template <std::size_t N>
int readWord(const Place& place, json::value value, const std::array<Word, N>& words,
             std::string_view orElse) {
  const std::string_view text = readText(place, value);
  const auto* word = std::ranges::find(words, text, &Word::word);
  if (word != words.end()) return word->value;
  std::string expected;
  for (const Word& each : words) expected.append("\"").append(each.word).append("\", ");
  refuse(place, "is not one of the words for it; expected " + expected + "or " + std::string(orElse));
}

/// Reads one node document into a draft.
class NodeParser {
 public:
  explicit NodeParser(NodeDraft& draft) : draft_(draft) {}

  void parse(json::object document, const Place& place) {
    readMembers(place, document, keys(), [&](std::size_t key, json::value value, const Place& at) {
      parseMember(static_cast<Key>(key), value, at);
    });
    checkPorts(place);
  }

 private:
  enum Key : std::size_t {
    kName,
    kGuid,
    kType,
    kNumPorts,
    kAlternativeName,
    kInSubFabric,
    kSpecialType,
    kOrbelSwitch,
    kCapabilities,
    kRecords,
    kAbsent,
    kPorts,
  };
  static const KeyTable& keys() {
    static const KeyTable table(
        "a node",
        {"name", "guid", "type", "num_ports", "alternative_name", "in_sub_fabric", "special_type",
         "orbel_switch", "capabilities", "records", "absent", "ports"},
        kAlternativeName);
    return table;
  }
  enum PortKey : std::size_t { kNum, kState, kPortInSubFabric, kKinds, kPortRecords, kPortAbsent };
  static const KeyTable& portKeys() {
    static const KeyTable table("a port", {"num", "state", "in_sub_fabric", "kinds", "records", "absent"},
                                kState);
    return table;
  }

  void parseMember(Key key, json::value value, const Place& at) {
    IBNode& node = draft_.node;
    switch (key) {
      case kName:
        node.name = readLineText(at, value);
        if (node.name.empty()) refuse(at, "is empty; expected the node's name");
        draft_.nameAt = at.at;
        break;
      case kGuid:
        node.guid = readUnsigned(at, value, ~std::uint64_t{0});
        break;
      case kType:
        node.type = isString(value) ? readWord(at, value, kNodeTypes, "an integer from 0 to 255")
                                    : static_cast<int>(readUnsigned(at, value, 255));
        break;
      case kNumPorts:
        node.numPorts = static_cast<std::uint8_t>(readUnsigned(at, value, kMostPorts));
        break;
      case kAlternativeName:
        node.alternativeName = readLineText(at, value);
        break;
      case kInSubFabric:
        node.inSubFabric = readBool(at, value);
        break;
      case kSpecialType:
        node.specialNodeType = readSigned(at, value);
        break;
      case kOrbelSwitch:
        node.orbelSwitch = readBool(at, value);
        break;
      case kCapabilities:
        parseCapabilities(value, at);
        break;
      case kRecords:
        parseNodeRecords(value, at);
        break;
      case kAbsent:
        parseAbsent(value, at, nodeSchema(), draft_.records);
        break;
      case kPorts:
        readElements(at, value, [&](json::value port, const Place& place) { parsePort(port, place); });
        break;
    }
  }

  void parseCapabilities(json::value value, const Place& place) {
    enum Mask : std::size_t { kSmp, kSmpError, kGmp, kGmpError };
    static const KeyTable table("\"capabilities\"", {"smp", "smp_error", "gmp", "gmp_error"}, 0);
    readMembers(place, value, table, [&](std::size_t key, json::value answer, const Place& at) {
      const bool isGmp = key == kGmp || key == kGmpError;
      bool& has = isGmp ? draft_.hasGmp : draft_.hasSmp;
      if (has) refuse(at, "is given beside its counterpart; expected the mask or the error, not both");
      has = true;
      CapabilityAnswer& mask = isGmp ? draft_.gmp : draft_.smp;
      if (key == kSmp || key == kGmp)
        mask = {0, parseMask(answer, at)};
      else if (mask.error = readSigned(at, answer); mask.error == 0)
        refuse(at, "is 0, which is no error; expected another number, or the mask");
    });
  }

  static capability_mask parseMask(json::value value, const Place& place) {
    capability_mask mask;
    const std::size_t length = readElements(place, value, [&](json::value word, const Place& at) {
      if (at.index >= mask.words.size()) refuse(at, "is one too many; expected 4 words");
      mask.words[at.index] = static_cast<std::uint32_t>(readUnsigned(at, word, 0xffffffffU));
    });
    if (length < mask.words.size()) refuse(place, "has " + std::to_string(length) + " words; expected 4");
    return mask;
  }

  std::size_t reserve(std::size_t size) {
    const std::size_t offset = draft_.bytes.size();
    draft_.bytes.resize(offset + (size + 7) / 8);
    return offset;
  }

  void parseRecord(json::value value, const Place& place, const RecordSchema& schema, std::size_t kind,
                   RecordsDraft& to) {
    const std::size_t offset = reserve(schema.kinds[kind].size);
    schema.parsers[kind].parse(place, value, &draft_.bytes[offset]);
    to.records.push_back({kind, offset});
  }

  void parseNodeRecords(json::value value, const Place& place) {
    readMembers(place, value, nodeSchema().names, [&](std::size_t kind, json::value record, const Place& at) {
      draft_.records.present |= std::uint64_t{1} << kind;
      parseRecord(record, at, nodeSchema(), kind, draft_.records);
    });
    refusePresentAndAbsent(place, nodeSchema(), draft_.records);
  }

  void parsePort(json::value value, const Place& place) {
    PortDraft& port = draft_.ports.emplace_back();
    port.port.portState = kDefaultPortState;
    port.index = place.index;
    port.at = place.at;
    readMembers(place, value, portKeys(), [&](std::size_t key, json::value member, const Place& at) {
      switch (static_cast<PortKey>(key)) {
        case kNum:
          port.port.num = static_cast<std::uint8_t>(readUnsigned(at, member, kMostPorts));
          break;
        case kState:
          port.port.portState =
              isString(member) ? readWord(at, member, kPortStates, "an integer") : readSigned(at, member);
          break;
        case kPortInSubFabric:
          port.port.inSubFabric = readBool(at, member);
          break;
        case kKinds:
          parseKinds(member, at, port.port);
          break;
        case kPortRecords:
          parsePortRecords(member, at, port);
          break;
        case kPortAbsent:
          parseAbsent(member, at, portSchema(), port.records);
          break;
      }
    });
  }

  static void parseKinds(json::value value, const Place& place, IBPort& port) {
    readElements(place, value, [&](json::value kind, const Place& at) {
      const auto* found = std::ranges::find(kPortKinds, readText(at, kind), &PortKind::word);
      if (found == kPortKinds.end())
        refuse(at, "is no kind of port; expected \"special\", \"fnm\" or \"fnm1\"");
      port.*(found->flag) = true;
    });
  }

  void parsePortRecords(json::value value, const Place& place, PortDraft& port) {
    const RecordSchema& schema = portSchema();
    readMembers(place, value, schema.names, [&](std::size_t kind, json::value record, const Place& at) {
      port.records.present |= std::uint64_t{1} << kind;
      if (kind < schema.kinds.size())
        parseRecord(record, at, schema, kind, port.records);
      else if (at.key == kCountersName)
        parseCounters(record, at, port);
      else
        readElements(at, record, [&](json::value monitor, const Place& element) {
          port.monitors.push_back(static_cast<std::uint8_t>(readUnsigned(element, monitor, 255)));
        });
    });
    refusePresentAndAbsent(place, schema, port.records);
  }

  void parseCounters(json::value value, const Place& place, PortDraft& port) {
    static const KeyTable sets(std::string(kCountersName), {"0", "1", "2", "3", "4", "5", "6", "7"}, 0);
    static const RecordParser parser("a counter set", kFields<siminfo::ZYRReductionCounters>);
    readMembers(place, value, sets, [&](std::size_t index, json::value set, const Place& at) {
      const std::size_t offset = reserve(sizeof(ZYRReductionCounters));
      parser.parse(at, set, &draft_.bytes[offset]);
      port.counters.emplace_back(static_cast<std::uint32_t>(index), offset);
    });
  }

  static void parseAbsent(json::value value, const Place& place, const RecordSchema& schema,
                          RecordsDraft& to) {
    readMembers(place, value, schema.names, [&](std::size_t, json::value reason, const Place& at) {
      to.absent.emplace(at.key, readLineText(at, reason));
    });
    refusePresentAndAbsent(place, schema, to);
  }

  /// Called when either of the two objects was read, as they come in any order.
  static void refusePresentAndAbsent(const Place& place, const RecordSchema& schema,
                                     const RecordsDraft& records) {
    for (const auto& [name, reason] : records.absent) {
      if ((records.present >> schema.names.find(name) & 1U) != 0)
        refuse(place.member(name), "is both a record and absent; expected one of the two");
    }
  }

  /// What only a whole node can be asked.
  void checkPorts(const Place& place) const {
    std::bitset<256> seen;
    for (const PortDraft& draft : draft_.ports) {
      const Place ports = place.member("ports");
      const Place port{&ports, {}, draft.index, draft.at};
      const Place num = port.member("num");
      const std::string number = std::to_string(draft.port.num);
      if (draft.port.num == 0 && draft_.node.type != kSwitch)
        refuse(num, "is 0; expected 1 or more, as only a switch has a port 0");
      if (draft.port.num > draft_.node.numPorts)
        refuse(num, number + " is above \"num_ports\", " + std::to_string(draft_.node.numPorts));
      if (seen.test(draft.port.num)) refuse(num, number + " is the number of an earlier port as well");
      seen.set(draft.port.num);
    }
  }

  NodeDraft& draft_;
};

void addRecords(const RecordsDraft& draft, const RecordSchema& schema, const NodeDraft& node,
                std::uint32_t index, InMemoryExtendedInfo& store) {
  for (const RecordDraft& record : draft.records)
    schema.kinds[record.kind].set(store, index, &node.bytes[record.offset]);
}

void addPort(const PortDraft& draft, const NodeDraft& owner, IBNode& node, Snapshot& snapshot) {
  InMemoryExtendedInfo& store = snapshot.discovered.records;
  IBPort& port = *snapshot.discovered.fabric.addPort(node, draft.port.num);
  const std::uint32_t index = port.recordIndex;
  port = draft.port;
  port.recordIndex = index;
  addRecords(draft.records, portSchema(), owner, index, store);
  for (const auto& [set, offset] : draft.counters) {
    ZYRReductionCounters counters;
    std::memcpy(&counters, &owner.bytes[offset], sizeof counters);
    store.setCounters(index, set, counters);
  }
  for (const std::uint8_t monitor : draft.monitors) store.setMonitor(index, monitor);
  if (!draft.records.absent.empty()) snapshot.absentOnPorts[index] = draft.records.absent;
}

}  // namespace

NodeDraft parseNode(json::object document, const char* text) {
  NodeDraft draft;
  NodeParser(draft).parse(document, Place{nullptr, {}, 0, text});
  return draft;
}

bool addToSnapshot(const NodeDraft& draft, Snapshot& snapshot) {
  DiscoveredFabric& discovered = snapshot.discovered;
  IBNode* node = discovered.fabric.addNode(draft.node.name, draft.node.numPorts);
  if (node == nullptr) return false;
  const std::uint32_t index = node->recordIndex;
  std::vector<IBPort*> ports = std::move(node->ports);
  *node = draft.node;
  node->ports = std::move(ports);
  node->recordIndex = index;
  if (draft.hasSmp) discovered.capabilities.setAnswer(index, false, draft.smp);
  if (draft.hasGmp) discovered.capabilities.setAnswer(index, true, draft.gmp);
  addRecords(draft.records, nodeSchema(), draft, index, discovered.records);
  if (!draft.records.absent.empty()) snapshot.absentOnNodes[index] = draft.records.absent;
  for (const PortDraft& port : draft.ports) addPort(port, draft, *node, snapshot);
  return true;
}

}  // namespace siminfo
