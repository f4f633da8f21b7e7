#pragma once

#include <array>
#include <cstdint>

#include "siminfo/core/records/field.h"

namespace siminfo {

// In-network reduction is the vendor's own. Switches with SMP capability 55 have a management class for it,
// by which they answer for themselves and for their ports. Of its masks and counters nothing is known here
// but their names; counters are passed on in the device's own units.

/// ClassPortInfo of the InfiniBand architecture, as the reduction-management class answers it, without its
/// trap fields. The fields from RedirectGID on say where requests of the class are to be sent instead.
struct IB_ClassPortInfo {
  std::uint16_t CapMsk;  ///< capabilities that every class may have, and the class's own from bit 8 on
  std::uint8_t ClassVersion;
  std::uint8_t BaseVersion;    ///< of the management datagrams
  std::uint8_t RespTimeValue;  ///< an answer takes at most 4.096 us times 2 to this power; 5 bits
  std::uint32_t CapMsk2;       ///< further capabilities of the class; 27 bits on the wire
  std::array<std::uint8_t, 16> RedirectGID;  ///< in wire order
  std::uint32_t RedirectFL;                  ///< flow label, 20 bits on the wire
  std::uint8_t RedirectSL;                   ///< service level, 4 bits on the wire
  std::uint8_t RedirectTC;                   ///< traffic class
  std::uint16_t RedirectPKey;
  std::uint16_t RedirectLID;
  std::uint32_t RedirectQP;  ///< queue pair, 24 bits on the wire
  std::uint32_t RedirectQKey;
  bool operator==(const IB_ClassPortInfo&) const = default;
};
SIMINFO_RECORD(IB_ClassPortInfo){
    SIMINFO_FIELD(IB_ClassPortInfo, CapMsk, 16),       SIMINFO_FIELD(IB_ClassPortInfo, ClassVersion, 8),
    SIMINFO_FIELD(IB_ClassPortInfo, BaseVersion, 8),   SIMINFO_FIELD(IB_ClassPortInfo, RespTimeValue, 8),
    SIMINFO_FIELD(IB_ClassPortInfo, CapMsk2, 32),      SIMINFO_HEX_FIELD(IB_ClassPortInfo, RedirectGID),
    SIMINFO_FIELD(IB_ClassPortInfo, RedirectFL, 32),   SIMINFO_FIELD(IB_ClassPortInfo, RedirectSL, 8),
    SIMINFO_FIELD(IB_ClassPortInfo, RedirectTC, 8),    SIMINFO_FIELD(IB_ClassPortInfo, RedirectPKey, 16),
    SIMINFO_FIELD(IB_ClassPortInfo, RedirectLID, 16),  SIMINFO_FIELD(IB_ClassPortInfo, RedirectQP, 32),
    SIMINFO_FIELD(IB_ClassPortInfo, RedirectQKey, 32),
};
static_assert(tableCoversRecord<IB_ClassPortInfo>());

/// What in-network reduction a switch offers: a mask of features, and how much it has for two of them.
struct ZYRReductionInfo {
  std::uint32_t capability_mask;
  std::uint16_t hbf_group_cap;
  std::uint16_t reduction_fdb_cap;
  bool operator==(const ZYRReductionInfo&) const = default;
};
SIMINFO_RECORD(ZYRReductionInfo){
    SIMINFO_FIELD(ZYRReductionInfo, capability_mask, 32),
    SIMINFO_FIELD(ZYRReductionInfo, hbf_group_cap, 16),
    SIMINFO_FIELD(ZYRReductionInfo, reduction_fdb_cap, 16),
};
static_assert(tableCoversRecord<ZYRReductionInfo>());

/// What in-network reduction a port offers: a mask of features.
struct ZYRReductionPortInfo {
  std::uint32_t capability_mask;
  bool operator==(const ZYRReductionPortInfo&) const = default;
};
SIMINFO_RECORD(ZYRReductionPortInfo){
    SIMINFO_FIELD(ZYRReductionPortInfo, capability_mask, 32),
};
static_assert(tableCoversRecord<ZYRReductionPortInfo>());

/// One of a port's up to eight sets of multicast reduction counters; a set's number is a key and no more.
/// Members in wire order, the table in emission order.
struct ZYRReductionCounters {
  std::uint64_t incoming_good_mc_read_req_pkt;
  std::uint64_t incoming_good_mc_read_req_data;
  std::uint64_t incoming_good_mc_write_req_pkt;
  std::uint64_t incoming_good_mc_write_req_data;
  std::uint64_t incoming_good_mc_read_resp_pkt;
  std::uint64_t incoming_good_mc_read_resp_data;
  std::uint64_t incoming_good_mc_write_resp_pkt;
  std::uint64_t incoming_good_mc_write_resp_data;
  std::uint64_t generated_mc_read_resp_pkt;
  std::uint64_t generated_mc_read_resp_data;
  std::uint64_t generated_mc_write_resp_pkt;
  std::uint64_t generated_mc_write_resp_data;
  std::uint64_t dropped_pkt;
  std::uint64_t trapped_pkt;
  std::uint64_t zyr_reduction_errors;
  std::uint64_t zyr_reduction_penalty_box_errors;
  std::uint64_t port_zyd_local_alm_id_allocations;
  std::uint64_t port_zyd_global_alm_id_allocations;
  std::uint64_t sent_good_mc_pull_write_req_packet;
  std::uint64_t sent_good_mc_pull_read_req_packet;
  bool operator==(const ZYRReductionCounters&) const = default;
};
SIMINFO_RECORD(ZYRReductionCounters){
    SIMINFO_FIELD(ZYRReductionCounters, incoming_good_mc_read_req_pkt, 64),
    SIMINFO_FIELD(ZYRReductionCounters, incoming_good_mc_read_req_data, 64),
    SIMINFO_FIELD(ZYRReductionCounters, incoming_good_mc_write_req_pkt, 64),
    SIMINFO_FIELD(ZYRReductionCounters, incoming_good_mc_write_req_data, 64),
    SIMINFO_FIELD(ZYRReductionCounters, incoming_good_mc_read_resp_pkt, 64),
    SIMINFO_FIELD(ZYRReductionCounters, incoming_good_mc_read_resp_data, 64),
    SIMINFO_FIELD(ZYRReductionCounters, incoming_good_mc_write_resp_pkt, 64),
    SIMINFO_FIELD(ZYRReductionCounters, incoming_good_mc_write_resp_data, 64),
    SIMINFO_FIELD(ZYRReductionCounters, generated_mc_read_resp_pkt, 64),
    SIMINFO_FIELD(ZYRReductionCounters, dropped_pkt, 64),
    SIMINFO_FIELD(ZYRReductionCounters, trapped_pkt, 64),
    SIMINFO_FIELD(ZYRReductionCounters, zyr_reduction_errors, 64),
    SIMINFO_FIELD(ZYRReductionCounters, zyr_reduction_penalty_box_errors, 64),
    SIMINFO_FIELD(ZYRReductionCounters, port_zyd_local_alm_id_allocations, 64),
    SIMINFO_FIELD(ZYRReductionCounters, port_zyd_global_alm_id_allocations, 64),
    SIMINFO_FIELD(ZYRReductionCounters, sent_good_mc_pull_write_req_packet, 64),
    SIMINFO_FIELD(ZYRReductionCounters, sent_good_mc_pull_read_req_packet, 64),
    SIMINFO_FIELD(ZYRReductionCounters, generated_mc_write_resp_pkt, 64),
    SIMINFO_FIELD(ZYRReductionCounters, generated_mc_write_resp_data, 64),
    SIMINFO_FIELD(ZYRReductionCounters, generated_mc_read_resp_data, 64),
};
static_assert(tableCoversRecord<ZYRReductionCounters>());

/// A port's push-reduction counters, behind the two header fields by which a simulated node finds and stores
/// the set. What the header fields mean is not known here.
struct ZYRPushReductionCounters {
  std::uint16_t header0;
  std::uint16_t header1;
  std::uint64_t incoming_good_push_gpu_ack_packets;
  std::uint64_t incoming_good_push_gpu_ack_data;
  std::uint64_t incoming_good_push_gpu_wr_req_packets;
  std::uint64_t incoming_good_push_gpu_wr_req_data;
  std::uint64_t generated_push_switch_ack_packets;
  std::uint64_t generated_push_switch_ack_data;
  std::uint64_t generated_push_switch_wr_req_packets;
  std::uint64_t dropped_push_packets;
  std::uint64_t trapped_push_packets;
  std::uint64_t jfto_event;
  std::uint64_t sent_push_switch_wr_req_packets;
  std::uint64_t reduction_errors;
  std::uint64_t dup_error;
  std::uint64_t mlid_error;
  std::uint64_t ingress_amap_errors;
  std::uint64_t alm_error_type0;
  std::uint64_t alm_error_type1;
  bool operator==(const ZYRPushReductionCounters&) const = default;
};
SIMINFO_RECORD(ZYRPushReductionCounters){
    SIMINFO_FIELD(ZYRPushReductionCounters, header0, 16),
    SIMINFO_FIELD(ZYRPushReductionCounters, header1, 16),
    SIMINFO_FIELD(ZYRPushReductionCounters, incoming_good_push_gpu_ack_packets, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, incoming_good_push_gpu_ack_data, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, incoming_good_push_gpu_wr_req_packets, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, incoming_good_push_gpu_wr_req_data, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, generated_push_switch_ack_packets, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, generated_push_switch_ack_data, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, generated_push_switch_wr_req_packets, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, dropped_push_packets, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, trapped_push_packets, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, jfto_event, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, sent_push_switch_wr_req_packets, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, reduction_errors, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, dup_error, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, mlid_error, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, ingress_amap_errors, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, alm_error_type0, 64),
    SIMINFO_FIELD(ZYRPushReductionCounters, alm_error_type1, 64),
};
static_assert(tableCoversRecord<ZYRPushReductionCounters>());

/// Configuration of one of a port's multicast-LID monitors, which are numbered. Counters mean something where
/// their monitor was found: multicast counters hang on monitor 0, push counters on monitor 1. Only whether it
/// was found matters, so nothing of it is kept.
struct ZYRReductionConfigureMLIDMonitors {};

}  // namespace siminfo
