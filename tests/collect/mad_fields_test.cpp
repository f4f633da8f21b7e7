#include "siminfo/collect/mad_fields.h"

#include <gtest/gtest.h>

#include "siminfo/simulator/include/infiniband/drovik/bit_access.h"
#include "siminfo/simulator/record_layout.h"

namespace siminfo {
namespace {

/// Every bit of a number and no other is read where standard attributes have it on the wire.
template <class Record>
void expectOnTheWire() {
  for (const MadField& field : kMadFields<Record>) {
    const auto& numbers = recordLayout<Record>().numbers;
    const NumberLayout& number = *std::ranges::find(numbers, field.name, &NumberLayout::path);
    if (field.firstBit != 0) {
      EXPECT_EQ(field.firstBit, number.bit) << field.name;
    }
    if (field.id == IB_NO_FIELD) continue;
    Attribute ours{};
    Attribute theirs{};
    const std::uint64_t ones = ~std::uint64_t{0} >> (64 - number.bits);
    drovik::setBits(ours.data(), number.bit, number.bits, ones);
    mad_set_field(theirs.data(), 0, field.id, ~std::uint32_t{0});
    EXPECT_EQ(ours, theirs) << field.name;
    EXPECT_EQ(madField(ours, field.id), ones) << field.name;
  }
}

TEST(MadFields, AreReadWhereTheyTravel) {
  expectOnTheWire<SMP_NodeInfo>();
  expectOnTheWire<SMP_SwitchInfo>();
  expectOnTheWire<SMP_PortInfo>();
  expectOnTheWire<SMP_PortInfoExtended>();
}

}  // namespace
}  // namespace siminfo
