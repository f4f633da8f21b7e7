#include "bench/plain_loaders.h"

#include <simdjson.h>

#include <charconv>
#include <deque>
#include <fstream>
#include <nlohmann/json.hpp>
#include <vector>

#include "siminfo/core/in_memory/record_column.h"
#include "siminfo/snapshot/format.h"

namespace siminfo {
namespace {

std::uint64_t numberOf(std::string_view text) {
  std::uint64_t number = 0;
  std::from_chars(text.data() + 2, text.data() + text.size(), number, 16);
  return number;
}

/// Where both yardsticks put their records: the columns that the program itself has.
class Sink {
 public:
  void add(const RecordKind& kind, const void* record) {
    kind.set(store_, next_++, record);
    ++records_;
  }
  void addCounters(const ZYRReductionCounters& record) {
    counters_.set(next_++, record);
    ++records_;
  }
  std::size_t records() const { return records_; }

 private:
  InMemoryExtendedInfo store_;
  RecordColumn<ZYRReductionCounters> counters_;
  std::uint32_t next_ = 0;
  std::size_t records_ = 0;
};

struct alignas(8) Scratch {
  std::byte bytes[512];
};

// ---- nlohmann: the document as a tree

using Tree = nlohmann::json;

void fill(const Tree& object, std::span<const Field> fields, void* to, Loaded& loaded) {
  for (const Field& field : fields) {
    const Tree& value = object.at(field.name);
    if (field.form == FieldForm::kRecords) {
      for (std::size_t i = 0; i < field.count; ++i)
        fill(field.count > 1 ? value.at(i) : value, field.members, field.inner(to, i), loaded);
    } else if (field.isNumber()) {
      const std::uint64_t number =
          value.is_string() ? numberOf(value.get_ref<const std::string&>()) : value.get<std::uint64_t>();
      field.set(to, number);
      loaded.add(number);
    }
  }
}

void fillAll(const Tree& owner, std::span<const RecordKind> kinds, Sink& sink, Loaded& loaded) {
  if (!owner.contains("records")) return;
  const Tree& records = owner.at("records");
  for (const RecordKind& kind : kinds) {
    const auto found = records.find(kind.name);
    if (found == records.end()) continue;
    Scratch scratch{};
    fill(*found, kind.fields, &scratch, loaded);
    sink.add(kind, &scratch);
  }
  const auto sets = records.find(kCountersName);
  if (sets == records.end()) return;
  for (const Tree& set : *sets) {
    ZYRReductionCounters counters{};
    fill(set, kFields<ZYRReductionCounters>, &counters, loaded);
    sink.addCounters(counters);
  }
}

// ---- simdjson: On-Demand, one line at a time, fields looked up in table order

namespace ondemand = simdjson::ondemand;

void fill(ondemand::object object, std::span<const Field> fields, void* to, Loaded& loaded) {
  for (const Field& field : fields) {
    ondemand::value value = object.find_field(field.name);
    if (field.form == FieldForm::kRecords) {
      if (field.count == 1) {
        fill(value.get_object(), field.members, field.inner(to, 0), loaded);
      } else {
        std::size_t i = 0;
        for (auto element : value.get_array())
          fill(element.get_object(), field.members, field.inner(to, i++), loaded);
      }
    } else if (field.isNumber()) {
      const std::uint64_t number =
          field.bits > 32 ? numberOf(value.get_string()) : value.get_uint64().value();
      field.set(to, number);
      loaded.add(number);
    }
  }
}

void fillAll(ondemand::object records, std::span<const RecordKind> kinds, Sink& sink, Loaded& loaded) {
  for (auto member : records) {
    const std::string_view name = member.unescaped_key();
    if (name == kCountersName) {
      for (auto set : member.value().get_object()) {
        ZYRReductionCounters counters{};
        fill(set.value().get_object(), kFields<ZYRReductionCounters>, &counters, loaded);
        sink.addCounters(counters);
      }
      continue;
    }
    const auto kind = std::ranges::find(kinds, name, &RecordKind::name);
    if (kind == kinds.end()) continue;
    Scratch scratch{};
    fill(member.value().get_object(), kind->fields, &scratch, loaded);
    sink.add(*kind, &scratch);
  }
}

void load(ondemand::object node, Sink& sink, Loaded& loaded) {
  for (auto member : node) {
    const std::string_view key = member.unescaped_key();
    if (key == "records") {
      fillAll(member.value().get_object(), kNodeRecordKinds, sink, loaded);
    } else if (key == "ports") {
      for (auto port : member.value().get_array()) {
        for (auto portMember : port.get_object()) {
          if (std::string_view(portMember.unescaped_key()) == "records")
            fillAll(portMember.value().get_object(), kPortRecordKinds, sink, loaded);
        }
      }
    }
  }
}

}  // namespace

Loaded loadWithNlohmann(const std::string& fileName) {
  std::ifstream file(fileName, std::ios_base::binary);
  Sink sink;
  Loaded loaded;
  for (std::string line; std::getline(file, line);) {
    const Tree node = Tree::parse(line);
    fillAll(node, kNodeRecordKinds, sink, loaded);
    if (!node.contains("ports")) continue;
    for (const Tree& port : node.at("ports")) fillAll(port, kPortRecordKinds, sink, loaded);
  }
  loaded.records = sink.records();
  return loaded;
}

Loaded loadWithSimdjson(const std::string& fileName) {
  std::ifstream file(fileName, std::ios_base::binary);
  ondemand::parser parser;
  Sink sink;
  Loaded loaded;
  for (std::string line; std::getline(file, line);) {
    line.reserve(line.size() + simdjson::SIMDJSON_PADDING);
    ondemand::document document = parser.iterate(line.data(), line.size(), line.capacity());
    load(document.get_object(), sink, loaded);
  }
  loaded.records = sink.records();
  return loaded;
}

}  // namespace siminfo
