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
    EXPECT_EQ(error.kind(), CollectError::kBadInput);
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
  const std::string speed = "SMP_PortInfo.LinkSpeedExtSup2 bit ";
  EXPECT_EQ(faultOf(routerInfo + "\n# and\n" + last + speed + "504\n"), "");
  EXPECT_EQ(faultOf(speed + "0x10\n"), "");

  EXPECT_EQ(faultOf(routerInfo), ": there is no bit for SMP_RouterInfo.cap_router_lid");
  EXPECT_EQ(faultOf(last), ": there is no line \"SMP_RouterInfo attribute NUMBER\"");
  EXPECT_EQ(faultOf(routerInfo + last + last), ":8: SMP_RouterInfo.cap_router_lid is there twice");
  EXPECT_EQ(faultOf(routerInfo + routerInfo), ":7: the attribute of SMP_RouterInfo is there twice");
  EXPECT_EQ(faultOf("\n" + speed + "505\n"), ":2: \"505\": expected a number from 0 to 504");
  EXPECT_EQ(faultOf(speed + "8 9\n"), ":1: \"8 9\": expected a number from 0 to 504");
  EXPECT_EQ(faultOf("SMP_RouterInfo attribute 0x10000\n"),
            ":1: \"0x10000\": expected a number from 1 to 65535");
  EXPECT_EQ(faultOf("SMP_RouterInfo attribute\n"), ":1: \"\": expected a number from 1 to 65535");
  EXPECT_EQ(faultOf("SMP_NodeInfo attribute 17\n"),
            ":1: expected \"SMP_RouterInfo attribute NUMBER\" or \"RECORD.FIELD bit NUMBER\"");
  EXPECT_TRUE(
      faultOf("SMP_PortInfo.CapMsk bit 0\n")
          .starts_with(":1: no place can be given to \"SMP_PortInfo.CapMsk\"; these can have one: SMP_"));
}

}  // namespace
}  // namespace siminfo
