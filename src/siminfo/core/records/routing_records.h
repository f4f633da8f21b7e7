#pragma once

#include <array>
#include <cstdint>

#include "siminfo/core/records/field.h"

namespace siminfo {

/// Private linear forwarding tables of one mode: how many there are, and how large.
struct PLFT_Description_Mode {
  std::uint8_t NumOfLFTables;
  std::uint8_t LFTableSize;  ///< in a unit of the device's own
  bool operator==(const PLFT_Description_Mode&) const = default;
};
SIMINFO_RECORD(PLFT_Description_Mode){
    SIMINFO_FIELD(PLFT_Description_Mode, LFTableSize, 8),
    SIMINFO_FIELD(PLFT_Description_Mode, NumOfLFTables, 8),
};
static_assert(tableCoversRecord<PLFT_Description_Mode>());

/// Vendor-specific information on a switch's private linear forwarding tables (PLFT), which it may have
/// beside the common one. Switches with SMP capabilities 0 and 12 have it.
struct ib_private_lft_info {
  std::uint8_t Active_Mode;  ///< the mode in use
  std::uint8_t ModeCap;      ///< the modes that there are
  std::uint8_t NumPLFTs;     ///< the tables that there are
  std::uint8_t NoFallback;
  std::array<PLFT_Description_Mode, 4> Description_Mode;  ///< of every mode that there can be
  bool operator==(const ib_private_lft_info&) const = default;
};
SIMINFO_RECORD(ib_private_lft_info){
    SIMINFO_FIELD(ib_private_lft_info, Active_Mode, 8),
    SIMINFO_FIELD(ib_private_lft_info, ModeCap, 8),
    SIMINFO_FIELD(ib_private_lft_info, NumPLFTs, 8),
    SIMINFO_FIELD(ib_private_lft_info, NoFallback, 8),
    SIMINFO_RECORD_FIELD(ib_private_lft_info, Description_Mode),
};
static_assert(tableCoversRecord<ib_private_lft_info>());

/// Vendor-specific adaptive-routing capabilities, which switches with SMP capability 2 have. Flags, counts
/// and codes by the vendor's own names; they are passed on as the device answered them.
struct adaptive_routing_info {
  std::uint8_t dyn_cap_calc_sup;
  std::uint8_t by_transp_cap;
  std::uint8_t by_sl_cap;
  std::uint8_t glb_groups;
  std::uint8_t is4_mode;
  std::uint8_t direction_num_sup;
  std::uint8_t group_table_copy_sup;
  std::uint16_t group_cap;
  std::uint8_t is_ar_trials_supported;
  std::uint8_t is_fr_sup;
  std::uint8_t is_frn_sup;
  std::uint8_t is_arn_sup;
  std::uint8_t string_width_cap;
  std::uint8_t group_table_cap;
  std::uint8_t sub_grps_supported;
  std::uint8_t rn_version_cap;
  std::uint8_t ar_version_cap;
  std::uint8_t is_hbf_supported;
  std::uint8_t is_whbf_supported;
  std::uint8_t is_symmetric_hash_supported;
  std::uint8_t is_dceth_hash_supported;
  std::uint8_t is_bth_dqp_hash_supported;
  std::uint8_t is_pfrn_supported;
  bool operator==(const adaptive_routing_info&) const = default;
};
SIMINFO_RECORD(adaptive_routing_info){
    SIMINFO_FIELD(adaptive_routing_info, dyn_cap_calc_sup, 8),
    SIMINFO_FIELD(adaptive_routing_info, by_transp_cap, 8),
    SIMINFO_FIELD(adaptive_routing_info, by_sl_cap, 8),
    SIMINFO_FIELD(adaptive_routing_info, glb_groups, 8),
    SIMINFO_FIELD(adaptive_routing_info, is4_mode, 8),
    SIMINFO_FIELD(adaptive_routing_info, direction_num_sup, 8),
    SIMINFO_FIELD(adaptive_routing_info, group_table_copy_sup, 8),
    SIMINFO_FIELD(adaptive_routing_info, group_cap, 16),
    SIMINFO_FIELD(adaptive_routing_info, is_ar_trials_supported, 8),
    SIMINFO_FIELD(adaptive_routing_info, is_fr_sup, 8),
    SIMINFO_FIELD(adaptive_routing_info, is_frn_sup, 8),
    SIMINFO_FIELD(adaptive_routing_info, is_arn_sup, 8),
    SIMINFO_FIELD(adaptive_routing_info, string_width_cap, 8),
    SIMINFO_FIELD(adaptive_routing_info, group_table_cap, 8),
    SIMINFO_FIELD(adaptive_routing_info, sub_grps_supported, 8),
    SIMINFO_FIELD(adaptive_routing_info, rn_version_cap, 8),
    SIMINFO_FIELD(adaptive_routing_info, ar_version_cap, 8),
    SIMINFO_FIELD(adaptive_routing_info, is_hbf_supported, 8),
    SIMINFO_FIELD(adaptive_routing_info, is_whbf_supported, 8),
    SIMINFO_FIELD(adaptive_routing_info, is_symmetric_hash_supported, 8),
    SIMINFO_FIELD(adaptive_routing_info, is_dceth_hash_supported, 8),
    SIMINFO_FIELD(adaptive_routing_info, is_bth_dqp_hash_supported, 8),
    SIMINFO_FIELD(adaptive_routing_info, is_pfrn_supported, 8),
};
static_assert(tableCoversRecord<adaptive_routing_info>());

/// Congestion-control versions and capabilities of a node, which nodes with SMP capability 44 have.
struct CC_EnhancedCongestionInfo {
  std::uint8_t ver1;  ///< flag: the node supports version 1 of the attributes
  std::uint8_t ver0;  ///< flag: the node supports version 0; without it a switch has no general settings
  std::uint64_t CC_Capability_Mask;
  bool operator==(const CC_EnhancedCongestionInfo&) const = default;
};
SIMINFO_RECORD(CC_EnhancedCongestionInfo){
    SIMINFO_FIELD(CC_EnhancedCongestionInfo, ver1, 8),
    SIMINFO_FIELD(CC_EnhancedCongestionInfo, ver0, 8),
    SIMINFO_FIELD(CC_EnhancedCongestionInfo, CC_Capability_Mask, 64),
};
static_assert(tableCoversRecord<CC_EnhancedCongestionInfo>());

/// General congestion settings of a switch: capabilities alone, in units of the device's own.
struct CC_CongestionSwitchGeneralSettings {
  std::uint32_t cap_total_buffer_size;
  std::uint8_t cap_cc_profile_step_size;
  bool operator==(const CC_CongestionSwitchGeneralSettings&) const = default;
};
SIMINFO_RECORD(CC_CongestionSwitchGeneralSettings){
    SIMINFO_FIELD(CC_CongestionSwitchGeneralSettings, cap_total_buffer_size, 32),
    SIMINFO_FIELD(CC_CongestionSwitchGeneralSettings, cap_cc_profile_step_size, 8),
};
static_assert(tableCoversRecord<CC_CongestionSwitchGeneralSettings>());

}  // namespace siminfo
