#include "siminfo/simulator/record_layout.h"

#include <algorithm>
#include <array>
#include <span>
#include <stdexcept>

#include "siminfo/core/records/records.h"

namespace siminfo {
namespace {

/// A field of a standard attribute on the wire. A field of several bytes is given as a whole.
struct WireField {
  std::string_view name;
  std::uint16_t bit;
  std::uint16_t bits;
};

constexpr std::array kNodeInfoWire{
    WireField{"BaseVersion", 0, 8}, WireField{"ClassVersion", 8, 8}, WireField{"PartitionCap", 224, 16},
    WireField{"DeviceID", 240, 16}, WireField{"revision", 256, 32},  WireField{"VendorID", 296, 24},
};
constexpr std::array kSwitchInfoWire{
    WireField{"LinearFDBCap", 0, 16},
    WireField{"RandomFDBCap", 16, 16},
    WireField{"MCastFDBCap", 32, 16},
    WireField{"OptimizedSLVLMapping", 94, 2},
    WireField{"LidsPerPort", 96, 16},
    WireField{"PartEnfCap", 112, 16},
    WireField{"InbEnfCap", 128, 1},
    WireField{"OutbEnfCap", 129, 1},
    WireField{"FilterRawInbCap", 130, 1},
    WireField{"FilterRawOutbCap", 131, 1},
    WireField{"ENP0", 132, 1},
};
// LinkSpeedExtSup2 is younger than the libraries this layout was compared with: it is kept in the attribute's
// reserved byte 56.
constexpr std::array kPortInfoWire{
    WireField{"CapMsk", 160, 32},         WireField{"CapMsk2", 480, 16},
    WireField{"LinkWidthSup", 240, 8},    WireField{"LinkSpeedExtSup2", 448, 8},
    WireField{"LinkSpeedExtSup", 500, 4}, WireField{"LinkSpeedSup", 256, 4},
    WireField{"MTUCap", 332, 4},
};
constexpr std::array kPortInfoExtendedWire{
    WireField{"CapMsk", 0, 32},
    WireField{"FECModeActive", 32, 16},
    WireField{"FDRFECModeSupported", 48, 16},
    WireField{"EDRFECModeSupported", 80, 16},
    WireField{"HDRFECModeSupported", 112, 16},
    WireField{"NDRFECModeSupported", 144, 16},
};
// No library at hand decodes this attribute, so nothing confirms these places. The last three are our own.
constexpr std::array kRouterInfoWire{
    WireField{"CapabilityMask", 0, 32},
    WireField{"NextHopTableCap", 32, 32},
    WireField{"AdjacentSiteLocalSubnetsTableCap", 96, 8},
    WireField{"ar_group_to_router_lid_table_cap", 128, 16},
    WireField{"cap_supported_subnets", 160, 8},
    WireField{"cap_router_lid", 176, 16},
};
constexpr std::array kClassPortInfoWire{
    WireField{"BaseVersion", 0, 8},     WireField{"ClassVersion", 8, 8},    WireField{"CapMsk", 16, 16},
    WireField{"CapMsk2", 32, 27},       WireField{"RespTimeValue", 59, 5},  WireField{"RedirectGID", 64, 128},
    WireField{"RedirectTC", 192, 8},    WireField{"RedirectSL", 200, 4},    WireField{"RedirectFL", 204, 20},
    WireField{"RedirectLID", 224, 16},  WireField{"RedirectPKey", 240, 16}, WireField{"RedirectQP", 264, 24},
    WireField{"RedirectQKey", 288, 32},
};

struct WireLayout {
  std::string_view record;
  std::size_t bytes;
  std::span<const WireField> fields;
};
constexpr std::array kStandard{
    WireLayout{kRecordName<SMP_NodeInfo>, 64, kNodeInfoWire},
    WireLayout{kRecordName<SMP_SwitchInfo>, 64, kSwitchInfoWire},
    WireLayout{kRecordName<SMP_PortInfo>, 64, kPortInfoWire},
    WireLayout{kRecordName<SMP_PortInfoExtended>, 64, kPortInfoExtendedWire},
    WireLayout{kRecordName<SMP_RouterInfo>, 64, kRouterInfoWire},
    WireLayout{kRecordName<IB_ClassPortInfo>, 72, kClassPortInfoWire},
};

/// How generated source names element `element` of the field.
std::string pathOf(const Field& field, std::size_t element) {
  std::string path(field.name);
  // The PSID is a record of its own, with the characters as its only member.
  if (field.form == FieldForm::kText) path.append(".").append(field.name);
  if (field.count > 1) path.append("[").append(std::to_string(element)).append("]");
  return path;
}

/// Every number of a record in the order of its table, one behind the other in whole bytes.
std::vector<NumberLayout> packInOrder(std::span<const Field> fields, std::size_t& bit) {
  std::vector<NumberLayout> numbers;
  const auto place = [&](NumberLayout number) {
    number.bit = bit;
    bit += (number.bits + 7) / 8 * 8;
    numbers.push_back(std::move(number));
  };
  for (const Field& field : fields) {
    for (std::size_t element = 0; element < field.count; ++element) {
      const std::string path = pathOf(field, element);
      if (field.form != FieldForm::kRecords) place({path, 0, field.bits, &field, element, nullptr});
      for (const Field& inner : field.members)
        place({path + "." + std::string(inner.name), 0, inner.bits, &field, element, &inner});
    }
  }
  return numbers;
}

/// Real attributes have bits that no field takes, and so have the simulator's own.
constexpr std::size_t kReservedBytes = 1;

RecordLayout ownLayout(std::string_view record, std::span<const Field> fields) {
  const std::string name(record);
  std::size_t bits = 0;
  std::vector<NumberLayout> numbers = packInOrder(fields, bits);
  return {name, name, name + "_image", false, bits / 8 + kReservedBytes, std::move(numbers), fields};
}

void lieOnTheWire(RecordLayout& layout, const WireLayout& wire) {
  layout.isStandard = true;
  layout.bytes = wire.bytes;
  for (NumberLayout& number : layout.numbers) {
    const auto found = std::ranges::find(wire.fields, number.field->name, &WireField::name);
    if (found == wire.fields.end())
      throw std::logic_error(layout.type + "." + number.path + ": has no place in the wire layout");
    number.bits = found->bits / number.field->count;
    number.bit = found->bit + number.element * number.bits;
  }
}

void addLayout(std::vector<RecordLayout>& layouts, std::string_view record, std::span<const Field> fields) {
  RecordLayout& layout = layouts.emplace_back(ownLayout(record, fields));
  const auto* wire = std::ranges::find(kStandard, record, &WireLayout::record);
  if (wire != kStandard.end()) lieOnTheWire(layout, *wire);
}

/// A record that consists of records and of nothing else is one answer of several blocks: simulators keep
/// each block as an attribute of its own.
void addLayouts(std::vector<RecordLayout>& layouts, std::string_view record, std::span<const Field> fields) {
  const auto isBlock = [](const Field& field) {
    return field.form == FieldForm::kRecords && field.count == 1;
  };
  if (!std::ranges::all_of(fields, isBlock)) return addLayout(layouts, record, fields);
  for (const Field& block : fields) addLayout(layouts, block.innerName, block.members);
}

std::vector<RecordLayout> makeLayouts() {
  std::vector<RecordLayout> layouts;
#define SIMINFO_LAYOUT(Record, getter) addLayouts(layouts, kRecordName<Record>, kFields<Record>);
  SIMINFO_NODE_RECORDS(SIMINFO_LAYOUT)
  SIMINFO_PORT_RECORDS(SIMINFO_LAYOUT)
#undef SIMINFO_LAYOUT
  // Neither is asked for by a node's or a port's number alone, so neither stands in those lists.
  addLayout(layouts, kRecordName<GeneralInfoCapabilityMask>, kFields<GeneralInfoCapabilityMask>);
  addLayout(layouts, kRecordName<ZYRReductionCounters>, kFields<ZYRReductionCounters>);
  // Simulators have names of their own for this record and its image.
  layouts.back().type = "ZYRReductCounters";
  layouts.back().image = "ib_zyr_reduction_counters_t";
  return layouts;
}

}  // namespace

const std::vector<RecordLayout>& recordLayouts() {
  static const std::vector<RecordLayout> kLayouts = makeLayouts();
  return kLayouts;
}

const RecordLayout& recordLayout(std::string_view functions) {
  const auto found = std::ranges::find(recordLayouts(), functions, &RecordLayout::functions);
  if (found == recordLayouts().end()) throw std::logic_error(std::string(functions) + ": has no layout");
  return *found;
}

}  // namespace siminfo
