#include "siminfo/collect/attribute_layouts.h"

#include <gtest/gtest.h>

#include "siminfo/collect/collect_error.h"
#include "tests/support.h"

namespace siminfo {
namespace {

/// What is said to a file of these lines, without its name; empty when it is accepted.
std::string faultOf(const std::string& lines) {
  const ScratchDirectory folder;
  const std::string file = (folder.path() / "layouts").string();
  std::ofstream(file) << lines;
  try {
    readAttributeLayouts(file);
  } catch (const CollectError& error) {
    EXPECT_EQ(error.kind(), CollectError::kBadFile);
    return std::string(error.what()).substr(file.size());
  }
  return {};
}

TEST(AttributeLayouts, RefuseWhatIsWrongOrHalf) {
  const std::string routerInfo =
      "SMP_RouterInfo attribute 0x7abc\n"
      "SMP_RouterInfo.CapabilityMask bit 0\n"
      "SMP_RouterInfo.NextHopTableCap\tbit 480 # the last place of 32 bits\n"
      "SMP_RouterInfo.AdjacentSiteLocalSubnetsTableCap bit 64\n"
      "SMP_RouterInfo.ar_group_to_router_lid_table_cap bit 72\n"
      "SMP_RouterInfo.cap_supported_subnets bit 88\n";
  const std::string last = "SMP_RouterInfo.cap_router_lid bit 96\n";
  const std::string lastTwice = routerInfo + last + last;
  const std::string speed = "SMP_PortInfo.LinkSpeedExtSup2 bit ";
  EXPECT_EQ(faultOf(routerInfo + "\n# and\n" + last + speed + "504\n"), "");
  EXPECT_EQ(faultOf(speed + "0x10\n"), "");

  // Place, subject, and what would be right.
  struct Case {
    std::string lines;
    std::string place;
    std::string subject;
    std::string right;
  };
  for (const auto& [lines, place, subject, right] : {
           Case{routerInfo, ": ", "SMP_RouterInfo.cap_router_lid", " bit "},
           Case{last, ": ", "SMP_RouterInfo attribute NUMBER", ""},
           Case{lastTwice, ":8: ", "SMP_RouterInfo.cap_router_lid", "twice"},
           Case{routerInfo + routerInfo, ":7: ", "SMP_RouterInfo", "twice"},
           Case{"\n" + speed + "505\n", ":2: ", "\"505\"", "0 to 504"},
           Case{speed + "8 9\n", ":1: ", "\"8 9\"", "0 to 504"},
           Case{"SMP_RouterInfo attribute 0x10000\n", ":1: ", "\"0x10000\"", "1 to 65535"},
           Case{"SMP_RouterInfo attribute\n", ":1: ", "\"\"", "1 to 65535"},
           Case{"SMP_NodeInfo attribute 17\n", ":1: ", "SMP_RouterInfo attribute NUMBER",
                "RECORD.FIELD bit NUMBER"},
           Case{"SMP_PortInfo.CapMsk bit 0\n", ":1: ", "\"SMP_PortInfo.CapMsk\"",
                "SMP_PortInfo.LinkSpeedExtSup2"},
       }) {
    const std::string fault = faultOf(lines);
    EXPECT_TRUE(fault.starts_with(place)) << fault;
    EXPECT_NE(fault.find(subject), std::string::npos) << fault;
    EXPECT_NE(fault.find(right), std::string::npos) << fault;
  }
}

}  // namespace
}  // namespace siminfo
