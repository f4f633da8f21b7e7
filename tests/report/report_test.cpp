#include "siminfo/report/report.h"

#include <gtest/gtest.h>
#include <simdjson.h>

#include "siminfo/report/page.h"
#include "siminfo/report/switch_levels.h"
#include "tests/drawn_node.h"
#include "tests/snapshot/snapshot_text.h"

namespace siminfo {
namespace {

/// The document in a page.
simdjson::dom::element dataOf(simdjson::dom::parser& parser, const std::string& page) {
  const std::size_t start = page.find("id=\"data\">") + 10;
  return parser.parse(page.substr(start, page.find("</script>", start) - start));
}

/// A node of that name whose ports from 1 on have cables to port `far` of these nodes.
std::string node(const std::string& name, const std::string& type,
                 const std::vector<std::pair<std::string, int>>& cables, const std::string& more = "") {
  std::string text = "{\"name\": \"" + name + "\", \"guid\": 1, \"type\": \"" + type +
                     "\", \"num_ports\": 9" + more + ", \"ports\": [";
  for (std::size_t i = 0; i < cables.size(); ++i)
    text += (i > 0 ? ", " : "") + ("{\"num\": " + std::to_string(i + 1)) + ", \"link\": {\"node\": \"" +
            cables[i].first + "\", \"port\": " + std::to_string(cables[i].second) + "}}";
  return text + "]}\n";
}

std::map<std::string, int> levelsIn(const std::string& text) {
  const Snapshot snapshot = read(kHeader + text);
  const std::vector<int> levels = levelsOf(snapshot, Cables(snapshot));
  std::map<std::string, int> byName;
  for (const IBNode* each : everyNode(snapshot)) byName[each->name] = levels[each->recordIndex];
  return byName;
}

TEST(SwitchLevels, AreCountedFromTheNearestAdapter) {
  const std::string special = ", \"special_type\": 1";
  EXPECT_EQ(levelsIn(node("host", "ca", {{"leaf", 9}}) + node("idle", "ca", {}) +
                     node("leaf", "switch", {{"spine", 9}, {"far leaf", 8}, {"gone", 1}}) +
                     node("far leaf", "switch", {}) + node("spine", "switch", {{"core", 9}, {"helper", 1}}) +
                     node("helper", "ca", {}, special) + node("core", "switch", {}) +
                     node("apart", "switch", {{"other apart", 1}}) + node("other apart", "switch", {}) +
                     node("way out", "router", {{"core", 8}})),
            (std::map<std::string, int>{{"host", 0},
                                        {"leaf", 1},
                                        {"spine", 2},
                                        {"far leaf", 2},
                                        {"core", 3},
                                        {"helper", 3},
                                        {"way out", 4},
                                        {"idle", kNoLevel},
                                        {"apart", kNoLevel},
                                        {"other apart", kNoLevel}}));
  EXPECT_EQ(levelsIn(node("helper", "ca", {{"leaf", 1}}, special) + node("leaf", "switch", {})),
            (std::map<std::string, int>{{"helper", 0}, {"leaf", 1}}));
}

TEST(Report, BodiesThatDoNotFitAreLeftOutAndCounted) {
  Snapshot snapshot;
  for (unsigned i = 0; i < 40; ++i) {
    // Three nodes of the first model and two of the second.
    for (unsigned same = 0; same < (i < 2 ? 3 - i : 1); ++same)
      DrawnNode(snapshot.discovered, std::string(90, '<') + std::to_string(i) + "/" + std::to_string(same),
                7 + i);
  }
  const Inspection inspection = inspect(snapshot, everyNode(snapshot));
  const Report whole = makeReport(snapshot, inspection);
  EXPECT_EQ(whole.bodilessModels, 0U);
  const std::size_t bare = makeReport(snapshot, inspection, 0).page.size();
  ASSERT_LT(bare, whole.page.size());
  std::size_t before = inspection.set.models.size();
  for (std::size_t bytes = bare + 8000; bytes < whole.page.size(); bytes += 4000) {
    const Report report = makeReport(snapshot, inspection, bytes);
    EXPECT_LE(report.page.size(), bytes);
    EXPECT_LE(report.bodilessModels, before);
    EXPECT_GT(report.bodilessModels, 0U);
    before = report.bodilessModels;
    simdjson::dom::parser parser;
    std::size_t model = 0;
    for (const simdjson::dom::element bodies : dataOf(parser, report.page)["model_bodies"]) {
      const bool isRepeated = inspection.set.models[model++].nodes > 1;
      EXPECT_TRUE(!isRepeated || report.bodilessModels > 30 || bodies.get_array().size() > 0) << model;
    }
    EXPECT_EQ(model, inspection.set.models.size());
  }
  EXPECT_LT(before, inspection.set.models.size());
}

TEST(Report, JsonInAScriptElementIsTheSameJson) {
  const std::string texts = R"(["</script><!--<script>", "a\u2028", ")"
                            "\u2028\u2029 \u20ac"
                            R"("])";
  const std::string safe = jsonForScript(texts);
  for (const char* piece : {"<", "\u2028", "\u2029"}) EXPECT_EQ(safe.find(piece), std::string::npos);
  simdjson::dom::parser parser;
  simdjson::dom::parser other;
  EXPECT_EQ(simdjson::minify(parser.parse(texts)), simdjson::minify(other.parse(safe)));
}

}  // namespace
}  // namespace siminfo
