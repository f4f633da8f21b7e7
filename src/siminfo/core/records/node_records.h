#pragma once

#include <array>
#include <cstdint>

#include "siminfo/core/records/field.h"

namespace siminfo {

/// Standard NodeInfo. Type, port count and GUIDs are the node's own and not repeated here.
struct SMP_NodeInfo {
  std::uint8_t BaseVersion;
  std::uint8_t ClassVersion;
  std::uint16_t PartitionCap;
  std::uint16_t DeviceID;
  std::uint32_t revision;
  std::uint32_t VendorID;
  bool operator==(const SMP_NodeInfo&) const = default;
};
SIMINFO_RECORD(SMP_NodeInfo){
    SIMINFO_FIELD(SMP_NodeInfo, BaseVersion, 8),   SIMINFO_FIELD(SMP_NodeInfo, ClassVersion, 8),
    SIMINFO_FIELD(SMP_NodeInfo, PartitionCap, 16), SIMINFO_FIELD(SMP_NodeInfo, DeviceID, 16),
    SIMINFO_FIELD(SMP_NodeInfo, revision, 32),     SIMINFO_FIELD(SMP_NodeInfo, VendorID, 32),
};
static_assert(tableCoversRecord<SMP_NodeInfo>());

/// Standard SwitchInfo: what the switch can do, without what a subnet manager sets.
struct SMP_SwitchInfo {
  std::uint16_t LinearFDBCap;
  std::uint16_t RandomFDBCap;
  std::uint16_t MCastFDBCap;
  std::uint8_t OptimizedSLVLMapping;
  std::uint16_t LidsPerPort;
  std::uint16_t PartEnfCap;
  std::uint8_t InbEnfCap;
  std::uint8_t OutbEnfCap;
  std::uint8_t FilterRawInbCap;
  std::uint8_t FilterRawOutbCap;
  std::uint8_t ENP0;
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

/// Vendor-specific extended switch information.
struct SMP_ExtendedSwitchInfo {
  std::uint8_t turbo_path_cap;
  bool operator==(const SMP_ExtendedSwitchInfo&) const = default;
};
SIMINFO_RECORD(SMP_ExtendedSwitchInfo){
    SIMINFO_FIELD(SMP_ExtendedSwitchInfo, turbo_path_cap, 8),
};
static_assert(tableCoversRecord<SMP_ExtendedSwitchInfo>());

/// Vendor-specific extended node information.
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

/// Software block of the vendor-specific general information.
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

/// Hardware block of the vendor-specific general information.
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

/// Firmware block of the vendor-specific general information.
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

/// Vendor-specific general information: one answer of the device that holds three blocks.
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

/// Standard RouterInfo: capabilities alone.
struct SMP_RouterInfo {
  std::uint32_t CapabilityMask;
  std::uint32_t NextHopTableCap;
  std::uint8_t AdjacentSiteLocalSubnetsTableCap;
  std::uint16_t ar_group_to_router_lid_table_cap;
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

/// The four words of a capability mask, under the names that generated source has for them.
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
