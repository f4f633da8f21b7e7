#include "siminfo/inspect/node_comparison.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <tuple>

#include "siminfo/inspect/field_text.h"
#include "siminfo/snapshot/format.h"
#include "siminfo/text/quoting.h"

namespace siminfo {
namespace {

constexpr std::string_view kNone = "none";
constexpr std::string_view kThere = "there";

std::string textOf(bool value) { return value ? "true" : "false"; }
std::string textOf(const std::string& value) { return value.empty() ? std::string(kNone) : inQuotes(value); }
template <std::unsigned_integral Int>
std::string textOf(Int value) {
  return hexText(value);
}
std::string textOf(int value) { return std::to_string(value); }
template <class Value>
std::string textOf(const std::optional<Value>& value) {
  return value ? textOf(*value) : std::string(kNone);
}

/// Gathers changes, those of ports by what changed.
class Changes {
 public:
  void add(std::string what, std::string before, std::string after) {
    const auto [found, isNew] = places_.try_emplace({what, before, after, isOfPort_}, changes_.size());
    if (isNew) changes_.push_back({std::move(what), std::move(before), std::move(after), {}});
    if (isOfPort_) changes_[found->second].ports.push_back(port_);
  }
  template <class Value>
  void compare(const char* what, const Value& before, const Value& after) {
    if (before != after) add(what, textOf(before), textOf(after));
  }
  /// From here on it is about this port.
  void beginPort(unsigned port) {
    isOfPort_ = true;
    port_ = port;
  }
  std::vector<Change> take() { return std::move(changes_); }

 private:
  std::vector<Change> changes_;
  std::map<std::tuple<std::string, std::string, std::string, bool>, std::size_t> places_;
  bool isOfPort_ = false;
  unsigned port_ = 0;
};

/// Of these, values change from one minute to the next; but by the header fields sets are found.
bool isVolatile(std::string_view record, const Field& field) {
  return record == kRecordName<ZYRReductionCounters> ||
         (record == kRecordName<ZYRPushReductionCounters> && field.bits == 64);
}

/// A record of records is known by the names of those.
std::string pathOf(std::string_view record, std::span<const Field> fields) {
  const bool isOfRecords =
      std::ranges::all_of(fields, [](const Field& field) { return field.form == FieldForm::kRecords; });
  return isOfRecords ? std::string() : std::string(record) + ".";
}

class RecordComparison {
 public:
  RecordComparison(Changes& changes, bool withCounters) : changes_(changes), withCounters_(withCounters) {}

  void compare(std::string_view name, std::span<const Field> fields, std::size_t size, const void* before,
               const void* after) {
    if (before == nullptr && after == nullptr) return;
    if (before == nullptr || after == nullptr)
      return changes_.add(std::string(name), std::string(before == nullptr ? kNone : kThere),
                          std::string(after == nullptr ? kNone : kThere));
    // Nearly all records are as they were, and most of those to the last byte.
    if (std::memcmp(before, after, size) != 0)
      compareFields(name, pathOf(name, fields), fields, before, after);
  }

 private:
  void compareFields(std::string_view record, const std::string& path, std::span<const Field> fields,
                     const void* before, const void* after) {
    for (const Field& field : fields) {
      if (isVolatile(record, field) && !withCounters_) continue;
      for (std::size_t i = 0; i < (field.isOneValue() ? 1U : field.count); ++i) {
        std::string name = path;
        name.append(field.name);
        if (!field.isOneValue() && field.count > 1) name.append("[").append(std::to_string(i)).append("]");
        if (field.form == FieldForm::kRecords) {
          compareFields(record, name + ".", field.members, field.inner(before, i), field.inner(after, i));
          continue;
        }
        std::string old = fieldText(field, before, i);
        std::string now = fieldText(field, after, i);
        if (old != now) changes_.add(std::move(name), std::move(old), std::move(now));
      }
    }
  }

  Changes& changes_;
  bool withCounters_;
};

void compareMasks(Changes& changes, const char* what, const CapabilityAnswer* before,
                  const CapabilityAnswer* after) {
  const auto spelled = [](const CapabilityAnswer* answer) {
    if (answer == nullptr) return std::string(kNone);
    if (answer->error != 0) return "error " + std::to_string(answer->error);
    std::string words;
    for (const std::uint32_t word : answer->mask.words)
      words.append(words.empty() ? "" : " ").append(hexText(word, 8));
    return words;
  };
  const bool isSame = before == after || (before != nullptr && after != nullptr &&
                                          before->error == after->error && before->mask == after->mask);
  if (!isSame) changes.add(what, spelled(before), spelled(after));
}

void compareAbsent(Changes& changes, const std::map<std::uint32_t, AbsentRecords>& before,
                   std::uint32_t oldIndex, const std::map<std::uint32_t, AbsentRecords>& after,
                   std::uint32_t newIndex) {
  static const AbsentRecords kNothing;
  const auto of = [](const std::map<std::uint32_t, AbsentRecords>& absent,
                     std::uint32_t index) -> const AbsentRecords& {
    const auto found = absent.find(index);
    return found != absent.end() ? found->second : kNothing;
  };
  const AbsentRecords& old = of(before, oldIndex);
  const AbsentRecords& now = of(after, newIndex);
  if (old == now) return;
  const auto reasonIn = [](const AbsentRecords& absent, const std::string& record) {
    const auto found = absent.find(record);
    return textOf(found != absent.end() ? found->second : std::string());
  };
  AbsentRecords all = old;
  all.insert(now.begin(), now.end());
  for (const auto& [record, reason] : all) {
    std::string oldReason = reasonIn(old, record);
    std::string newReason = reasonIn(now, record);
    if (oldReason != newReason) changes.add("absent." + record, std::move(oldReason), std::move(newReason));
  }
}

/// The identity at the index, or an empty one.
template <class Identity>
const Identity& identityIn(const RecordColumn<Identity>& identities, std::uint32_t index) {
  static const Identity kNothingKnown;
  const Identity* found = identities.find(index);
  return found != nullptr ? *found : kNothingKnown;
}

std::string kindsOf(const IBPort& port) {
  std::string words;
  for (const PortKind& kind : kPortKinds) {
    if (port.*(kind.flag)) words.append(words.empty() ? "" : " ").append(kind.word);
  }
  return words.empty() ? std::string(kNone) : words;
}

std::string monitorsText(const InMemoryExtendedInfo::Monitors& monitors) {
  std::string words;
  for (std::size_t i = 0; i < monitors.size(); ++i) {
    if (monitors.test(i)) words.append(words.empty() ? "" : " ").append(std::to_string(i));
  }
  return words.empty() ? std::string(kNone) : words;
}

/// Two ports of one number, both there.
class PortComparison {
 public:
  PortComparison(const Snapshot& before, const Snapshot& after, Changes& changes, bool withCounters)
      : before_(before),
        after_(after),
        changes_(changes),
        records_(changes, withCounters),
        withCounters_(withCounters) {}

  void compare(const IBPort& before, const IBPort& after) {
    if (before.portState != after.portState)
      changes_.add("state", wordFor(kPortStates, before.portState), wordFor(kPortStates, after.portState));
    changes_.compare("in_sub_fabric", before.inSubFabric, after.inSubFabric);
    if (std::string old = kindsOf(before), now = kindsOf(after); old != now)
      changes_.add("kinds", std::move(old), std::move(now));
    compareIdentities(identityIn(before_.portIdentities, before.recordIndex),
                      identityIn(after_.portIdentities, after.recordIndex));
    compareRecords(before.recordIndex, after.recordIndex);
    compareAbsent(changes_, before_.absentOnPorts, before.recordIndex, after_.absentOnPorts,
                  after.recordIndex);
  }

 private:
  void compareIdentities(const PortIdentity& before, const PortIdentity& after) {
    if (before == after) return;
    changes_.compare("guid", before.guid, after.guid);
    changes_.compare("lid", before.lid, after.lid);
    changes_.compare("lmc", before.lmc, after.lmc);
    changes_.compare("phys_state", before.physState, after.physState);
    if (!before.link || !after.link) return;  // cables are compared as a whole
    changes_.compare("link.width", before.link->width, after.link->width);
    changes_.compare("link.speed", before.link->speed, after.link->speed);
    changes_.compare("link.speed_ext", before.link->speedExt, after.link->speedExt);
  }

  void compareRecords(std::uint32_t before, std::uint32_t after) {
    const InMemoryExtendedInfo& old = before_.discovered.records;
    const InMemoryExtendedInfo& now = after_.discovered.records;
    for (const RecordKind& kind : kPortRecordKinds)
      records_.compare(kind.name, kind.fields, kind.size, kind.find(old, before), kind.find(now, after));
    for (std::uint32_t set = 0; set < InMemoryExtendedInfo::kCounterSets; ++set) {
      const void* oldSet = old.getZYRReductionCounters(before, set);
      const void* newSet = now.getZYRReductionCounters(after, set);
      if (oldSet == nullptr && newSet == nullptr) continue;
      if (oldSet == nullptr || newSet == nullptr ||
          std::memcmp(oldSet, newSet, sizeof(ZYRReductionCounters)) != 0)
        compareSets(set, oldSet, newSet);
    }
    if (const auto was = old.monitors(before), is = now.monitors(after); was != is)
      changes_.add(std::string(kMonitorsName), monitorsText(was), monitorsText(is));
  }

  void compareSets(std::uint32_t set, const void* before, const void* after) {
    // Of a set the number is part of the name, by which it is told from the other seven.
    Changes ofSet;
    RecordComparison(ofSet, withCounters_)
        .compare(kCountersName, kFields<ZYRReductionCounters>, sizeof(ZYRReductionCounters), before, after);
    for (Change& change : ofSet.take()) {
      std::string name(kCountersName);
      name.append("[")
          .append(std::to_string(set))
          .append("]")
          .append(change.what.substr(kCountersName.size()));
      changes_.add(std::move(name), std::move(change.before), std::move(change.after));
    }
  }

  const Snapshot& before_;
  const Snapshot& after_;
  Changes& changes_;
  RecordComparison records_;
  bool withCounters_;
};

}  // namespace

std::vector<Change> NodeComparison::compare(const IBNode& before, const IBNode& after) const {
  Changes changes;
  const std::uint32_t oldIndex = before.recordIndex;
  const std::uint32_t newIndex = after.recordIndex;
  changes.compare("alternative_name", before.alternativeName, after.alternativeName);
  if (before.type != after.type)
    changes.add("type", wordFor(kNodeTypes, before.type), wordFor(kNodeTypes, after.type));
  changes.compare("num_ports", int{before.numPorts}, int{after.numPorts});
  changes.compare("in_sub_fabric", before.inSubFabric, after.inSubFabric);
  changes.compare("special_type", before.specialNodeType, after.specialNodeType);
  changes.compare("orbel_switch", before.orbelSwitch, after.orbelSwitch);
  const NodeIdentity& oldIdentity = identityIn(before_.nodeIdentities, oldIndex);
  const NodeIdentity& newIdentity = identityIn(after_.nodeIdentities, newIndex);
  changes.compare("system_guid", oldIdentity.systemGuid, newIdentity.systemGuid);
  changes.compare("description", oldIdentity.description, newIdentity.description);
  for (const bool isGMP : {false, true})
    compareMasks(changes, isGMP ? "capabilities.gmp" : "capabilities.smp",
                 before_.discovered.capabilities.find(oldIndex, isGMP),
                 after_.discovered.capabilities.find(newIndex, isGMP));
  RecordComparison records(changes, withCounters_);
  for (const RecordKind& kind : kNodeRecordKinds)
    records.compare(kind.name, kind.fields, kind.size, kind.find(before_.discovered.records, oldIndex),
                    kind.find(after_.discovered.records, newIndex));
  compareAbsent(changes, before_.absentOnNodes, oldIndex, after_.absentOnNodes, newIndex);

  PortComparison ports(before_, after_, changes, withCounters_);
  for (std::size_t num = 0; num < std::max(before.ports.size(), after.ports.size()); ++num) {
    const IBPort* old = num < before.ports.size() ? before.ports[num] : nullptr;
    const IBPort* now = num < after.ports.size() ? after.ports[num] : nullptr;
    if (old == nullptr && now == nullptr) continue;
    changes.beginPort(static_cast<unsigned>(num));
    if (old != nullptr && now != nullptr)
      ports.compare(*old, *now);
    else
      changes.add("port", std::string(old == nullptr ? kNone : kThere),
                  std::string(now == nullptr ? kNone : kThere));
  }
  return changes.take();
}

}  // namespace siminfo
