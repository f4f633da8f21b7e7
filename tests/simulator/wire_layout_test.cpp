// Where the fields of attributes lie in the reference simulator's images. The table of standard attributes is
// the architecture's, byte by byte, and shares nothing with the simulator's own. What libibmad can decode is
// held against libibmad, in collect/mad_fields_test.cpp.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <stdexcept>

#include "siminfo/simulator/include/infiniband/drovik/bit_access.h"
#include "siminfo/simulator/record_layout.h"

namespace siminfo {
namespace {

struct Row {
  std::string_view record;
  std::string_view field;
  std::size_t byte;    // where the bytes of the mask begin
  std::size_t bytes;   // big-endian
  std::uint64_t mask;  // the field's bits in them
};

constexpr Row kRows[]{
    {"SMP_PortInfo", "LinkSpeedExtSup2", 56, 1, 0xff},  // this simulator's own choice

    {"SMP_PortInfoExtended", "HDRFECModeSupported", 14, 2, 0xffff},
    {"SMP_PortInfoExtended", "NDRFECModeSupported", 18, 2, 0xffff},

    {"SMP_RouterInfo", "CapabilityMask", 0, 4, 0xffffffff},  // all of it as this simulator has it
    {"SMP_RouterInfo", "NextHopTableCap", 4, 4, 0xffffffff},
    {"SMP_RouterInfo", "AdjacentSiteLocalSubnetsTableCap", 12, 1, 0xff},
    {"SMP_RouterInfo", "ar_group_to_router_lid_table_cap", 16, 2, 0xffff},
    {"SMP_RouterInfo", "cap_supported_subnets", 20, 1, 0xff},
    {"SMP_RouterInfo", "cap_router_lid", 22, 2, 0xffff},

    {"IB_ClassPortInfo", "BaseVersion", 0, 1, 0xff},
    {"IB_ClassPortInfo", "ClassVersion", 1, 1, 0xff},
    {"IB_ClassPortInfo", "CapMsk", 2, 2, 0xffff},
    {"IB_ClassPortInfo", "CapMsk2", 4, 4, 0xffffffe0},
    {"IB_ClassPortInfo", "RespTimeValue", 4, 4, 0x0000001f},
    {"IB_ClassPortInfo", "RedirectTC", 24, 4, 0xff000000},
    {"IB_ClassPortInfo", "RedirectSL", 24, 4, 0x00f00000},
    {"IB_ClassPortInfo", "RedirectFL", 24, 4, 0x000fffff},
    {"IB_ClassPortInfo", "RedirectLID", 28, 2, 0xffff},
    {"IB_ClassPortInfo", "RedirectPKey", 30, 2, 0xffff},
    {"IB_ClassPortInfo", "RedirectQP", 32, 4, 0x00ffffff},
    {"IB_ClassPortInfo", "RedirectQKey", 36, 4, 0xffffffff},
};

const NumberLayout& numberAt(std::string_view record, std::string_view path) {
  const auto& numbers = recordLayout(record).numbers;
  const auto found = std::ranges::find(numbers, path, &NumberLayout::path);
  if (found == numbers.end()) throw std::out_of_range(std::string(path) + ": is no number of the record");
  return *found;
}

TEST(WireLayout, PutsEveryFieldWhereTheArchitectureHasIt) {
  for (const Row& row : kRows) {
    const NumberLayout& number = numberAt(row.record, row.field);
    EXPECT_EQ(number.bit, 8 * (row.byte + row.bytes) - std::bit_width(row.mask)) << row.field;
    EXPECT_EQ(number.bits, std::popcount(row.mask)) << row.field;
  }
  for (std::size_t i = 0; i < 16; ++i) {
    const NumberLayout& byte = numberAt("IB_ClassPortInfo", "RedirectGID[" + std::to_string(i) + "]");
    EXPECT_EQ(byte.bit, 8 * (8 + i));
    EXPECT_EQ(byte.bits, 8U);
  }
}

TEST(WireLayout, IsThatOfTheStandardAttributesAlone) {
  const std::map<std::string, std::size_t> standard = {
      {"SMP_NodeInfo", 64},         {"SMP_SwitchInfo", 64}, {"SMP_PortInfo", 64},
      {"SMP_PortInfoExtended", 64}, {"SMP_RouterInfo", 64}, {"IB_ClassPortInfo", 72},
  };
  std::map<std::string, std::size_t> found;
  for (const RecordLayout& layout : recordLayouts()) {
    if (layout.isStandard) found[layout.functions] = layout.bytes;
  }
  EXPECT_EQ(found, standard);
}

TEST(WireLayout, IsBigEndianAndLeavesOtherBits) {
  using Image = std::array<u_int8_t, 9>;
  for (Image image : {Image{}, Image{0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}}) {
    const bool isSet = image[0] != 0;
    drovik::setBits(image.data(), 6, 12, 0xffa5c);
    EXPECT_EQ(
        (std::array{image[0], image[1], image[2]}),
        (isSet ? std::array<u_int8_t, 3>{0xfe, 0x97, 0x3f} : std::array<u_int8_t, 3>{0x02, 0x97, 0x00}));
    EXPECT_EQ(drovik::getBits(image.data(), 6, 12), 0xa5cU);
    drovik::setBits(image.data(), 8, 64, 0x8123456789abcdef);
    EXPECT_EQ(image, (Image{image[0], 0x81, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef}));
    EXPECT_EQ(drovik::getBits(image.data(), 8, 64), 0x8123456789abcdefU);
  }
}

/// The fields one behind the other in whole bytes, also those of inner records, and a byte that none takes.
TEST(OwnLayouts, LieInTheOrderOfTheirTables) {
  const auto isAt = [](std::string_view record, std::string_view path, std::size_t byte, std::size_t bytes) {
    const NumberLayout& number = numberAt(record, path);
    return number.bit == 8 * byte && number.bits == 8 * bytes;
  };
  EXPECT_TRUE(isAt("SMP_KrelExtPortInfo", "LinkSpeedSupported", 0, 1));
  EXPECT_TRUE(isAt("SMP_KrelExtPortInfo", "CapabilityMask", 1, 2));
  EXPECT_TRUE(isAt("SMP_KrelExtPortInfo", "FDR10FECModeSupported", 3, 2));
  EXPECT_TRUE(isAt("FWInfo_Block_Element", "PSID.PSID[15]", 22, 1));
  EXPECT_TRUE(isAt("FWInfo_Block_Element", "INI_File_Version", 23, 4));
  EXPECT_TRUE(isAt("ib_private_lft_info", "Description_Mode[0].LFTableSize", 4, 1));
  EXPECT_TRUE(isAt("ib_private_lft_info", "Description_Mode[3].NumOfLFTables", 11, 1));
  EXPECT_TRUE(isAt("CC_EnhancedCongestionInfo", "CC_Capability_Mask", 2, 8));
  EXPECT_EQ(recordLayout("CC_EnhancedCongestionInfo").bytes, 11U);
}

}  // namespace
}  // namespace siminfo
