#include "siminfo/snapshot/node_parser.h"

#include <algorithm>
#include <bit>
#include <bitset>

#include "siminfo/snapshot/format.h"
#include "siminfo/snapshot/record_parser.h"

namespace siminfo {
namespace {

/// The record names of nodes or of ports, with a parser for each.
struct RecordSchema {
  std::span<const RecordKind> kinds;
  std::vector<RecordParser> parsers;
  KeyTable names;  // kinds first, in their order, then those that are no single record
};

RecordSchema makeSchema(const std::string& owner, std::span<const RecordKind> kinds,
                        const std::vector<std::string_view>& others) {
  std::vector<RecordParser> parsers;
  std::vector<KeyTable::Key> names;
  for (const RecordKind& kind : kinds) {
    parsers.emplace_back(std::string(kind.name), kind.fields);
    names.push_back({kind.name});
  }
  for (const std::string_view other : others) names.push_back({other});
  return {kinds, std::move(parsers), KeyTable(owner, std::move(names))};
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

/// A key of nodes or of ports, and what reads its value.
template <class Parser>
struct Member : KeyTable::Key {
  void (Parser::*parse)(json::value value, const Place& place);
};

/// Reads an object member by member, each by its row.
template <class Parser>
class MemberTable {
 public:
  MemberTable(const std::string& owner, std::vector<Member<Parser>> members)
      : members_(std::move(members)), keys_(owner, {members_.begin(), members_.end()}) {}

  template <class Object>
  void read(const Place& place, Object object, Parser& parser) const {
    readMembers(place, object, keys_, [&](std::size_t key, json::value value, const Place& at) {
      (parser.*members_[key].parse)(value, at);
    });
  }

 private:
  std::vector<Member<Parser>> members_;
  KeyTable keys_;
};

/// Reads into the draft what nodes and ports have alike.
class OwnerParser {
 protected:
  OwnerParser(NodeDraft& draft, Owner owner, const RecordSchema& schema)
      : draft_(draft), owner_(owner), schema_(schema) {}

  void parseRecords(json::value value, const Place& place) {
    readMembers(place, value, schema_.names, [&](std::size_t name, json::value record, const Place& at) {
      present_ |= std::uint64_t{1} << name;
      if (name < schema_.kinds.size()) {
        const std::size_t offset = reserve(schema_.kinds[name].size);
        schema_.parsers[name].parse(at, record, &draft_.bytes[offset]);
        draft_.records.push_back({owner_, static_cast<std::uint32_t>(name), offset});
      } else if (at.key == kCountersName) {
        parseCounters(record, at);
      } else {
        readElements(at, record, [&](json::value monitor, const Place& element) {
          draft_.monitors.push_back({owner_, readInteger<std::uint8_t>(element, monitor, {0, 255})});
        });
      }
    });
  }

  void parseAbsent(json::value value, const Place& place) {
    absentAt_ = place.at;
    readMembers(place, value, schema_.names, [&](std::size_t name, json::value reason, const Place& at) {
      absent_ |= std::uint64_t{1} << name;
      draft_.absent.push_back({owner_, std::string(at.key), std::string(readLineText(at, reason))});
    });
  }

  void requireNotBoth(const Place& place) const {
    const std::uint64_t both = present_ & absent_;
    if (both == 0) return;
    const Place names = place.member("absent");
    const std::string_view name = schema_.names.name(static_cast<std::size_t>(std::countr_zero(both)));
    refuse(Place{&names, name, 0, absentAt_},
           "is also among the records; expected either the record or the reason why it is absent");
  }

  NodeDraft& draft_;

 private:
  std::size_t reserve(std::size_t size) {
    const std::size_t offset = draft_.bytes.size();
    draft_.bytes.resize(offset + (size + 7) / 8);
    return offset;
  }

  void parseCounters(json::value value, const Place& place) {
    static const KeyTable sets(std::string(kCountersName),
                               {{"0"}, {"1"}, {"2"}, {"3"}, {"4"}, {"5"}, {"6"}, {"7"}});
    static const RecordParser parser("a counter set", kFields<ZYRReductionCounters>);
    readMembers(place, value, sets, [&](std::size_t index, json::value set, const Place& at) {
      const std::size_t offset = reserve(sizeof(ZYRReductionCounters));
      parser.parse(at, set, &draft_.bytes[offset]);
      draft_.counters.push_back({owner_, static_cast<std::uint32_t>(index), offset});
    });
  }

  Owner owner_;
  const RecordSchema& schema_;
  // Record names that were given, a bit for each, by their number in the schema.
  std::uint64_t present_ = 0;
  std::uint64_t absent_ = 0;
  const char* absentAt_ = nullptr;
};

/// Reads one port of a node document into the draft.
class PortParser : OwnerParser {
 public:
  explicit PortParser(NodeDraft& draft)
      : OwnerParser(draft, static_cast<Owner>(draft.ports.size()), portSchema()) {
    port_.portState = kDefaultPortState;
  }

  void parse(json::value value, const Place& place) {
    static const MemberTable<PortParser> members("a port",
                                                 {
                                                     {{"num", true}, &PortParser::parseNum},
                                                     {{"state"}, &PortParser::parseState},
                                                     {{"in_sub_fabric"}, &PortParser::parseInSubFabric},
                                                     {{"kinds"}, &PortParser::parseKinds},
                                                     {{"guid"}, &PortParser::parseGuid},
                                                     {{"lid"}, &PortParser::parseLid},
                                                     {{"lmc"}, &PortParser::parseLmc},
                                                     {{"phys_state"}, &PortParser::parsePhysState},
                                                     {{"link"}, &PortParser::parseLink},
                                                     {{"records"}, &PortParser::parseRecords},
                                                     {{"absent"}, &PortParser::parseAbsent},
                                                 });
    members.read(place, value, *this);
    requireNotBoth(place);
    draft_.ports.push_back({port_, numAt_});
  }

 private:
  void parseNum(json::value value, const Place& at) {
    port_.num = readInteger<std::uint8_t>(at, value, {0, kMostPorts});
    numAt_ = at.at;
  }
  void parseState(json::value value, const Place& at) {
    port_.portState = readInteger<int>(at, value, kPortStateForm);
  }
  void parseInSubFabric(json::value value, const Place& at) { port_.inSubFabric = readBool(at, value); }
  void parseKinds(json::value value, const Place& place) {
    readElements(place, value, [&](json::value kind, const Place& at) {
      const auto* found = std::ranges::find(kPortKinds, readText(at, kind), &PortKind::word);
      if (found == kPortKinds.end())
        refuse(at, "is not a kind of port; expected \"special\", \"fnm\" or \"fnm1\"");
      port_.*(found->flag) = true;
    });
  }

  void parseGuid(json::value value, const Place& at) { identity().guid = readInteger(at, value, kGuidForm); }
  void parseLid(json::value value, const Place& at) {
    identity().lid = readInteger<std::uint16_t>(at, value, {0, 0xffff});
  }
  void parseLmc(json::value value, const Place& at) {
    identity().lmc = readInteger<std::uint8_t>(at, value, {0, 7});
  }
  void parsePhysState(json::value value, const Place& at) {
    identity().physState = readInteger<std::uint8_t>(at, value, {0, 15});
  }
  void parseLink(json::value value, const Place& place) {
    enum Key : std::size_t { kNode, kPort, kWidth, kSpeed, kSpeedExt };
    static const KeyTable keys("a link",
                               {{"node", true}, {"port", true}, {"width"}, {"speed"}, {"speed_ext"}});
    Link& link = identity().link.emplace();
    draft_.portIdentities.back().linkAt = place.at;
    readMembers(place, value, keys, [&](std::size_t key, json::value member, const Place& at) {
      switch (static_cast<Key>(key)) {
        case kNode:
          link.node = readLineText(at, member);
          break;
        case kPort:
          link.port = readInteger<std::uint8_t>(at, member, {0, kMostPorts});
          if (link.port == 0) refuse(at, "is 0; expected 1 or more, as port 0 cannot have a link");
          break;
        case kWidth:
          link.width = readInteger<std::uint8_t>(at, member, {0, 255});
          break;
        case kSpeed:
          link.speed = readInteger<std::uint8_t>(at, member, {0, 15});
          break;
        case kSpeedExt:
          link.speedExt = readInteger<std::uint8_t>(at, member, {0, 15});
          break;
      }
    });
  }

  /// Most ports of most snapshots have none.
  PortIdentity& identity() {
    if (!hasIdentity_)
      draft_.portIdentities.push_back({static_cast<Owner>(draft_.ports.size()), {}, nullptr});
    hasIdentity_ = true;
    return draft_.portIdentities.back().identity;
  }

  IBPort port_;
  const char* numAt_ = nullptr;
  bool hasIdentity_ = false;
};

/// Reads one node document into a draft.
class NodeParser : OwnerParser {
 public:
  explicit NodeParser(NodeDraft& draft) : OwnerParser(draft, kNodeItself, nodeSchema()), node_(draft.node) {}

  void parse(json::object document, const Place& place) {
    static const MemberTable<NodeParser> members(
        "a node", {
                      {{"name", true}, &NodeParser::parseName},
                      {{"guid", true}, &NodeParser::parseGuid},
                      {{"type", true}, &NodeParser::parseType},
                      {{"num_ports", true}, &NodeParser::parseNumPorts},
                      {{"alternative_name"}, &NodeParser::parseAlternativeName},
                      {{"in_sub_fabric"}, &NodeParser::parseInSubFabric},
                      {{"special_type"}, &NodeParser::parseSpecialType},
                      {{"orbel_switch"}, &NodeParser::parseOrbelSwitch},
                      {{"capabilities"}, &NodeParser::parseCapabilities},
                      {{"system_guid"}, &NodeParser::parseSystemGuid},
                      {{"description"}, &NodeParser::parseDescription},
                      {{"records"}, &NodeParser::parseRecords},
                      {{"absent"}, &NodeParser::parseAbsent},
                      {{"ports"}, &NodeParser::parsePorts},
                  });
    members.read(place, document, *this);
    requireNotBoth(place);
    checkPorts(place);
  }

 private:
  void parseName(json::value value, const Place& at) {
    node_.name = readName(at, value);
    if (node_.name.empty()) refuse(at, "is empty; expected the node's name");
    draft_.nameAt = at.at;
  }
  void parseGuid(json::value value, const Place& at) { node_.guid = readInteger(at, value, kGuidForm); }
  void parseType(json::value value, const Place& at) {
    node_.type = readInteger<int>(at, value, kNodeTypeForm);
  }
  void parseNumPorts(json::value value, const Place& at) {
    node_.numPorts = readInteger<std::uint8_t>(at, value, {0, kMostPorts});
  }
  void parseAlternativeName(json::value value, const Place& at) {
    node_.alternativeName = readLineText(at, value);
  }
  void parseInSubFabric(json::value value, const Place& at) { node_.inSubFabric = readBool(at, value); }
  void parseSpecialType(json::value value, const Place& at) {
    node_.specialNodeType = readInteger<int>(at, value, kIntForm);
  }
  void parseOrbelSwitch(json::value value, const Place& at) { node_.orbelSwitch = readBool(at, value); }
  void parseSystemGuid(json::value value, const Place& at) {
    draft_.identity.systemGuid = readInteger(at, value, kGuidForm);
  }
  void parseDescription(json::value value, const Place& at) {
    draft_.identity.description = readLineText(at, value);
  }
  void parsePorts(json::value value, const Place& at) {
    readElements(at, value,
                 [&](json::value port, const Place& place) { PortParser(draft_).parse(port, place); });
  }

  void parseCapabilities(json::value value, const Place& place) {
    enum Mask : std::size_t { kSmp, kSmpError, kGmp, kGmpError };
    static const KeyTable table("\"capabilities\"", {{"smp"}, {"smp_error"}, {"gmp"}, {"gmp_error"}});
    readMembers(place, value, table, [&](std::size_t key, json::value answer, const Place& at) {
      const bool isGmp = key == kGmp || key == kGmpError;
      std::optional<CapabilityAnswer>& mask = isGmp ? draft_.gmp : draft_.smp;
      if (mask) refuse(at, "is given twice, as mask and as error; expected one of them");
      if (key == kSmp || key == kGmp)
        mask = {0, parseMask(answer, at)};
      else if (mask = {readInteger<int>(at, answer, kIntForm), {}}; mask->error == 0)
        refuse(at, "is 0, which is not an error; expected another number, or the mask");
    });
  }

  static capability_mask parseMask(json::value value, const Place& place) {
    capability_mask mask;
    const std::size_t length = readElements(place, value, [&](json::value word, const Place& at) {
      if (at.index >= mask.words.size()) refuse(at, "is one too many; expected 4 words");
      mask.words[at.index] = readInteger<std::uint32_t>(at, word, {0, 0xffffffffU});
    });
    if (length < mask.words.size()) refuse(place, "has " + std::to_string(length) + " words; expected 4");
    return mask;
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
      if (draft.port.num == 0 && node_.type != kSwitch)
        refuse(num, "is 0; expected 1 or more, as only a switch has a port 0");
      if (draft.port.num > node_.numPorts)
        refuse(num, number + " is above \"num_ports\", " + std::to_string(node_.numPorts));
      if (seen.test(draft.port.num)) refuse(num, number + " is also the number of an earlier port");
      seen.set(draft.port.num);
    }
    for (const PortIdentityDraft& each : draft_.portIdentities) {
      const Place port{&ports, {}, each.owner, each.linkAt};
      if (each.linkAt != nullptr && draft_.ports[each.owner].port.num == 0)
        refuse(port.member("link"), "is a link of port 0, which cannot have one");
    }
  }

  IBNode& node_;
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
  std::size_t highest = 0;
  for (const PortDraft& each : draft.ports) highest = std::max<std::size_t>(highest, each.port.num);
  node.ports.resize(highest + 1);
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
  identity = {};
  portIdentities.clear();
  bytes.clear();
}

void parseNode(json::object document, const char* text, NodeDraft& draft) {
  draft.clear();
  NodeParser(draft).parse(document, Place{nullptr, {}, 0, text});
}

const IBNode* addToSnapshot(const NodeDraft& draft, Snapshot& snapshot) {
  auto& [fabric, store, capabilities] = snapshot.discovered;
  IBNode* node = fabric.addNode(draft.node.name, draft.node.numPorts);
  if (node == nullptr) return nullptr;
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
  if (draft.identity != NodeIdentity{}) snapshot.nodeIdentities.set(node->recordIndex, draft.identity);
  for (const PortIdentityDraft& each : draft.portIdentities)
    snapshot.portIdentities.set(indices.of(each.owner), each.identity);
  return node;
}

}  // namespace siminfo
