#include "siminfo/snapshot/schema.h"

#include <initializer_list>
#include <map>

#include "siminfo/snapshot/format.h"
#include "siminfo/snapshot/json_line.h"
#include "siminfo/text/text_rules.h"

namespace siminfo {
namespace {

/// Control characters, line and paragraph separators, and bidirectional controls; a backslash or its trigraph
/// at the end, blanks behind it ignored.
constexpr std::string_view kLineText =
    "^(?!.*(\\\\|\\?\\?/) *$)[^\\u0000-\\u001f\\u007f-\\u009f\\u061c\\u200e\\u200f\\u2028-\\u202e\\u2066-"
    "\\u2069]*$";

/// Writes schemas. Every member begins a schema of its own where a value is expected.
class SchemaWriter {
 public:
  std::string write() {
    json_.open('{');
    json_.key("$schema").string("https://json-schema.org/draft/2020-12/schema");
    json_.key("title").string("A document of a siminfo fabric snapshot: the header, or a node");
    // By the key that each must have, so that a message speaks of what the document is meant to be.
    json_.key("if").open('{');
    json_.key("type").string("object");
    require({"fabric_snapshot"});
    json_.close('}');
    reference("then", "header");
    reference("else", "node");
    json_.key("$defs").open('{');
    addHeader();
    addNode();
    addPort();
    addLink();
    addRecords("node_records", kNodeRecordKinds, [] {});
    addRecords("port_records", kPortRecordKinds, [this] { addCountersAndMonitors(); });
    addAbsent("node_absent", kNodeRecordKinds, {});
    addAbsent("port_absent", kPortRecordKinds, {kCountersName, kMonitorsName});
    for (const RecordKind& kind : kNodeRecordKinds) addRecord(kind.name, kind.fields);
    for (const RecordKind& kind : kPortRecordKinds) addRecord(kind.name, kind.fields);
    addRecord(kCountersName, kFields<ZYRReductionCounters>);
    while (!inner_.empty()) {
      const auto [name, fields] = *inner_.begin();
      inner_.erase(inner_.begin());
      addRecord(name, fields);
    }
    addTexts();
    json_.close('}');
    json_.close('}');
    return std::string(json_.text()) + "\n";
  }

 private:
  void require(std::initializer_list<std::string_view> keys) {
    json_.key("required").open('[');
    for (const std::string_view key : keys) json_.string(key);
    json_.close(']');
  }
  void reference(std::string_view key, std::string_view definition) {
    json_.key(key).open('{');
    json_.key("$ref").string("#/$defs/" + std::string(definition));
    json_.close('}');
  }
  void type(std::string_view key, std::string_view name) {
    json_.key(key).open('{');
    json_.key("type").string(name);
    json_.close('}');
  }
  template <class AddProperties>
  void object(std::string_view key, std::initializer_list<std::string_view> required,
              AddProperties addProperties) {
    json_.key(key).open('{');
    json_.key("type").string("object");
    if (required.size() > 0) require(required);
    json_.key("additionalProperties").truth(false);
    json_.key("properties").open('{');
    addProperties();
    json_.close('}');
    json_.close('}');
  }
  template <class AddItems>
  void array(std::string_view key, std::size_t least, std::size_t most, AddItems addItems) {
    json_.key(key).open('{');
    json_.key("type").string("array");
    if (least > 0) json_.key("minItems").number(least);
    if (most > 0) json_.key("maxItems").number(most);
    addItems();
    json_.close('}');
  }

  /// An integer as snapshots spell them: a number, or a text that holds one. How large the number in a text
  /// is no schema can say, but by its digits.
  void integer(std::string_view key, const IntegerForm& form) {
    json_.key(key).open('{');
    json_.key("anyOf").open('[');
    json_.open('{');
    json_.key("type").string("integer");
    json_.key("minimum").number(form.lowest);
    json_.key("maximum").number(form.highest);
    json_.close('}');
    json_.open('{');
    json_.key("type").string("string");
    const std::string sign = form.lowest < 0 ? "-?" : "";
    json_.key("pattern").string("^(" + sign + "[0-9]+|" + sign + "0[xX]0*[0-9a-fA-F]{1," +
                                std::to_string(hexDigits(form.highest).size()) + "}" +
                                (form.isGuid ? "|[0-9a-fA-F]{16}" : "") + ")$");
    json_.close('}');
    if (!form.words.empty()) {
      json_.open('{');
      json_.key("enum").open('[');
      for (const Word& word : form.words) json_.string(word.word);
      json_.close(']');
      json_.close('}');
    }
    json_.close(']');
    json_.close('}');
  }
  void bits(std::string_view key, unsigned bits) { integer(key, {0, ~std::uint64_t{0} >> (64 - bits)}); }

  void addHeader() {
    object("header", {"fabric_snapshot"}, [this] {
      json_.key("fabric_snapshot").open('{');
      json_.key("anyOf").open('[');
      json_.open('{');
      json_.key("const").number(kFormatVersion);
      json_.close('}');
      json_.open('{');
      json_.key("type").string("string");
      json_.key("pattern").string("^0*(0[xX]0*)?" + std::to_string(kFormatVersion) + "$");
      json_.close('}');
      json_.close(']');
      json_.close('}');
      for (const char* key : {"source", "collected_at", "fabric"}) reference(key, "line_text");
      integer("nodes", {});
    });
  }

  void addNode() {
    object("node", {"name", "guid", "type", "num_ports"}, [this] {
      reference("name", "name");
      reference("alternative_name", "line_text");
      reference("description", "line_text");
      reference("guid", "guid");
      reference("system_guid", "guid");
      integer("type", kNodeTypeForm);
      integer("num_ports", {0, kMostPorts});
      type("in_sub_fabric", "boolean");
      type("orbel_switch", "boolean");
      integer("special_type", kIntForm);
      object("capabilities", {}, [this] {
        for (const char* mask : {"smp", "gmp"}) {
          array(mask, 4, 4, [this] { bits("items", 32); });
          integer(std::string(mask) + "_error", kIntForm);
        }
      });
      reference("records", "node_records");
      reference("absent", "node_absent");
      array("ports", 0, kMostPorts + 1, [this] { reference("items", "port"); });
    });
  }

  void addPort() {
    object("port", {"num"}, [this] {
      integer("num", {0, kMostPorts});
      integer("state", kPortStateForm);
      type("in_sub_fabric", "boolean");
      array("kinds", 0, 0, [this] {
        json_.key("items").open('{');
        json_.key("enum").open('[');
        for (const PortKind& kind : kPortKinds) json_.string(kind.word);
        json_.close(']');
        json_.close('}');
      });
      reference("guid", "guid");
      bits("lid", 16);
      bits("lmc", 3);
      bits("phys_state", 4);
      reference("link", "link");
      reference("records", "port_records");
      reference("absent", "port_absent");
    });
  }

  void addLink() {
    object("link", {"node", "port"}, [this] {
      reference("node", "name");
      integer("port", {1, kMostPorts});
      bits("width", 8);
      for (const char* key : {"speed", "speed_ext"}) bits(key, 4);
    });
  }

  template <class AddMore>
  void addRecords(std::string_view key, std::span<const RecordKind> kinds, AddMore addMore) {
    object(key, {}, [&] {
      for (const RecordKind& kind : kinds) reference(kind.name, kind.name);
      addMore();
    });
  }

  void addCountersAndMonitors() {
    object(kCountersName, {}, [this] {
      for (std::uint32_t set = 0; set < InMemoryExtendedInfo::kCounterSets; ++set)
        reference(std::to_string(set), kCountersName);
    });
    array(kMonitorsName, 0, 0, [this] { bits("items", 8); });
  }

  void addAbsent(std::string_view key, std::span<const RecordKind> kinds,
                 std::initializer_list<std::string_view> others) {
    object(key, {}, [&] {
      for (const RecordKind& kind : kinds) reference(kind.name, "line_text");
      for (const std::string_view other : others) reference(other, "line_text");
    });
  }

  void addRecord(std::string_view name, std::span<const Field> fields) {
    json_.key(name).open('{');
    json_.key("type").string("object");
    json_.key("additionalProperties").truth(false);
    json_.key("required").open('[');
    for (const Field& field : fields) json_.string(field.name);
    json_.close(']');
    json_.key("properties").open('{');
    for (const Field& field : fields) addField(field);
    json_.close('}');
    json_.close('}');
  }

  void addField(const Field& field) {
    const auto plain = [&](std::string_view key) {
      if (field.form == FieldForm::kRecords) {
        inner_[field.innerName] = field.members;
        reference(key, field.innerName);
      } else {
        bits(key, field.bits);
      }
    };
    const bool isBytes = field.isOneValue() && !field.isNumber();
    if (!isBytes && field.count == 1) return plain(field.name);
    if (!isBytes) return array(field.name, field.count, field.count, [&] { plain("items"); });
    json_.key(field.name).open('{');
    json_.key("anyOf").open('[');
    json_.open('{');
    json_.key("type").string("string");
    if (field.form == FieldForm::kText)
      json_.key("maxLength").number(field.count);
    else
      json_.key("pattern").string("^[0-9a-fA-F]{" + std::to_string(2 * field.count) + "}$");
    json_.close('}');
    json_.open('{');
    json_.key("type").string("array");
    if (field.form != FieldForm::kText) json_.key("minItems").number(field.count);
    json_.key("maxItems").number(field.count);
    bits("items", field.bits);
    json_.close('}');
    json_.close(']');
    json_.close('}');
  }

  void addTexts() {
    integer("guid", kGuidForm);
    for (const bool isName : {false, true}) {
      json_.key(isName ? "name" : "line_text").open('{');
      json_.key("type").string("string");
      if (isName) json_.key("minLength").number(1);
      json_.key("maxLength").number(kLongestText);
      json_.key("pattern").string(kLineText);
      json_.close('}');
    }
  }

  JsonLine json_;
  std::map<std::string_view, std::span<const Field>> inner_;  // records of records, still to be added
};

}  // namespace

std::string snapshotSchema() { return SchemaWriter().write(); }

}  // namespace siminfo
