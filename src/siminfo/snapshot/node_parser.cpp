#include "siminfo/snapshot/node_parser.h"

#include <algorithm>
#include <bitset>

#include "siminfo/snapshot/format.h"
#include "siminfo/snapshot/record_parser.h"

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

/// Which record names an object gave, by their number in its schema.
struct RecordNames {
  std::uint64_t present = 0;
  std::uint64_t absent = 0;
  const char* absentAt = nullptr;

  void check(const Place& place, const RecordSchema& schema) const {
    if ((present & absent) == 0) return;
    const Place names = place.member("absent");
    const std::string_view both =
        schema.names.name(static_cast<std::size_t>(std::countr_zero(present & absent)));
    refuse(Place{&names, both, 0, absentAt}, "is a record that is there as well; expected one of the two");
  }
};

/// Reads one node document into a draft.
class NodeParser {
 public:
  explicit NodeParser(NodeDraft& draft) : draft_(draft) {}

  void parse(json::object document, const Place& place) {
    RecordNames names;
    readMembers(place, document, keys(), [&](std::size_t key, json::value value, const Place& at) {
      parseMember(static_cast<Key>(key), value, at, names);
    });
    names.check(place, nodeSchema());
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

  void parseMember(Key key, json::value value, const Place& at, RecordNames& names) {
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
        parseRecords(value, at, nodeSchema(), kNodeItself, names);
        break;
      case kAbsent:
        parseAbsent(value, at, nodeSchema(), kNodeItself, names);
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
      std::optional<CapabilityAnswer>& mask = isGmp ? draft_.gmp : draft_.smp;
      if (mask) refuse(at, "is given beside its counterpart; expected the mask or the error, not both");
      if (key == kSmp || key == kGmp)
        mask = {0, parseMask(answer, at)};
      else if (mask = {readSigned(at, answer), {}}; mask->error == 0)
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

  void parseRecords(json::value value, const Place& place, const RecordSchema& schema, Owner owner,
                    RecordNames& names) {
    readMembers(place, value, schema.names, [&](std::size_t name, json::value record, const Place& at) {
      names.present |= std::uint64_t{1} << name;
      if (name < schema.kinds.size()) {
        const std::size_t offset = reserve(schema.kinds[name].size);
        schema.parsers[name].parse(at, record, &draft_.bytes[offset]);
        draft_.records.push_back({owner, static_cast<std::uint32_t>(name), offset});
      } else if (at.key == kCountersName) {
        parseCounters(record, at, owner);
      } else {
        readElements(at, record, [&](json::value monitor, const Place& element) {
          draft_.monitors.push_back({owner, static_cast<std::uint8_t>(readUnsigned(element, monitor, 255))});
        });
      }
    });
  }

  void parsePort(json::value value, const Place& place) {
    const auto owner = static_cast<Owner>(draft_.ports.size());
    IBPort port;
    port.portState = kDefaultPortState;
    const char* numAt = nullptr;
    RecordNames names;
    readMembers(place, value, portKeys(), [&](std::size_t key, json::value member, const Place& at) {
      switch (static_cast<PortKey>(key)) {
        case kNum:
          port.num = static_cast<std::uint8_t>(readUnsigned(at, member, kMostPorts));
          numAt = at.at;
          break;
        case kState:
          port.portState =
              isString(member) ? readWord(at, member, kPortStates, "an integer") : readSigned(at, member);
          break;
        case kPortInSubFabric:
          port.inSubFabric = readBool(at, member);
          break;
        case kKinds:
          parseKinds(member, at, port);
          break;
        case kPortRecords:
          parseRecords(member, at, portSchema(), owner, names);
          break;
        case kPortAbsent:
          parseAbsent(member, at, portSchema(), owner, names);
          break;
      }
    });
    names.check(place, portSchema());
    draft_.ports.push_back({port, numAt});
  }

  static void parseKinds(json::value value, const Place& place, IBPort& port) {
    readElements(place, value, [&](json::value kind, const Place& at) {
      const auto* found = std::ranges::find(kPortKinds, readText(at, kind), &PortKind::word);
      if (found == kPortKinds.end())
        refuse(at, "is no kind of port; expected \"special\", \"fnm\" or \"fnm1\"");
      port.*(found->flag) = true;
    });
  }

  void parseCounters(json::value value, const Place& place, Owner owner) {
    static const KeyTable sets(std::string(kCountersName), {"0", "1", "2", "3", "4", "5", "6", "7"}, 0);
    static const RecordParser parser("a counter set", kFields<ZYRReductionCounters>);
    readMembers(place, value, sets, [&](std::size_t index, json::value set, const Place& at) {
      const std::size_t offset = reserve(sizeof(ZYRReductionCounters));
      parser.parse(at, set, &draft_.bytes[offset]);
      draft_.counters.push_back({owner, static_cast<std::uint32_t>(index), offset});
    });
  }

  void parseAbsent(json::value value, const Place& place, const RecordSchema& schema, Owner owner,
                   RecordNames& names) {
    names.absentAt = place.at;
    readMembers(place, value, schema.names, [&](std::size_t name, json::value reason, const Place& at) {
      names.absent |= std::uint64_t{1} << name;
      draft_.absent.push_back({owner, std::string(at.key), std::string(readLineText(at, reason))});
    });
  }

  /// What only a whole node can be asked.
  void checkPorts(const Place& place) const {
    std::bitset<256> seen;
    const Place ports = place.member("ports");
    for (std::size_t i = 0; i < draft_.ports.size(); ++i) {
      const PortDraft& draft = draft_.ports[i];
      const Place port{&ports, {}, i, draft.numAt};
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

/// The record indices of a draft's node and ports, once these are part of the fabric.
class Indices {
 public:
  explicit Indices(std::uint32_t node) : node_(node) {}
  void addPort(std::uint32_t port) { ports_.push_back(port); }
  std::uint32_t of(Owner owner) const { return owner == kNodeItself ? node_ : ports_[owner]; }

 private:
  std::uint32_t node_;
  std::vector<std::uint32_t> ports_;
};

Indices addNodeAndPorts(const NodeDraft& draft, IBNode& node, InMemoryFabric& fabric) {
  const std::uint32_t nodeIndex = node.recordIndex;
  std::vector<IBPort*> ports = std::move(node.ports);
  node = draft.node;
  node.ports = std::move(ports);
  node.recordIndex = nodeIndex;
  Indices indices(nodeIndex);
  for (const PortDraft& each : draft.ports) {
    IBPort& port = *fabric.addPort(node, each.port.num);
    indices.addPort(port.recordIndex);
    port = each.port;
    port.recordIndex = indices.of(static_cast<Owner>(&each - draft.ports.data()));
  }
  return indices;
}

}  // namespace

void NodeDraft::clear() {
  node = {};
  nameAt = nullptr;
  smp.reset();
  gmp.reset();
  ports.clear();
  records.clear();
  counters.clear();
  monitors.clear();
  absent.clear();
  bytes.clear();
}

void parseNode(json::object document, const char* text, NodeDraft& draft) {
  draft.clear();
  NodeParser(draft).parse(document, Place{nullptr, {}, 0, text});
}

bool addToSnapshot(const NodeDraft& draft, Snapshot& snapshot) {
  auto& [fabric, store, capabilities] = snapshot.discovered;
  IBNode* node = fabric.addNode(draft.node.name, draft.node.numPorts);
  if (node == nullptr) return false;
  const Indices indices = addNodeAndPorts(draft, *node, fabric);
  if (draft.smp) capabilities.setAnswer(node->recordIndex, false, *draft.smp);
  if (draft.gmp) capabilities.setAnswer(node->recordIndex, true, *draft.gmp);
  for (const auto& [owner, kind, offset] : draft.records) {
    const RecordKind& kindOf = owner == kNodeItself ? kNodeRecordKinds[kind] : kPortRecordKinds[kind];
    kindOf.set(store, indices.of(owner), &draft.bytes[offset]);
  }
  for (const auto& [owner, set, offset] : draft.counters) {
    ZYRReductionCounters counters;
    std::memcpy(&counters, &draft.bytes[offset], sizeof counters);
    store.setCounters(indices.of(owner), set, counters);
  }
  for (const auto& [owner, monitor] : draft.monitors) store.setMonitor(indices.of(owner), monitor);
  for (const auto& [owner, record, reason] : draft.absent) {
    auto& absent = owner == kNodeItself ? snapshot.absentOnNodes : snapshot.absentOnPorts;
    absent[indices.of(owner)][record] = reason;
  }
  return true;
}

}  // namespace siminfo
