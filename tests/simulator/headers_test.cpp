#include "siminfo/simulator/headers.h"

#include <gtest/gtest.h>

namespace siminfo {
namespace {

/// What the simulator's headers declare in the global namespace no dump can be called.
TEST(SimulatorHeaders, KnowTheirOwnNames) {
  for (const char* name :
       {"drovik", "main", "phys_port_t", "std", "SW", "RTR", "AN", "HCA", "Unknown", "SMP_NodeInfo",
        "SMP_NodeInfo_image", "SMP_NodeInfo_unpack", "SMP_NodeInfo_pack", "SWInfo_Block_Element",
        "GeneralInfoCapabilityMask", "ZYRReductCounters", "ZYRReductionCounters_pack",
        "ib_zyr_reduction_counters_t", "ZYRPushReductionCounters_view_t"})
    EXPECT_TRUE(isSimulatorName(name)) << name;
  // The general information is stored as its blocks, and nothing is called as their record is.
  for (const char* name : {"Fab1", "VSGeneralInfo", "PLFT_Description_Mode", "sw", ""})
    EXPECT_FALSE(isSimulatorName(name)) << name;
}

}  // namespace
}  // namespace siminfo
