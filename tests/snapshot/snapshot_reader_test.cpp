#include <gmock/gmock.h>

#include <iostream>
#include <regex>

#include "siminfo/snapshot/compression.h"
#include "tests/snapshot/snapshot_text.h"
#include "tests/support.h"

namespace siminfo {
namespace {

std::string node(const std::string& more, const std::string& name = "n") {
  return R"({"name": ")" + name + R"(", "guid": 1, "type": "switch", "num_ports": 4)" +
         (more.empty() ? "" : ", " + more) + "}\n";
}
std::string port(const std::string& more) {
  return node(R"("ports": [{"num": 1)" + (more.empty() ? "" : ", " + more) + "}]");
}
const std::string kRouterInfo =
    R"("CapabilityMask":1,"NextHopTableCap":2,"AdjacentSiteLocalSubnetsTableCap":3,)"
    R"("ar_group_to_router_lid_table_cap":4,"cap_supported_subnets":5,"cap_router_lid":6)";
std::string routerInfo(const std::string& fields) {
  return node(R"("records": {"SMP_RouterInfo": {)" + fields + "}}");
}

TEST(SnapshotReader, RefusesWithPlaceAndPath) {
  struct Case {
    std::string text;     // behind the header, unless it begins with '!'
    std::string message;  // its beginning, behind the file's name
  };
  const std::vector<Case> cases = {
      {"!", "1: is empty"},
      {"!\n\n{\"x\": 1}", "3: x: "},
      {"!{}", "1: fabric_snapshot: is missing"},
      {"!{\"fabric_snapshot\": 2}", "1: fabric_snapshot: is format 2"},
      {"!{\"fabric_snapshot\": 1, \"source\": \"a\\nb\"}",
       "1: source: contains the control character U+000a"},
      {"[]", "2: is not an object"},
      {"7", "2: is not an object"},
      {"{\"name\": \"a\",\n\n \"guid\": 1,, }", "4: malformed JSON"},
      {"{\"name\": \"a\"", "2: the document that begins here has no end"},
      {"{\"name\": \"a}\n{}\n", "2: the document that begins here has no end"},
      {node("") + "}", "3: is not an object"},
      {"{\"name\":\n\n \"\xff\"}", "4: is not UTF-8"},
      {node("", "a\\\" /*"), "2: name: contains /* after an odd number of quotation marks"},
      {"{\"name\": \"a\tb\"}", "2: malformed JSON: a control character"},
      {"{\"name\": \"\\q\"}", "2: name: malformed JSON"},
      {node("\"x\": 1"), "2: x: is unknown; expected one of name, guid,"},
      {routerInfo("\"cap_ruter_lid\": 1"),
       "2: records.SMP_RouterInfo.cap_ruter_lid: is unknown; expected one of CapabilityMask, "
       "NextHopTableCap, "
       "AdjacentSiteLocalSubnetsTableCap, ar_group_to_router_lid_table_cap, cap_supported_subnets, "
       "cap_router_lid; did you mean cap_router_lid?"},
      {node("\"\\u001b[2J\": 1"), "2: [\"\\u{001b}[2J\"]: "},
      {node("\"name\": \"b\""), "2: name: is given twice"},
      {node("\"n\\u0061me\": \"b\""), "2: name: is given twice"},
      {R"({"guid": 1, "type": 2, "num_ports": 0})", "2: name: is missing"},
      {R"({"name": "a", "type": 2, "num_ports": 0})", "2: guid: is missing"},
      {R"({"name": "a", "guid": 1, "num_ports": 0})", "2: type: is missing"},
      {R"({"name": "a", "guid": 1, "type": 2})", "2: num_ports: is missing"},
      {node("", "same") + "\n" + node("", "same"), "4: name: is also the name of the node on line 2"},
      {node("", ""), "2: name: is empty"},
      {node("", "a\\u2028b"), "2: name: contains the line separator U+2028"},
      {node(R"("alternative_name": "a??/")"), "2: alternative_name: "},
      {node(R"("in_sub_fabric": 1)"), "2: in_sub_fabric: is a number"},
      {node(R"("capabilities": {"smp": [1, 2, 3]})"), "2: capabilities.smp: has 3 words"},
      {node(R"("capabilities": {"smp": [1, 2, 3, 4, 5]})"), "2: capabilities.smp[4]: "},
      {node(R"("capabilities": {"smp": [0,0,0,0], "smp_error": 1})"), "2: capabilities.smp_error: "},
      {node(R"("capabilities": {"gmp_error": 0})"), "2: capabilities.gmp_error: is 0"},
      {node(R"("records": {"SMP_PortInfo": {}})"), "2: records.SMP_PortInfo: is unknown; "},
      {node(R"("records": [])"), "2: records: is an array"},
      {routerInfo(""), "2: records.SMP_RouterInfo.CapabilityMask: is missing"},
      {routerInfo(kRouterInfo + R"(,"cap": 1)"), "2: records.SMP_RouterInfo.cap: is unknown"},
      {routerInfo(kRouterInfo + R"(,"cap_router_lid": 1)"), "2: records.SMP_RouterInfo.cap_router_lid: "},
      {routerInfo(R"("CapabilityMask": 1e3)"), "2: records.SMP_RouterInfo.CapabilityMask: 1e3 does not fit"},
      {R"({"name": "a", "guid": 1, "type": "swich", "num_ports": 0})",
       "2: type: \"swich\" does not fit; expected \"ca\", \"switch\", \"router\", or an integer from 0 to "
       "255"},
      {R"({"name": "a", "guid": 1, "type": 2, "num_ports": 255})", "2: num_ports: 255 does not fit"},
      {R"({"name": "a", "guid": 1, "type": "ca", "num_ports": 1, "ports": [{"num": 0}]})",
       "2: ports[0].num: is 0"},
      {node("\"ports\": [{}]"), "2: ports[0].num: is missing"},
      {node("\"ports\": [{\"num\": 1},\n{\"num\": 5},\n{\"num\": 2}]"), "3: ports[1].num: 5 is above"},
      {node(R"("ports": [{"num": 2}, {"num": 2}])"), "2: ports[1].num: 2 "},
      {port(R"("kinds": ["fnm", "x"])"), "2: ports[0].kinds[1]: "},
      {port(R"("records": {"ZYRReductionCounters": {"8": {}}})"),
       "2: ports[0].records.ZYRReductionCounters.8: "},
      {port(R"("records": {"ZYRReductionConfigureMLIDMonitors": [256]})"),
       "2: ports[0].records.ZYRReductionConfigureMLIDMonitors[0]: 256"},
      {port(
           R"("records": {"ZYRReductionPortInfo": {"capability_mask": 1}}, "absent": {"ZYRReductionPortInfo": "x"})"),
       "2: ports[0].absent.ZYRReductionPortInfo: "},
      {port(R"("absent": {"ZYRReductionConfigureMLIDMonitors": "x"}, )"
            R"("records": {"ZYRReductionConfigureMLIDMonitors": []})"),
       "2: ports[0].absent.ZYRReductionConfigureMLIDMonitors: "},
      {node(
           R"("absent": {"SMP_ExtendedSwitchInfo": "x"}, "records": {"SMP_ExtendedSwitchInfo": {"turbo_path_cap": 1}})"),
       "2: absent.SMP_ExtendedSwitchInfo: "},
      {node(R"("absent": {"SMP_PortInfo": "x"})"), "2: absent.SMP_PortInfo: is unknown"},
  };
  for (const Case& each : cases) {
    const bool isWhole = each.text.starts_with('!');
    const std::string found = refusal(isWhole ? each.text.substr(1) : kHeader + each.text);
    EXPECT_TRUE(found.starts_with("f:" + each.message)) << found << "\n" << each.text;
  }
}

/// What is read of a node's integer when that text stands in its place; nothing when it is refused.
std::optional<std::int64_t> integerAt(const std::string& place, const std::string& value) {
  const auto member = [&](const std::string& key) {
    return "\"" + key + "\": " + (key == place ? value : "1");
  };
  const std::string text = R"({"name": "n", "num_ports": 1, )" + member("guid") + ", " + member("type") +
                           ", " + member("special_type") + R"(, "capabilities": {)" + member("smp_error") +
                           R"(}, "ports": [{"num": 1, )" + member("state") + "}]}";
  try {
    const Snapshot snapshot = read(kHeader + text);
    const IBNode& node = *snapshot.discovered.fabric.nodeByName.at("n");
    if (place == "guid") return static_cast<std::int64_t>(node.guid);
    if (place == "type") return node.type;
    if (place == "special_type") return node.specialNodeType;
    if (place == "state") return node.ports[1]->portState;
    return snapshot.discovered.capabilities.find(node.recordIndex, false)->error;
  } catch (const SnapshotError&) {
    return std::nullopt;
  }
}

TEST(SnapshotReader, TakesIntegersByOneRuleInEveryPlace) {
  for (const char* place : {"guid", "type", "special_type", "smp_error", "state"}) {
    for (const char* value : {"2", R"("2")", R"("0x2")"}) EXPECT_EQ(integerAt(place, value), 2) << place;
    for (const char* value :
         {"2.0", "true", R"("2.0")", R"("x2")", R"("--2")", R"("- 2")", R"("-")", R"("0x-2")"})
      EXPECT_EQ(integerAt(place, value), std::nullopt) << place << ": " << value;
  }
  struct Case {
    std::string place;
    std::optional<std::int64_t> number;  // nothing when they are refused
    std::vector<std::string> values;
  };
  const std::vector<Case> cases = {
      {"guid", 0x2900000000041, {R"("0002900000000041")"}},
      {"guid", 0x29000000041, {R"("0x00029000000041")"}},
      {"guid", 0x2c90000000abc, {R"("0002C90000000aBc")"}},
      {"guid", 290000000004, {R"("000290000000004")"}},
      {"guid", 29000000000041, {R"("00029000000000041")"}},
      {"guid", 1002900000000041, {"1002900000000041"}},
      {"guid", {}, {R"("000290000000004g")", R"("-000000000000002")", "-2"}},
      {"special_type", 10, {R"("0000000000000010")"}},
      {"special_type", -2, {"-2", R"("-2")"}},
      {"special_type", -16, {R"("-0x10")"}},
      {"special_type", -2147483648, {"-2147483648", R"("-2147483648")"}},
      {"special_type", 2147483647, {"2147483647"}},
      {"special_type", {}, {"-2147483649", R"("-2147483649")", "2147483648", R"("0xffffffff")"}},
      {"smp_error", -3, {R"("-3")"}},
      {"state", -7, {R"("-7")"}},
      {"state", 3, {R"("armed")"}},
      {"state", {}, {R"("up")"}},
      {"type", 3, {R"("router")"}},
      {"type", 255, {R"("255")"}},
      {"type", {}, {R"("256")", "-2", R"("-2")", R"("Router")"}},
  };
  for (const auto& [place, number, values] : cases) {
    for (const std::string& value : values)
      EXPECT_EQ(integerAt(place, value), number) << place << ": " << value;
  }
}

/// The small example fabric as it is written, with that text for the first value of the key.
std::string exampleWith(const std::string& key, const std::string& value) {
  static const std::string lines =
      written(readSnapshotFile(SIMINFO_SOURCE_DIR "/examples/small_fabric.json"));
  const std::regex member("\"" + key + R"(":("[^"]*"|\[[^\]]*\]))");
  return std::regex_replace(lines, member, "\"" + key + "\":" + value,
                            std::regex_constants::format_first_only);
}

TEST(SnapshotReader, TakesBytesAsTextDigitsOrNumbers) {
  struct Case {
    std::string key;
    std::vector<std::string> alike;  // the first of them as it is written
    std::vector<std::string> refused;
  };
  const std::string mode = R"({"LFTableSize":1,"NumOfLFTables":2})";
  const std::string three = "[" + mode + "," + mode + "," + mode;
  const std::vector<Case> cases = {
      {"PSID",
       {R"("MTa")", R"("M\u0054a")", R"([77,84,"0x61"])"},
       {R"("12345678901234567")", "[1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17]", "[256]", "7"}},
      {"PSID", {"[77,255,1,0,0,0,0,0,0,0,0,0,0,0,0,0]", R"([77, 255, "0x1"])"}, {}},
      {"RedirectGID",
       {R"("fe8000000000000000000000000000ab")", R"("fe8000000000000000000000000000Ab")",
        "[254,128,0,0,0,0,0,0,0,0,0,0,0,0,0,171]"},
       {R"("fe80")", R"("ge800000000000000000000000000000")", "[1,2]"}},
      {"Description_Mode", {three + "," + mode + "]"}, {three + "]", three + "," + mode + "," + mode + "]"}},
  };
  for (const auto& [key, alike, refused] : cases) {
    for (const std::string& value : alike)
      EXPECT_TRUE(written(read(exampleWith(key, value))) == exampleWith(key, alike.front())) << key << value;
    for (const std::string& value : refused)
      EXPECT_THROW(read(exampleWith(key, value)), SnapshotError) << key << value;
  }
}

TEST(SnapshotReader, TakesKeysInAnyOrderAndNumbersInAnySpelling) {
  const std::string odd = kHeader + R"(
    {"records": {"SMP_RouterInfo": {"cap_router_lid":"0xFFFF","CapabilityMask":"4294967295","cap_supported_subnets":5,
       "ar_group_to_router_lid_table_cap":4,"NextHop\u0054ableCap":"0x2","AdjacentSiteLocalSubnetsTableCap":"\u0033"}},
     "ports": [{"state": -7, "num": 2, "kinds": ["fnm1", "special"]}, {"num": 1}], "absent": {"SMP_NodeInfo": "timed out"},
     "num_ports": 2, "type": 77, "guid": "0xffffffffffffffff", "special_type": -1, "orbel_switch": true,
     "capabilities": {"gmp_error": -3}, "name": "rtr \u00e9", "in_sub_fabric": false} )" +
                          R"({"name":"b","guid":2,"type":"ca","num_ports":0})";
  const std::string usual =
      "{\"fabric_snapshot\":1,\"nodes\":2}\n"
      R"({"name":"b","guid":"0x2","type":"ca","num_ports":0})"
      "\n"
      R"({"name":"rtr é","guid":"0xffffffffffffffff","type":77,"num_ports":2,"in_sub_fabric":false,"special_type":-1,)"
      R"("orbel_switch":true,"capabilities":{"gmp_error":-3},"records":{"SMP_RouterInfo":{"CapabilityMask":4294967295,)"
      R"("NextHopTableCap":2,"AdjacentSiteLocalSubnetsTableCap":3,"ar_group_to_router_lid_table_cap":4,)"
      R"("cap_supported_subnets":5,"cap_router_lid":65535}},"absent":{"SMP_NodeInfo":"timed out"},)"
      R"("ports":[{"num":1,"state":"active"},{"num":2,"state":-7,"kinds":["special","fnm1"]}]})"
      "\n";
  const Snapshot snapshot = read(odd);
  EXPECT_EQ(written(snapshot), usual);
  const IBNode& node = *snapshot.discovered.fabric.nodeByName.at("rtr é");
  EXPECT_EQ(node.ports[0], nullptr);
  EXPECT_TRUE(node.ports[2]->isFNM1Port() && node.ports[2]->isSpecialPort() && !node.ports[2]->isFNMPort());
}

TEST(SnapshotReader, ReadsTheSameHoweverTheTextIsLaidOutAndCut) {
  const std::string example = readFile(SIMINFO_SOURCE_DIR "/examples/small_fabric.json");
  const std::string lines = written(read(example));
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 7);
  const std::size_t second = lines.find('\n') + 1;
  const std::size_t third = lines.find('\n', second) + 1;
  const std::string otherOrder =
      lines.substr(0, second) + lines.substr(third) + lines.substr(second, third - second);
  const std::regex lineEnd("\n");
  for (const std::string& text :
       {example, lines, std::regex_replace(lines, lineEnd, " "), std::regex_replace(lines, lineEnd, "\r\n"),
        otherOrder, otherOrder.substr(0, otherOrder.size() - 1)}) {
    EXPECT_TRUE(written(read(text)) == lines) << text.substr(0, 1000);
    for (const std::size_t piece : {1U, 2U, 7U, 1000U, 4097U})
      EXPECT_TRUE(written(readSnapshot(pieces(text, piece), "f")) == lines) << piece;
  }
}

/// As a file of that name holds the text.
std::string compressed(const std::string& text, const std::string& fileName) {
  std::ostringstream out;
  *compressorFor(fileName, out) << text;
  return out.str();
}

TEST(SnapshotReader, ReadsWhatIsCompressed) {
  std::string text = kHeader;
  for (int i = 0; i < 3000; ++i)
    text += node(R"("alternative_name": ")" + std::string(static_cast<std::size_t>(i % 500), 'x') + "\"",
                 "n" + std::to_string(i * 7919 % 3000 + 1000));
  const std::string plain = written(read(text));
  EXPECT_EQ(compressorFor("fabric.jsonl", std::cout), nullptr);
  const std::size_t half = text.find('\n', text.size() / 2) + 1;
  for (const char* name : {"f.jsonl.gz", "f.jsonl.zst"}) {
    const std::string whole = compressed(text, name);
    EXPECT_LT(whole.size(), text.size() / 4);
    for (const std::string& bytes :
         {whole, compressed(text.substr(0, half), name) + compressed(text.substr(half), name)})
      for (const std::size_t piece : {1U, 7U, 4097U, ~0U})
        EXPECT_TRUE(written(readSnapshot(pieces(bytes, piece), "f", 2)) == plain) << name << " " << piece;
    EXPECT_TRUE(written(read(compressed("\xef\xbb\xbf" + text, name))) == plain);
    std::string damaged = whole;
    damaged[damaged.size() / 2] ^= 1;
    EXPECT_NE(refusal(damaged), "none");
    for (const std::string& bytes : {whole.substr(0, whole.size() - 1), whole + "x", whole.substr(0, 9)})
      EXPECT_THAT(refusal(bytes), testing::HasSubstr("data is damaged or cut off"));
  }
}

TEST(SnapshotReader, SaysWhatElseAFileIs) {
  const std::string mark = "\xef\xbb\xbf";
  EXPECT_EQ(refusal(mark + kHeader), "none");
  EXPECT_EQ(refusal(mark), "f:1: is empty; expected a header as the first document");
  for (const auto& [text, words] : std::initializer_list<std::pair<std::string, const char*>>{
           {std::string("\xff\xfe{\0", 4), "f: is UTF-16; expected UTF-8"},
           {std::string("\0{\0\"", 4), "f: is UTF-16; expected UTF-8"},
           {"\n[" + kHeader + "]", "f:2: is a JSON array; expected documents one after the other"},
           {"#include <map>\n", "f:1: is not a fabric snapshot: it begins with \"#include <map>\""},
           {compressed("PK\3\4", "a.gz"), "f:1: is not a fabric snapshot: it begins with \"PK"}})
    EXPECT_THAT(refusal(text), testing::HasSubstr(words));
}

TEST(SnapshotReader, GoesOnBeyondItsWindow) {
  // Documents of all sizes around the window, so that it ends at many places of a document.
  std::string text = kHeader;
  std::string pretty = kHeader;
  for (int i = 0; i < 900; ++i) {
    const std::string alternative(static_cast<std::size_t>(i * 37 % 4000), 'x');
    const std::string more = R"("alternative_name": ")" + alternative + "\"";
    text += node(more, "n" + std::to_string(1000 + i));
    pretty += node("\n" + more, "n" + std::to_string(1000 + i));
  }
  ASSERT_GT(text.size(), std::size_t{3} << 19U);
  const Snapshot snapshot = read(text);
  EXPECT_EQ(snapshot.discovered.fabric.nodeByName.size(), 900U);
  EXPECT_EQ(written(read(pretty)), written(snapshot));
  std::ranges::replace(text, '\n', ' ');
  EXPECT_EQ(written(read(text)), written(snapshot));
  EXPECT_EQ(written(read(text, 3)), written(snapshot));
  EXPECT_THROW(read(text.substr(0, text.size() - 3)), SnapshotError);
}

TEST(SnapshotReader, FindsTheSameOnAnyNumberOfThreads) {
  std::vector<std::string> documents(3000);
  for (int i = 0; i < 3000; ++i)
    documents[static_cast<std::size_t>(i)] =
        node(R"("alternative_name": ")" + std::string(static_cast<std::size_t>(i % 700), 'y') + "\"",
             "n" + std::to_string(i));
  const auto outcome = [&](unsigned jobs) {
    std::string text = kHeader;
    for (const std::string& document : documents) text += document;
    const std::string refused = refusal(text, jobs);
    return refused == "none" ? written(read(text, jobs)) : refused;
  };
  EXPECT_EQ(outcome(1), outcome(4));
  // Documents that are no lines, two of them on one, a blank line, and then each kind of fault behind them.
  documents[1500] = "{\"name\":\n\"pretty\", \"guid\": 1,\n\"type\": 1, \"num_ports\": 0}\n";
  documents[1600].back() = ' ';
  documents[1700] += "\n \n";
  EXPECT_EQ(outcome(1), outcome(4));
  documents[2900] = node("", "n7");
  EXPECT_EQ(outcome(4),
            "f:2905: name: is also the name of the node on line 9; expected a name that no other node has");
  EXPECT_EQ(outcome(1), outcome(4));
  documents[2000] = "{\"name\": 7}\n";
  EXPECT_TRUE(outcome(4).starts_with("f:2005: name: is a number")) << outcome(4);
  documents[100] = "{\"name\": \"cut\"\n";
  EXPECT_TRUE(outcome(4).starts_with("f:102: the document that begins here has no end")) << outcome(4);
}

/// What is offered to a parser again and again makes the time the square of a line's length.
TEST(DocumentStream, OffersTheRestOfALineOnce) {
  std::string text;
  for (int i = 0; i < 2000; ++i) text += R"({"a": "b}", "c": [1, {"\"": 2}]} )";
  DocumentStream documents(pieces(text, 4096));
  std::size_t count = 0;
  std::size_t offered = 0;
  for (; documents.next(); ++count) {
    offered += documents.text().size();
    if (documents.widen()) offered += documents.text().size();
  }
  EXPECT_EQ(count, 2000U);
  EXPECT_LT(offered, 3 * text.size());
}

TEST(SnapshotReader, BoundsTheMemoryOfOneDocument) {
  const std::string filling(DocumentStream::kLongestDocument, ' ');
  for (const std::string& text : {"{" + filling, node("") + node(filling + R"("in_sub_fabric": true)", "m")})
    EXPECT_NE(refusal(kHeader + text).find("larger than 64 MiB"), std::string::npos);
}

}  // namespace
}  // namespace siminfo
