// Which nodes are verified.

#include "siminfo/verify/selection.h"

#include "siminfo/snapshot/reader.h"
#include "tests/support.h"

namespace siminfo {
namespace {

/// A switch with ports 0 to 3, as a line of a snapshot.
std::string switchLine(int guid, int device, int downPort, int specialPort) {
  std::ostringstream line;
  line << R"({"name":"n)" << guid << R"(","guid":)" << guid
       << R"(,"type":"switch","num_ports":3,"records":{"SMP_NodeInfo":{"BaseVersion":1,"ClassVersion":1,)"
       << R"("PartitionCap":1,"DeviceID":)" << device << R"(,"revision":1,"VendorID":1}},"ports":[)";
  for (int num = 0; num < 4; ++num)
    line << (num > 0 ? "," : "") << R"({"num":)" << num << (num == downPort ? R"(,"state":"down")" : "")
         << (num == specialPort ? R"(,"kinds":["fnm"])" : "") << R"(,"records":{"SMP_PortInfo":{"CapMsk":)"
         << num
         << R"(,"CapMsk2":0,"LinkWidthSup":1,"LinkSpeedExtSup2":1,"LinkSpeedExtSup":1,"LinkSpeedSup":1,)"
         << R"("MTUCap":1}}})";
  line << "]}\n";
  return line.str();
}

TEST(Selection, TakesOneNodeOfEachShape) {
  const ScratchDirectory directory;
  const std::string file = (directory.path() / "fabric.jsonl").string();
  // The second node differs in values alone, the third in a port that shares another one's record anyway. The
  // last has another one's GUID, by which nodes are generated.
  std::ofstream(file) << "{\"fabric_snapshot\":1}\n"
                      << switchLine(1, 5, -1, 3) << switchLine(2, 6, -1, 3) << switchLine(3, 5, 2, 3)
                      << switchLine(4, 5, -1, 2)
                      << R"({"name":"o","guid":4,"type":"ca","num_ports":0,"in_sub_fabric":false})"
                      << R"({"name":"x","guid":1,"type":"switch","num_ports":3})"
                      << R"({"name":"y","guid":5,"type":"switch","num_ports":3})";
  const Snapshot snapshot = readSnapshotFile(file);
  const auto described = [](const std::vector<ExpectedNode>& nodes) {
    std::string text;
    for (const ExpectedNode& of : nodes)
      text += of.node->name + "/" + std::to_string(of.alike) + (of.isRequired ? " " : "? ");
    return text;
  };
  EXPECT_EQ(described(nodesToGenerate(snapshot, {{}, false})), "n1/3 n4/1 x/2 ");
  EXPECT_EQ(described(nodesToGenerate(snapshot, {{2, 5}, false})), "n2/1 y/1 ");
  EXPECT_EQ(described(nodesToGenerate(snapshot, {{1}, true})), "n1/1 x/1 ");
  EXPECT_EQ(described(nodesToGenerate(snapshot, {{1, 2, 3}, false})), "n1/3 x/1 ");
  EXPECT_EQ(described(nodesToGenerate(snapshot, {{9}, false})), "");
  EXPECT_EQ(described(nodesOfFile(snapshot, {{}, false})), "n1/1 n2/1? n3/1? n4/1 x/1 y/1? ");
  EXPECT_EQ(described(nodesOfFile(snapshot, {{}, true})), "n1/1 n2/1 n3/1 n4/1 x/1 y/1 ");
}

}  // namespace
}  // namespace siminfo
