#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "siminfo/inspect/diff_text.h"
#include "siminfo/snapshot/format.h"
#include "tests/snapshot/snapshot_text.h"

namespace siminfo {
namespace {

constexpr const char* kFabric =
    "{\"fabric_snapshot\": 1, \"source\": \"one\"}\n"
    "{\"name\": \"h1\", \"guid\": 1, \"type\": \"ca\", \"num_ports\": 2, \"ports\": ["
    "{\"num\": 1, \"lid\": 7, \"link\": {\"node\": \"s1\", \"port\": 1}}, {\"num\": 2}]}\n"
    "{\"name\": \"h2\", \"guid\": 2, \"type\": \"ca\", \"num_ports\": 2, \"ports\": ["
    "{\"num\": 1, \"link\": {\"node\": \"s1\", \"port\": 2}}]}\n"
    "{\"name\": \"s1\", \"guid\": 3, \"type\": \"switch\", \"num_ports\": 4, \"system_guid\": 9, "
    "\"capabilities\": {\"smp\": "
    "[1, 0, 0, 0]}, \"absent\": {\"SMP_NodeInfo\": \"timed out\"}, \"ports\": [{\"num\": 3, \"link\": "
    "{\"node\": \"far\", "
    "\"port\": 9}}]}\n";

SnapshotDiff diffOf(Snapshot& before, Snapshot& after, bool withCounters = false) {
  return compareSnapshots(before, everyNode(before), after, everyNode(after), {withCounters, 3});
}

/// On a screen that is wide enough for every line.
std::string shown(const SnapshotDiff& diff) { return diffText(diff, {1000, false}); }

std::string textOf(const std::string& oldText, const std::string& newText) {
  Snapshot before = read(oldText);
  Snapshot after = read(newText);
  return shown(diffOf(before, after));
}

struct Edit {
  std::string word, by, told;
};

TEST(SnapshotDiff, TellsEveryKeyWithBothValues) {
  for (const auto& [word, by, told] : std::vector<Edit>{
           {"\"one\"", "\"two\", \"collected_at\": \"later\", \"fabric\": \"f\"", ""},
           {"\"h1\"", "\"h9\"", "Nodes renamed 1\n  0x0000000000000001 h1 -> h9\n"},
           {"\"name\": \"h2\"", "\"name\": \"h2\", \"alternative_name\": \"x\"",
            "Nodes changed 1\n  1 x HCA: alternative_name none -> \"x\"\n      h2\n"},
           {"\"num_ports\": 4", "\"num_ports\": 5, \"special_type\": 1, \"orbel_switch\": true",
            "Nodes changed 1\n  1 x SW: num_ports 4 -> 5; special_type none -> 1; orbel_switch false -> "
            "true\n      s1\n"},
           {"\"system_guid\": 9", "\"description\": \"d\"",
            "Nodes changed 1\n  1 x SW: system_guid 0x9 -> none; description none -> \"d\"\n      s1\n"},
           {"\"smp\": [1, ", "\"smp\": [3, ",
            "Nodes changed 1\n  1 x SW: capabilities.smp 0x00000001 0x00000000 0x00000000 0x00000000 -> "
            "0x00000003 0x00000000 0x00000000 0x00000000\n      s1\n"},
           {"\"smp\": [1, 0, 0, 0]", "\"gmp_error\": 2, \"smp_error\": -1",
            "Nodes changed 1\n  1 x SW: capabilities.smp 0x00000001 0x00000000 0x00000000 0x00000000 -> "
            "error -1; "
            "capabilities.gmp none -> error 2\n      s1\n"},
           {"\"timed out\"", "\"refused\"",
            "Nodes changed 1\n  1 x SW: absent.SMP_NodeInfo \"timed out\" -> \"refused\"\n      s1\n"},
           {"{\"num\": 1, \"lid\": 7,",
            "{\"num\": 1, \"state\": \"down\", \"kinds\": [\"fnm\"], \"guid\": 5, \"lmc\": 1,",
            "Nodes changed 1\n  1 x HCA: port 1 state active -> down; port 1 kinds none -> fnm; port 1 guid "
            "none -> 0x5; "
            "port 1 lid 0x7 -> none; port 1 lmc none -> 0x1\n      h1\n"},
           {", {\"num\": 2}]", "]", "Nodes changed 1\n  1 x HCA: port 2 port there -> none\n      h1\n"},
           {"\"port\": 1}}", "\"port\": 1, \"width\": 2}}",
            "Nodes changed 1\n  1 x HCA: port 1 link.width none -> 0x2\n      h1\n"},
       }) {
    std::string text = kFabric;
    ASSERT_NE(text.find(word), std::string::npos) << word;
    for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += by.size())
      text.replace(at, word.size(), by);
    EXPECT_EQ(textOf(kFabric, text), told) << by;
    EXPECT_EQ(textOf(text, text), "") << by;
  }
}

/// Every field of every record, by the tables: one that is forgotten or named wrongly is seen here.
TEST(SnapshotDiff, TellsEveryFieldOfEveryRecord) {
  std::size_t fields = 0;
  const auto check = [&](const auto& kinds, bool isPort) {
    for (const RecordKind& kind : kinds) {
      const std::function<void(std::span<const Field>, std::size_t, const std::string&)> walk =
          [&](std::span<const Field> table, std::size_t base, const std::string& path) {
            for (const Field& field : table) {
              if (field.form == FieldForm::kRecords) {
                for (std::size_t i = 0; i < field.count; ++i)
                  walk(field.members, base + field.offset + i * field.innerSize,
                       path + std::string(field.name) +
                           (field.count > 1 ? "[" + std::to_string(i) + "]" : "") + ".");
                continue;
              }
              Snapshot before = read(kFabric);
              Snapshot after = read(kFabric);
              const std::uint32_t index =
                  isPort ? before.discovered.fabric.nodeByName.at("h1")->ports[2]->recordIndex
                         : before.discovered.fabric.nodeByName.at("h1")->recordIndex;
              std::vector<std::uint64_t> bytes(64);
              kind.set(before.discovered.records, index, bytes.data());
              field.set(reinterpret_cast<std::byte*>(bytes.data()) + base, 1);
              kind.set(after.discovered.records, index, bytes.data());
              const SnapshotDiff diff = diffOf(before, after, true);
              ASSERT_EQ(diff.changed.size(), 1U) << kind.name << "." << field.name;
              ASSERT_EQ(diff.changed[0].changes.size(), 1U);
              EXPECT_EQ(diff.changed[0].changes[0].what, path + std::string(field.name));
              EXPECT_EQ(diff.changed[0].changes[0].ports,
                        isPort ? std::vector<unsigned>{2} : std::vector<unsigned>{});
              const bool isCounter = kind.name == "ZYRPushReductionCounters" && field.bits == 64;
              EXPECT_EQ(diffOf(before, after, false).isSame(), isCounter) << field.name;
              ++fields;
            }
          };
      const bool isOuter = kind.name == "VSGeneralInfo";
      walk(kind.fields, 0, isOuter ? "" : std::string(kind.name) + ".");
    }
  };
  check(kNodeRecordKinds, false);
  check(kPortRecordKinds, true);
  EXPECT_GT(fields, 130U);
}

TEST(SnapshotDiff, CountersAndMonitors) {
  Snapshot before = read(kFabric);
  Snapshot after = read(kFabric);
  const std::uint32_t index = before.discovered.fabric.nodeByName.at("h1")->ports[1]->recordIndex;
  ZYRReductionCounters counters{};
  before.discovered.records.setCounters(index, 3, counters);
  counters.dropped_pkt = 16;
  after.discovered.records.setCounters(index, 3, counters);
  EXPECT_TRUE(diffOf(before, after).isSame());
  EXPECT_EQ(shown(diffOf(before, after, true)),
            "Nodes changed 1\n  1 x HCA: port 1 ZYRReductionCounters[3].dropped_pkt 0x0 -> 0x10\n      h1\n");
  after.discovered.records.setCounters(index, 4, counters);
  after.discovered.records.setMonitor(index, 1);
  EXPECT_EQ(shown(diffOf(before, after)),
            "Nodes changed 1\n  1 x HCA: port 1 ZYRReductionCounters[4] none -> there; port 1 "
            "ZYRReductionConfigureMLIDMonitors none -> 1\n      h1\n");
}

TEST(SnapshotDiff, CablesThatMoved) {
  std::string text = kFabric;
  const auto exchange = [&](const std::string& word, const std::string& by) {
    text.replace(text.find(word), word.size(), by);
  };
  exchange("\"node\": \"s1\", \"port\": 1", "\"node\": \"s1\", \"port\": 4");
  exchange("\"node\": \"far\", \"port\": 9", "\"node\": \"far\", \"port\": 8");
  exchange(", \"link\": {\"node\": \"s1\", \"port\": 2}", "");
  EXPECT_EQ(textOf(kFabric, text),
            "Cables moved 2\n  s1 port 3: far port 9 -> far port 8\n  h1 port 1: s1 port 1 -> s1 port 4\n"
            "Cables removed 1\n  h2 port 1 - s1 port 2\n");
  // Said by the other end now, by another name, and with the far device recorded: the same cables.
  text = kFabric;
  exchange("\"link\": {\"node\": \"s1\", \"port\": 1}", "\"lmc\": 0");
  exchange("\"lid\": 7, \"lmc\": 0", "\"lid\": 7");
  exchange("\"h1\"", "\"H1\"");
  exchange("[{\"num\": 3", "[{\"num\": 1, \"link\": {\"node\": \"H1\", \"port\": 1}}, {\"num\": 3");
  text += "{\"name\": \"far\", \"guid\": 8, \"type\": \"ca\", \"num_ports\": 9}\n";
  const std::string told = textOf(kFabric, text);
  EXPECT_EQ(told.find("Cable"), std::string::npos) << told;
  EXPECT_NE(told.find("Nodes added 1\n  0x0000000000000008 far\n"), std::string::npos);
}

TEST(SnapshotDiff, NodesAreTheirGuids) {
  const auto fabric = [](std::initializer_list<std::pair<const char*, int>> nodes) {
    std::string text = "{\"fabric_snapshot\": 1}\n";
    for (const auto& [name, guid] : nodes)
      text += std::string("{\"name\": \"") + name + "\", \"guid\": " + std::to_string(guid) +
              ", \"type\": \"ca\", \"num_ports\": 1}\n";
    return text;
  };
  // A device that was replaced by another one has its name, and two devices have one GUID.
  EXPECT_EQ(textOf(fabric({{"a", 1}, {"b", 2}}), fabric({{"a", 3}, {"b", 2}})),
            "Nodes added 1\n  0x0000000000000003 a\nNodes removed 1\n  0x0000000000000001 a\n");
  EXPECT_EQ(textOf(fabric({{"a", 1}, {"b", 1}}), fabric({{"b", 1}, {"c", 1}})),
            "Nodes renamed 1\n  0x0000000000000001 a -> c\n");
  EXPECT_EQ(textOf(fabric({{"a", 1}, {"b", 2}}), fabric({{"b", 1}, {"a", 2}})),
            "Nodes renamed 2\n  0x0000000000000002 b -> a\n  0x0000000000000001 a -> b\n");
}

}  // namespace
}  // namespace siminfo
