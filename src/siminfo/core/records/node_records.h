#pragma once

#include <array>
#include <cstdint>

#include "siminfo/core/records/field.h"

namespace siminfo {

/// NodeInfo of the InfiniBand architecture. Type, port count and GUIDs are the node's own and not held here.
struct SMP_NodeInfo {
  std::uint8_t BaseVersion;    ///< of the management datagrams that the node takes
  std::uint8_t ClassVersion;   ///< of subnet management
  std::uint16_t PartitionCap;  ///< entries of a port's partition-key table; of a switch, of port 0's
  std::uint16_t DeviceID;      ///< the vendor's number for the kind of device
  std::uint32_t revision;      ///< of the device, as the vendor counts
  std::uint32_t VendorID;      ///< the vendor's IEEE number, 24 bits on the wire
  bool operator==(const SMP_NodeInfo&) const = default;
};
SIMINFO_RECORD(SMP_NodeInfo){
    SIMINFO_FIELD(SMP_NodeInfo, BaseVersion, 8),   SIMINFO_FIELD(SMP_NodeInfo, ClassVersion, 8),
    SIMINFO_FIELD(SMP_NodeInfo, PartitionCap, 16), SIMINFO_FIELD(SMP_NodeInfo, DeviceID, 16),
    SIMINFO_FIELD(SMP_NodeInfo, revision, 32),     SIMINFO_FIELD(SMP_NodeInfo, VendorID, 32),
};
static_assert(tableCoversRecord<SMP_NodeInfo>());

/// SwitchInfo of the InfiniBand architecture: what the switch can do, without what a subnet manager sets.
struct SMP_SwitchInfo {
  std::uint16_t LinearFDBCap;         ///< entries of the linear forwarding table
  std::uint16_t RandomFDBCap;         ///< entries of the random forwarding table
  std::uint16_t MCastFDBCap;          ///< entries of the multicast forwarding table
  std::uint8_t OptimizedSLVLMapping;  ///< whether SL-to-VL tables of many ports can be set at once; 2 bits
  std::uint16_t LidsPerPort;          ///< LIDs that a port can have in the random forwarding table
  std::uint16_t PartEnfCap;           ///< entries of a port's partition table; 0: partitions are not enforced
  std::uint8_t InbEnfCap;             ///< flag: can enforce partitions on packets that come in
  std::uint8_t OutbEnfCap;            ///< flag: the same on packets that go out
  std::uint8_t FilterRawInbCap;       ///< flag: can drop raw packets that come in
  std::uint8_t FilterRawOutbCap;      ///< flag: the same for raw packets that go out
  std::uint8_t ENP0;                  ///< flag: port 0 is an enhanced one, an end port like an adapter's
  bool operator==(const SMP_SwitchInfo&) const = default;
};
SIMINFO_RECORD(SMP_SwitchInfo){
    SIMINFO_FIELD(SMP_SwitchInfo, LinearFDBCap, 16),
    SIMINFO_FIELD(SMP_SwitchInfo, RandomFDBCap, 16),
    SIMINFO_FIELD(SMP_SwitchInfo, MCastFDBCap, 16),
    SIMINFO_FIELD(SMP_SwitchInfo, OptimizedSLVLMapping, 8),
    SIMINFO_FIELD(SMP_SwitchInfo, LidsPerPort, 16),
    SIMINFO_FIELD(SMP_SwitchInfo, PartEnfCap, 16),
    SIMINFO_FIELD(SMP_SwitchInfo, InbEnfCap, 8),
    SIMINFO_FIELD(SMP_SwitchInfo, OutbEnfCap, 8),
    SIMINFO_FIELD(SMP_SwitchInfo, FilterRawInbCap, 8),
    SIMINFO_FIELD(SMP_SwitchInfo, FilterRawOutbCap, 8),
    SIMINFO_FIELD(SMP_SwitchInfo, ENP0, 8),
};
static_assert(tableCoversRecord<SMP_SwitchInfo>());

/// Vendor-specific extended switch information: one capability, of which nothing but the name is known here.
struct SMP_ExtendedSwitchInfo {
  std::uint8_t turbo_path_cap;
  bool operator==(const SMP_ExtendedSwitchInfo&) const = default;
};
SIMINFO_RECORD(SMP_ExtendedSwitchInfo){
    SIMINFO_FIELD(SMP_ExtendedSwitchInfo, turbo_path_cap, 8),
};
static_assert(tableCoversRecord<SMP_ExtendedSwitchInfo>());

/// Vendor-specific extended node information, which nodes with SMP capability 13 have. Counts, flags and
/// codes by the vendor's own names; they are passed on as the device answered them.
struct ib_extended_node_info {
  std::uint8_t sl2vl_cap;
  std::uint8_t node_type_extended;
  std::uint8_t num_pcie;
  std::uint8_t num_oob;
  std::uint8_t AnycastLidCap;
  std::uint8_t asic_max_planes;
  std::uint8_t link_auto_retrain_en;
  std::uint8_t multiplane_asymmetry_en;
  bool operator==(const ib_extended_node_info&) const = default;
};
SIMINFO_RECORD(ib_extended_node_info){
    SIMINFO_FIELD(ib_extended_node_info, sl2vl_cap, 8),
    SIMINFO_FIELD(ib_extended_node_info, node_type_extended, 8),
    SIMINFO_FIELD(ib_extended_node_info, num_pcie, 8),
    SIMINFO_FIELD(ib_extended_node_info, num_oob, 8),
    SIMINFO_FIELD(ib_extended_node_info, AnycastLidCap, 8),
    SIMINFO_FIELD(ib_extended_node_info, asic_max_planes, 8),
    SIMINFO_FIELD(ib_extended_node_info, link_auto_retrain_en, 8),
    SIMINFO_FIELD(ib_extended_node_info, multiplane_asymmetry_en, 8),
};
static_assert(tableCoversRecord<ib_extended_node_info>());

/// Software block of the vendor-specific general information: a version.
struct SWInfo_Block_Element {
  std::uint8_t Major;
  std::uint8_t Minor;
  std::uint8_t SubMinor;
  bool operator==(const SWInfo_Block_Element&) const = default;
};
SIMINFO_RECORD(SWInfo_Block_Element){
    SIMINFO_FIELD(SWInfo_Block_Element, Major, 8),
    SIMINFO_FIELD(SWInfo_Block_Element, Minor, 8),
    SIMINFO_FIELD(SWInfo_Block_Element, SubMinor, 8),
};
static_assert(tableCoversRecord<SWInfo_Block_Element>());

/// Hardware block of the vendor-specific general information, in the vendor's own numbers and codes. Its
/// DeviceID and num_ports are not held against NodeInfo: both are restored as they were answered.
struct HWInfo_Block_Element {
  std::uint16_t DeviceHWRevision;
  std::uint16_t DeviceID;
  std::uint8_t num_ports;
  std::uint8_t technology;
  std::uint8_t pvs;
  std::uint16_t hw_dev_id;
  bool operator==(const HWInfo_Block_Element&) const = default;
};
SIMINFO_RECORD(HWInfo_Block_Element){
    SIMINFO_FIELD(HWInfo_Block_Element, DeviceHWRevision, 16),
    SIMINFO_FIELD(HWInfo_Block_Element, DeviceID, 16),
    SIMINFO_FIELD(HWInfo_Block_Element, num_ports, 8),
    SIMINFO_FIELD(HWInfo_Block_Element, technology, 8),
    SIMINFO_FIELD(HWInfo_Block_Element, pvs, 8),
    SIMINFO_FIELD(HWInfo_Block_Element, hw_dev_id, 16),
};
static_assert(tableCoversRecord<HWInfo_Block_Element>());

/// Firmware block of the vendor-specific general information. There are two versions in it, one in bytes and
/// one in the wider `Extended_` fields.
struct FWInfo_Block_Element {
  std::uint8_t Major;
  std::uint8_t Minor;
  std::uint8_t SubMinor;
  std::uint32_t BuildID;
  std::array<std::uint8_t, 16> PSID;  ///< parameter-set identification, zero-padded text
  std::uint32_t INI_File_Version;
  std::uint32_t Extended_Major;
  std::uint32_t Extended_Minor;
  std::uint32_t Extended_SubMinor;
  std::uint16_t isfu_major;
  std::uint8_t sec_boot;
  bool operator==(const FWInfo_Block_Element&) const = default;
};
SIMINFO_RECORD(FWInfo_Block_Element){
    SIMINFO_FIELD(FWInfo_Block_Element, Major, 8),
    SIMINFO_FIELD(FWInfo_Block_Element, Minor, 8),
    SIMINFO_FIELD(FWInfo_Block_Element, SubMinor, 8),
    SIMINFO_FIELD(FWInfo_Block_Element, BuildID, 32),
    SIMINFO_TEXT_FIELD(FWInfo_Block_Element, PSID),
    SIMINFO_FIELD(FWInfo_Block_Element, INI_File_Version, 32),
    SIMINFO_FIELD(FWInfo_Block_Element, Extended_Major, 32),
    SIMINFO_FIELD(FWInfo_Block_Element, Extended_Minor, 32),
    SIMINFO_FIELD(FWInfo_Block_Element, Extended_SubMinor, 32),
    SIMINFO_FIELD(FWInfo_Block_Element, isfu_major, 16),
    SIMINFO_FIELD(FWInfo_Block_Element, sec_boot, 8),
};
static_assert(tableCoversRecord<FWInfo_Block_Element>());

/// Vendor-specific general information: one answer of the device that holds three blocks. Each block is a
/// frame of its own in generated source.
struct VSGeneralInfo {
  SWInfo_Block_Element SWInfo;
  HWInfo_Block_Element HWInfo;
  FWInfo_Block_Element FWInfo;
  bool operator==(const VSGeneralInfo&) const = default;
};
SIMINFO_RECORD(VSGeneralInfo){
    SIMINFO_RECORD_FIELD(VSGeneralInfo, SWInfo),
    SIMINFO_RECORD_FIELD(VSGeneralInfo, HWInfo),
    SIMINFO_RECORD_FIELD(VSGeneralInfo, FWInfo),
};
static_assert(tableCoversRecord<VSGeneralInfo>());

/// RouterInfo of the InfiniBand architecture: capabilities alone. No library at hand decodes it, and the last
/// three fields have no place there that is known here; see docs/simulator.md.
struct SMP_RouterInfo {
  std::uint32_t CapabilityMask;
  std::uint32_t NextHopTableCap;                   ///< capacity of the table of next hops
  std::uint8_t AdjacentSiteLocalSubnetsTableCap;   ///< capacity of the table of adjacent subnets
  std::uint16_t ar_group_to_router_lid_table_cap;  ///< capacity of the table from AR groups to router LIDs
  std::uint8_t cap_supported_subnets;
  std::uint16_t cap_router_lid;
  bool operator==(const SMP_RouterInfo&) const = default;
};
SIMINFO_RECORD(SMP_RouterInfo){
    SIMINFO_FIELD(SMP_RouterInfo, CapabilityMask, 32),
    SIMINFO_FIELD(SMP_RouterInfo, NextHopTableCap, 32),
    SIMINFO_FIELD(SMP_RouterInfo, AdjacentSiteLocalSubnetsTableCap, 8),
    SIMINFO_FIELD(SMP_RouterInfo, ar_group_to_router_lid_table_cap, 16),
    SIMINFO_FIELD(SMP_RouterInfo, cap_supported_subnets, 8),
    SIMINFO_FIELD(SMP_RouterInfo, cap_router_lid, 16),
};
static_assert(tableCoversRecord<SMP_RouterInfo>());

/// The four words of a capability mask, under the names that generated source has for them. They are filled
/// from the capability service; bit 0 of `capability0` is capability 0.
struct GeneralInfoCapabilityMask {
  std::uint32_t capability0;
  std::uint32_t capability1;
  std::uint32_t capability2;
  std::uint32_t capability3;
  bool operator==(const GeneralInfoCapabilityMask&) const = default;
};
SIMINFO_RECORD(GeneralInfoCapabilityMask){
    SIMINFO_FIELD(GeneralInfoCapabilityMask, capability0, 32),
    SIMINFO_FIELD(GeneralInfoCapabilityMask, capability1, 32),
    SIMINFO_FIELD(GeneralInfoCapabilityMask, capability2, 32),
    SIMINFO_FIELD(GeneralInfoCapabilityMask, capability3, 32),
};
static_assert(tableCoversRecord<GeneralInfoCapabilityMask>());

}  // namespace siminfo
