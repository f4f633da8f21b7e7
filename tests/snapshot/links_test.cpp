#include "tests/snapshot/snapshot_text.h"
#include "tests/support.h"

namespace siminfo {
namespace {

/// A switch with these ports, each given by its members.
std::string node(const std::string& name, const std::vector<std::string>& ports, int numPorts = 4) {
  std::string text =
      R"({"name":")" + name + R"(","guid":1,"type":"switch","num_ports":)" + std::to_string(numPorts);
  for (const std::string& port : ports)
    text += (&port == &ports.front() ? R"(,"ports":[{)" : ",{") + port + "}";
  return text + (ports.empty() ? "}\n" : "]}\n");
}
std::string linked(int num, const std::string& toNode, int toPort) {
  return R"("num":)" + std::to_string(num) + R"(,"link":{"node":")" + toNode + R"(","port":)" +
         std::to_string(toPort) + "}";
}
TEST(Links, AgreeAtBothEnds) {
  struct Case {
    const char* name;
    std::string text;
    std::string message;  // behind the file's name; empty: it is taken
  };
  const std::vector<Case> cases = {
      {"both ends", node("a", {linked(1, "b", 2)}) + node("b", {linked(2, "a", 1)}), ""},
      {"the other end does not say", node("a", {linked(1, "b", 2)}) + node("b", {R"("num":2)"}), ""},
      {"the other port is not there", node("a", {linked(1, "b", 2)}) + node("b", {}), ""},
      {"leaves the recording", node("a", {linked(1, "elsewhere", 200)}), ""},
      {"two ports of one node", node("a", {linked(1, "a", 2), linked(2, "a", 1)}), ""},
      {"itself", node("a", {R"("num":3)", linked(1, "a", 1)}),
       "2: ports[1].link: leads back to the port itself"},
      {"lacks the port", node("a", {linked(1, "b", 3)}) + node("b", {}, 2),
       "2: ports[0].link: leads to port 3 of \"b\", which has ports 1 to 2"},
      {"two into one", node("a", {linked(1, "b", 2)}) + node("c", {linked(4, "b", 2)}) + node("b", {}),
       "3: ports[0].link: leads to port 2 of \"b\", where port 1 of \"a\" is already connected"},
      {"two into one elsewhere", node("a", {linked(1, "x", 2), linked(2, "x", 2)}),
       "2: ports[1].link: leads to port 2 of \"x\", where port 1 of \"a\" is already connected"},
      {"another port", node("a", {linked(1, "b", 2)}) + node("b", {linked(2, "a", 3)}),
       "2: ports[0].link: leads to port 2 of \"b\", which says that it is connected to port 3 of \"a\""},
      {"another node", node("a", {linked(1, "b", 2)}) + node("b", {linked(2, "x", 1)}),
       "2: ports[0].link: leads to port 2 of \"b\", which says that it is connected to port 1 of \"x\""},
      {"port 0", node("a", {linked(0, "b", 2)}),
       "2: ports[0].link: is a link of port 0, which cannot have one"},
      {"to port 0", node("a", {linked(1, "b", 0)}), "2: ports[0].link.port: is 0; expected 1 or more"},
      {"no port", node("a", {R"("num":1,"link":{"node":"b"})"}), "2: ports[0].link.port: is missing"},
      {"a wide LMC", node("a", {R"("num":1,"lmc":8)"}), "2: ports[0].lmc: 8 does not fit"},
  };
  for (const Case& each : cases) {
    const std::string found = refusal(kHeader + each.text);
    EXPECT_TRUE(found.starts_with(each.message.empty() ? "none" : "f:" + each.message))
        << each.name << ": " << found;
    if (each.message.empty()) {
      EXPECT_EQ(written(read(written(read(kHeader + each.text)))), written(read(kHeader + each.text, 2)));
    }
  }
}

TEST(Links, AreWrittenAsTheyWereRead) {
  const std::string text =
      R"({"fabric_snapshot":1,"source":"s","collected_at":"today","fabric":"lab","nodes":1})"
      "\n"
      R"({"name":"a","guid":"0x1","type":"switch","num_ports":4,"system_guid":"0x2","description":"a b","ports":[)"
      R"({"num":0,"state":"active","guid":"0x1","lid":3,"lmc":1},)"
      R"({"num":1,"state":"down","phys_state":2,"link":{"node":"b","port":7,"width":2,"speed":4,"speed_ext":8}}]})"
      "\n";
  EXPECT_EQ(written(read(text)), text);
  EXPECT_EQ(written(read(text, 2)), text);
}

/// Files may be joined: each header speaks of what follows it.
TEST(Header, PromisesItsNodes) {
  const auto header = [](int nodes) {
    return R"({"fabric_snapshot":1,"nodes":)" + std::to_string(nodes) + "}\n";
  };
  const std::string a = node("a", {});
  const std::string b = node("b", {});
  const std::string c = node("c", {});
  const std::vector<std::pair<std::string, std::string>> cases = {
      {header(2) + a + b, "none"},
      {header(0), "none"},
      {header(1) + a + "\n" + header(2) + b + c + kHeader + node("d", {}), "none"},
      {header(2) + a, "f:1: nodes: is 2, but the number of nodes that follow is 1"},
      {header(0) + a, "f:1: nodes: is 0, but the number of nodes that follow is 1"},
      {header(2) + a + header(1) + b, "f:1: nodes: is 2, but the number of nodes that follow is 1"},
      {header(1) + a + header(2) + b, "f:3: nodes: is 2, but the number of nodes that follow is 1"},
      {header(1) + a + "{\"fabric_snapshot\":2}", "f:3: fabric_snapshot: is format 2"},
  };
  for (const auto& [text, message] : cases) {
    for (const unsigned jobs : {1U, 2U}) EXPECT_TRUE(refusal(text, jobs).starts_with(message)) << text;
  }
}

}  // namespace
}  // namespace siminfo
