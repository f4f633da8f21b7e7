#pragma once

#include <array>
#include <string_view>

#include "siminfo/collect/smp.h"
#include "siminfo/core/records/records.h"
#include "siminfo/snapshot/attribute_layouts.h"

namespace siminfo {

inline std::uint32_t madField(const Attribute& bytes, MAD_FIELDS id) {
  return mad_get_field(const_cast<std::uint8_t*>(bytes.data()), 0, id);  // which only reads
}
inline std::uint64_t madField64(const Attribute& bytes, MAD_FIELDS id) {
  return mad_get_field64(const_cast<std::uint8_t*>(bytes.data()), 0, id);
}

/// Whether a NodeInfo attribute says of the port it was asked through that it is one of the node's.
inline bool isPlaced(const Attribute& nodeInfo) {
  return madField(nodeInfo, IB_NODE_LOCAL_PORT_F) <= madField(nodeInfo, IB_NODE_NPORTS_F);
}

/// How a field of a record is read from an attribute's bytes.
struct MadField {
  std::string_view name;
  MAD_FIELDS id;             ///< libibmad's decoder; IB_NO_FIELD: it has none
  std::size_t firstBit = 0;  ///< instead of a decoder that reads another place; 0: none

  /// The user alone may know the place.
  constexpr bool isUnknown() const { return id == IB_NO_FIELD && firstBit == 0; }
};

template <class Record>
inline constexpr std::array<MadField, 0> kMadFields{};

template <>
inline constexpr std::array kMadFields<SMP_NodeInfo>{
    MadField{"BaseVersion", IB_NODE_BASE_VERS_F},      MadField{"ClassVersion", IB_NODE_CLASS_VERS_F},
    MadField{"PartitionCap", IB_NODE_PARTITION_CAP_F}, MadField{"DeviceID", IB_NODE_DEVID_F},
    MadField{"revision", IB_NODE_REVISION_F},          MadField{"VendorID", IB_NODE_VENDORID_F},
};

template <>
inline constexpr std::array kMadFields<SMP_SwitchInfo>{
    MadField{"LinearFDBCap", IB_SW_LINEAR_FDB_CAP_F},
    MadField{"RandomFDBCap", IB_SW_RANDOM_FDB_CAP_F},
    MadField{"MCastFDBCap", IB_SW_MCAST_FDB_CAP_F},
    MadField{"OptimizedSLVLMapping", IB_SW_OPT_SLTOVL_MAPPING_F},
    MadField{"LidsPerPort", IB_SW_LIDS_PER_PORT_F},
    MadField{"PartEnfCap", IB_SW_PARTITION_ENFORCE_CAP_F},
    MadField{"InbEnfCap", IB_SW_PARTITION_ENF_INB_F},
    MadField{"OutbEnfCap", IB_SW_PARTITION_ENF_OUTB_F},
    MadField{"FilterRawInbCap", IB_SW_FILTER_RAW_INB_F},
    MadField{"FilterRawOutbCap", IB_SW_FILTER_RAW_OUTB_F},
    MadField{"ENP0", IB_SW_ENHANCED_PORT0_F},
};

template <>
inline constexpr std::array kMadFields<SMP_PortInfo>{
    MadField{"CapMsk", IB_PORT_CAPMASK_F},
    MadField{"CapMsk2", IB_PORT_CAPMASK2_F},
    MadField{"LinkWidthSup", IB_PORT_LINK_WIDTH_SUPPORTED_F},
    MadField{"LinkSpeedExtSup2", IB_NO_FIELD},
    MadField{"LinkSpeedExtSup", IB_PORT_LINK_SPEED_EXT_SUPPORTED_F},
    MadField{"LinkSpeedSup", IB_PORT_LINK_SPEED_SUPPORTED_F},
    MadField{"MTUCap", IB_PORT_MTU_CAP_F},
};

// The decoders of the last two take their halves of 32 bits for each other: that of HDRFECModeSupported reads
// what that of EDRFECModeEnabled reads, too.
template <>
inline constexpr std::array kMadFields<SMP_PortInfoExtended>{
    MadField{"CapMsk", IB_PORT_EXT_CAPMASK_F},
    MadField{"FECModeActive", IB_PORT_EXT_FEC_MODE_ACTIVE_F},
    MadField{"FDRFECModeSupported", IB_PORT_EXT_FDR_FEC_MODE_SUPPORTED_F},
    MadField{"EDRFECModeSupported", IB_PORT_EXT_EDR_FEC_MODE_SUPPORTED_F},
    MadField{"HDRFECModeSupported", IB_NO_FIELD, 112},
    MadField{"NDRFECModeSupported", IB_NO_FIELD, 144},
};

template <>
inline constexpr std::array kMadFields<SMP_RouterInfo>{
    MadField{"CapabilityMask", IB_NO_FIELD},
    MadField{"NextHopTableCap", IB_NO_FIELD},
    MadField{"AdjacentSiteLocalSubnetsTableCap", IB_NO_FIELD},
    MadField{"ar_group_to_router_lid_table_cap", IB_NO_FIELD},
    MadField{"cap_supported_subnets", IB_NO_FIELD},
    MadField{"cap_router_lid", IB_NO_FIELD},
};

/// Whether the record's table and its decoders name the same fields in the same order, and those have none
/// whose place the user may tell.
template <class Record>
consteval bool decodersCoverRecord() {
  if (kMadFields<Record>.size() != kFields<Record>.size()) return false;
  for (std::size_t i = 0; i < kFields<Record>.size(); ++i) {
    if (kMadFields<Record>[i].name != kFields<Record>[i].name) return false;
    if (kMadFields<Record>[i].isUnknown() != isUndecoded<Record>(kFields<Record>[i].name)) return false;
  }
  return true;
}

inline constexpr const Field& kLinkSpeedExtSup2 = kFields<SMP_PortInfo>[3];
static_assert(kLinkSpeedExtSup2.name == "LinkSpeedExtSup2");

// Bits of a port's capability masks, as the architecture numbers them.
inline constexpr std::uint32_t kHasCapabilityMask2 = 1U << 15U;  // of CapMsk
inline constexpr std::uint32_t kHasPortInfoExtended = 1U << 1U;  // of CapMsk2
inline constexpr std::uint32_t kLinkUp = 5;                      // of PortPhysicalState
inline constexpr std::uint32_t kHasExtendedSpeeds2 = 1U << 11U;  // of CapMsk2

/// CapMsk2 of a PortInfo attribute; 0 where CapMsk says that there is none.
inline std::uint32_t capabilityMask2(const Attribute& portInfo) {
  const bool isValid = (madField(portInfo, IB_PORT_CAPMASK_F) & kHasCapabilityMask2) != 0;
  return isValid ? madField(portInfo, IB_PORT_CAPMASK2_F) : 0;
}

}  // namespace siminfo
