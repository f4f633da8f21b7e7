#pragma once

#include "siminfo/core/records/node_records.h"
#include "siminfo/core/records/port_records.h"
#include "siminfo/core/records/reduction_records.h"
#include "siminfo/core/records/routing_records.h"

// Every record that a node or a port may carry, and the getter by which the generator asks for it. The
// store's interface, the store in memory and the snapshot's reader and writer are made from these rows.
//
// Records of the InfiniBand architecture's own attributes are what `siminfo collect` asks devices for. The
// vendor-specific ones it does not know how to ask for: whoever does adds them to the snapshot.
#define SIMINFO_NODE_RECORDS(RECORD)                                     \
  RECORD(SMP_NodeInfo, getSMPNodeInfo)                                   \
  RECORD(SMP_SwitchInfo, getSMPSwitchInfo)                               \
  RECORD(SMP_ExtendedSwitchInfo, getSMP_ExtendedSwitchInfo)              \
  RECORD(ib_extended_node_info, getSMPExtNodeInfo)                       \
  RECORD(VSGeneralInfo, getVSGeneralInfo)                                \
  RECORD(SMP_RouterInfo, getSMPRouterInfo)                               \
  RECORD(ib_private_lft_info, getPLFTInfo)                               \
  RECORD(adaptive_routing_info, getARInfo)                               \
  RECORD(CC_EnhancedCongestionInfo, getCCEnhancedCongestionInfo)         \
  RECORD(CC_CongestionSwitchGeneralSettings, getCCSwitchGeneralSettings) \
  RECORD(IB_ClassPortInfo, getZYRClassPortInfo)                          \
  RECORD(ZYRReductionInfo, getZYRReductionInfo)

#define SIMINFO_PORT_RECORDS(RECORD)                    \
  RECORD(SMP_PortInfo, getSMPPortInfo)                  \
  RECORD(SMP_KrelExtPortInfo, getSMPKrelExtPortInfo)    \
  RECORD(SMP_PortInfoExtended, getSMPPortInfoExtended)  \
  RECORD(ZYRReductionPortInfo, getZYRReductionPortInfo) \
  RECORD(ZYRPushReductionCounters, getZYRPushReductionCounters)
