#include "siminfo/serve/served_file.h"

#include <gtest/gtest.h>

#include "tests/snapshot/snapshot_text.h"

namespace siminfo {
namespace {

TEST(ServedFile, ReplaysWhatTheReasonSays) {
  EXPECT_EQ(answerFor("status 0x001c"), "0x001c");
  EXPECT_EQ(answerFor("status 12"), "0x000c");
  EXPECT_EQ(answerFor("timed out"), "silent");
  EXPECT_EQ(answerFor("not asked: the device had stopped answering"), "silent");
  EXPECT_EQ(answerFor("not asked: the fabric had stopped answering"), "silent");
  for (const char* other : {"not asked: the port does not support it", "not asked: interrupted",
                            "status 0x0000", "status 0x8000", "status x", "it timed out once"})
    EXPECT_EQ(answerFor(other), "0x000c") << other;
}

/// The lines of the served file for a snapshot of these nodes, without the first and without model names.
std::string served(const std::string& nodes) {
  const Snapshot snapshot = read(R"({"fabric_snapshot":1})" + nodes);
  ModelSet set;
  set.models.push_back({.name = "M"});
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) set.nodes.push_back({node, 0});
  SectionStream text;
  printServedFile(text, snapshot, set, {});
  return std::string(text.text().substr(text.text().find('\n') + 1));
}

TEST(ServedFile, TellsWhatIsKnownAndMakesUpTheRest) {
  EXPECT_EQ(served(R"({"name":"a","guid":"0x10","type":"ca","num_ports":2,"description":"x\\u{ff}\\u{7}",
                       "absent":{"SMP_NodeInfo":"timed out"},
                       "ports":[{"num":1,"link":{"node":"b","port":1},"absent":{"SMP_PortInfo":"status 0x0014"}},
                                {"num":2,"link":{"node":"away","port":7,"width":2,"speed":4,"speed_ext":8}}]})"
                   R"({"name":"b","guid":"0x20","type":"switch","num_ports":1,"system_guid":"0x9",
                       "ports":[{"num":0,"guid":"0x21","lid":5,"lmc":1},{"num":1,"state":"down","phys_state":3}]})"),
            "node\t0x0000000000000010\tM\t1\t0x0000000000000010\tsilent\t0x000c\t0x000c\t78ff07\ta\n"
            "port\t1\t4\t5\t-\t0\t0\t-\t0x0014\t0x000c\n"
            "link\t1\t1\t0\t0\t0\n"
            "port\t2\t4\t5\t-\t0\t0\t-\t0x000c\t0x000c\n"
            "link\t-\t7\t2\t4\t8\n"
            "node\t0x0000000000000020\tM\t2\t0x0000000000000009\t0x000c\t0x000c\t0x000c\t62\tb\n"
            "port\t0\t4\t5\t0x0000000000000021\t5\t1\t-\t0x000c\t0x000c\n"
            "port\t1\t1\t3\t-\t0\t0\t-\t0x000c\t0x000c\n");
}

TEST(ServedFile, HasTheWidthsThatNoGeneratedFunctionRestores) {
  const std::string port =
      R"("ports":[{"num":1,"records":{"SMP_PortInfo":{"CapMsk":0,"CapMsk2":0,"LinkWidthSup":19,)"
      R"("LinkSpeedExtSup2":0,"LinkSpeedExtSup":0,"LinkSpeedSup":1,"MTUCap":4}}}]})";
  const std::string node = R"({"name":"a","guid":"0x10","type":"switch","num_ports":1,)";
  EXPECT_NE(served(node + R"("orbel_switch":true,)" + port).find("\t19\tanswers\t0x000c\n"),
            std::string::npos);
  EXPECT_NE(served(node + port).find("\t-\tanswers\t0x000c\n"), std::string::npos);
}

}  // namespace
}  // namespace siminfo
