// libibmad reads InfiniBand attributes by a layout of its own: what it finds in the reference simulator's
// images is what any other InfiniBand program would find.

#include <gtest/gtest.h>

#include "siminfo/collect/mad_fields.h"
#include "siminfo/simulator/include/infiniband/drovik/bit_access.h"
#include "siminfo/simulator/record_layout.h"

namespace siminfo {
namespace {

struct Decoded {
  std::string_view record;
  MadField number;
};

template <class Record>
void append(std::vector<Decoded>& all) {
  for (const MadField& field : kMadFields<Record>) {
    if (field.id != IB_NO_FIELD) all.push_back({kRecordName<Record>, field});
  }
}

/// What libibmad can read, by the collector's tables; and ClassPortInfo, which is not collected. Without
/// RedirectFL, whose decoder covers RedirectSL.
std::vector<Decoded> decodedNumbers() {
  std::vector<Decoded> all;
  append<SMP_NodeInfo>(all);
  append<SMP_SwitchInfo>(all);
  append<SMP_PortInfo>(all);
  append<SMP_PortInfoExtended>(all);
  for (const MadField& field : {
           MadField{"BaseVersion", IB_CPI_BASEVER_F},
           MadField{"ClassVersion", IB_CPI_CLASSVER_F},
           MadField{"CapMsk", IB_CPI_CAPMASK_F},
           MadField{"CapMsk2", IB_CPI_CAPMASK2_F},
           MadField{"RespTimeValue", IB_CPI_RESP_TIME_VALUE_F},
           MadField{"RedirectTC", IB_CPI_REDIRECT_TC_F},
           MadField{"RedirectSL", IB_CPI_REDIRECT_SL_F},
           MadField{"RedirectLID", IB_CPI_REDIRECT_LID_F},
           MadField{"RedirectPKey", IB_CPI_REDIRECT_PKEY_F},
           MadField{"RedirectQP", IB_CPI_REDIRECT_QP_F},
           MadField{"RedirectQKey", IB_CPI_REDIRECT_QKEY_F},
       })
    all.push_back({"IB_ClassPortInfo", field});
  return all;
}
const std::vector<Decoded> kDecoded = decodedNumbers();

const NumberLayout& numberOf(const Decoded& decoded) {
  const auto& numbers = recordLayout(decoded.record).numbers;
  return *std::ranges::find(numbers, decoded.number.name, &NumberLayout::path);
}

/// Every bit of the number, and no other.
TEST(Libibmad, HasTheSameLayoutOfStandardAttributes) {
  for (const Decoded& decoded : kDecoded) {
    const NumberLayout& number = numberOf(decoded);
    std::array<std::uint8_t, 128> ours{};
    std::array<std::uint8_t, 128> theirs{};
    const std::uint64_t ones = ~std::uint64_t{0} >> (64 - number.bits);
    drovik::setBits(ours.data(), number.bit, number.bits, ones);
    mad_set_field(theirs.data(), 0, decoded.number.id, ~std::uint32_t{0});
    EXPECT_EQ(ours, theirs) << decoded.record << "." << decoded.number.name;
    EXPECT_EQ(mad_get_field(ours.data(), 0, decoded.number.id), ones);
  }
  for (const MadField& field : kMadFields<SMP_PortInfoExtended>) {
    if (field.firstBit == 0) continue;
    EXPECT_EQ(numberOf({"SMP_PortInfoExtended", field}).bit, field.firstBit) << field.name;
  }
  std::array<std::uint8_t, 128> image{};
  std::array<std::uint8_t, 16> gid{};
  const auto& numbers = recordLayout("IB_ClassPortInfo").numbers;
  for (std::size_t i = 0; i < gid.size(); ++i) {
    const std::string path = "RedirectGID[" + std::to_string(i) + "]";
    const auto number = std::ranges::find(numbers, path, &NumberLayout::path);
    drovik::setBits(image.data(), number->bit, number->bits, 0xf0 + i);
  }
  mad_get_array(image.data(), 0, IB_CPI_REDIRECT_GID_F, gid.data());
  for (std::size_t i = 0; i < gid.size(); ++i) EXPECT_EQ(gid[i], 0xf0 + i);
}

}  // namespace
}  // namespace siminfo
