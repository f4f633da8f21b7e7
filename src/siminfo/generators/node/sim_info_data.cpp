#include "siminfo/generators/node/sim_info_data.h"

namespace siminfo {

// Names are kept as the devices' own documents spell them, slips included. Every eighth row has its number.

// clang-format off
const std::vector<const char*> SimInfoData::SMPCapMaskBits = {
    "IsPrivateLinearForwardingSupported",                         // 0
    "IsAdaptiveRoutingSupported",
    "IsAdaptiveRoutingRev1Supported",
    "IsRemotePortMirroringSupported",
    "IsTemperatureSensingSupported",
    "IsConfigSpaceAccessSupported",
    "IsCableInfoSupported",
    "IsSMPEyeOpenSupported",
    "IsLossyVLConfigSupported",                                   // 8
    "IsExtendedPortInfoSupported",
    "IsAccessRegisterSupported",
    "IsInterProcessCommunicationSupported",
    "IsPortSLToPrivateLFTMapSupported",
    "IsExtendedNodeInfoSupported",
    "IsSlaveVirtualSwitch",
    "IsVirtualizationSupported",
    "IsAdvancedRetransAndFECModesSupported",                      // 16
    "IsSemaphoreLockSupported",
    "IsPeloAggrNodeSupported",
    "IsCableInfoPasswordSupported",
    "IsVL2VLPerSWIDSupported",
    "IsSpecialPortsMarkingSupported",
    "IsVPortGUIDInfoSupported",
    "IsForcePLFTSubgroup0Supported",
    "IsQoSConfigSLRateLimitSupported",                            // 24
    "IsQoSConfigSLVPortRateLimitSupported",
    "IsQoSConfigSLAllocBWSupported",
    "IsQoSConfigSLVPortAllocBWSupported",
    "IsEnhancedTrap128Supported",
    "IsDevInfoSupported",
    "IsGlobalOOOSupported",
    "IsMADAddlStatusSupported",
    "IsQoSConfigSLRateLimitPortSupported",                        // 32
    "IsQoSConfigSLRateLimitVPortSupported",
    "IsQoSConfigSLAllocBWPortSupported",
    "IsQoSConfigSLAllocBWVPortSupported",
    "IsQoSConfigHighPriorityVLGroupRateLimitSupported",
    "IsQoSConfigHighPriorityVLGroupAllocBWSupported",
    "IsQoSConfigLowPriorityVLGroupRateLimitSupported",
    "IsQoSConfigLowPriorityVLGroupAllocBWSupported",
    "IsQoSConfigVLRateLimitSupported",                            // 40
    "IsQoSConfigVLAllocBWSupported",
    nullptr,
    "IsCableInfoBankNumberSupported",
    "IsDCQCNSupported",
    "IsAdaptiveTimeoutSupported",
    "IsClassEnableSupported",
    "IsExtendedAddressModeSupported",
    "IsRouterLIDSupported",                                       // 48
    "IsLinearForwardingTableSplitSupported",
    "IsDataTypetoSLMappingSupported",
    "IsQoSConfigVLSupported",
    "IsFastRecoverySupported",
    "IsCreditWatchdogSupported",
    "IsZYRFabricManagementSupported",
    "IsZYRReductionManagementSupported",
    "IsRailFilterSupported",                                      // 56
    "IsZYRHBFConfigSupported",
    "IsDataTypetoVLMappingSupported",
    "IsContainAndDrainSupported",
    "IsProfilesConfigSupported",
    "IsBERConfigSupported",
    "IsGlobalOOOV2Supported",
    "IsVLBufferWeightSupported",
    "IsEndPortPlaneFilterConfigSupported",                        // 64
    "IsEntryPlaneFilterSupported",
    "IsBWUtiliztionSupported",
    "IsExtendedSwitchInfoSupported",
    "IsFabricManagerInfoSupported",
    "IsExtPortInfoUnhealthyReasonSupported",
    "IsMulticastPrivateLinearForwardingSupported",
    "IsPortSLToMulticastPrivateLFTMapSupported",
    "IsChassisInfoSupported",                                     // 72
    "IsPLRTriggerSupported",
    "IsFwISSUSupported",
    "IsZyrbusFecModeSupported",
    "IsPortRecoveryPolicyConfigSupported",
    "IsQDXAdminstateSupported",
    "IsMultiplaneAsymmetrySupported",
    "IsUtcTimestampSupported",
    "IsCpoIndicationSupported",                                   // 80
    "IsLinkAutoRetrainSupported",
    "IsRTUEnabled",
    "IsHybridTopology",
    "IsDcPortStateChangeTrapSupported",
    "IsCrossPortHandlingSupported",
    "IsHybridPortInfoSupported",
    "IsSLToVLEgressGroupsSupported",
    "IsVSNodeInfoSupported",                                      // 88
    "IsLinkHealthFiltersSupported",
};

const std::vector<const char*> SimInfoData::GMPCapMaskBits = {
    "IsPortPowerStateSupported",                                  // 0
    "IsDeviceSoftResetSupported",
    "IsExtGPIOPortAccessSupported",
    "IsPhyConfigSupported",
    "IsVendSpecLedControlSupported",
    "IsConfigSpaceAccessSupported",
    "IsPerVLCountersSupported",
    "IsPerVLExtendedSupported",
    "IsPortLLRStatisticsSupported",                               // 8
    "IsCounterGroupsSupported",
    "IsEnhancedConfigSpaceAccessSupported",
    "IsFlowMonitoringSupported",
    "IsCongestionNotificationSupported",
    "IsVirtualSwitchSupported",
    "IsPortXmitQLengthSupported",
    "IsMulticastForwardingTableSupported",
    "IsPortXmitWaitVLExtendedSupported",                          // 16
    "IsExtI2CPortAccessSupported",
    "IsDiagnosticDataSupported",
    "IsMaxRetransmissionRateSupported",
    "IsAccessRegisterGMPSupported",
    "IsPortHistogramsSupported",
    "IsPoolHistogramsSupported",
    "IsVPortCountersSupported",
    "IsDiagnosticDataIdentificationSupported",                    // 24
    "IsEnhPort0DeviceResetSupported",
    "IsDevInfoSupported",
    "IsMADAddlStatusSupported",
    "IsCableBurnSupported",
    "IsMirroringEventsSupported",
    "IsBERMonitoringSupported",
    "IsBERMonitoringEventsSupported",
    "IsDCQCNSupported",                                           // 32
    "IsPLRMaxRetransmissionRateSupported",
    "IsEffectiveCounterSupported",
    "IsRawBerPerLaneSupported",
    "IsAccessRegisterSupported",
    "IsMirroringInfoSupported",
    "IsExtendedAddressModeSupported",
    "IsSwitchNetworkInfoSupported",
    "CreditWatchdogTimeoutCounters",                              // 40
    "FastRecoveryCountersSupported",
    "IsGeneralResetSupported",
    "IsBufferHistogramSupported",
    "IsPortsHistogramSupported",
    "IsPacketBufferAllocControlSupported",
    "IsPortGeneralCountersSupported",
    "IsPortRecoveryPolicyCountersSupported",
    "IsDualVSKeySupported",                                       // 48
};

const std::vector<const char*> SimInfoData::PortInfoCapMaskBits = {
    nullptr,                                                      // 0
    "IsSM",
    "IsNoticeSupported",
    "IsTrapSupported",
    "IsOptionalIPDSupported",
    "IsAutomaticMigrationSupported",
    "IsSLMappingSupported",
    "IsMKeyNVRAM",
    "IsPKeyNVRAM",                                                // 8
    "IsLEDInfoSupported",
    "IsSMdisabled",
    "IsSystemImageGUIDSupported",
    "IsPKeySwitchExternalPortTrapSupported",
    "IsCableInfoSupported",
    "IsExtendedSpeedsSupported",
    "IsCapabilityMask2Supported",
    "IsCommunicationManagementSupported",                         // 16
    "IsSNMPTunnelingSupported",
    "IsReinitSupported",
    "IsDeviceManagementSupported",
    "IsVendorClassSupported",
    "IsDRNoticeSupported",
    "IsCapabilityMaskNoticeSupported",
    "IsBootManagementSupported",
    "IsLinkRoundTripLatencySupported",                            // 24
    "IsClientReregistrationSupported",
    "IsOtherLocalChangesNoticeSupported",
    "IsLinkSpeedWidthPairsTableSupported",
    "IsVendorSpecificMadsTableSupported",
    "IsMulticastPKeyTrapSuppressionSupported",
    "IsMulticastFDBTopSupported",
    "IsHierarchyInfoSupported",
};

const std::vector<const char*> SimInfoData::PortInfoCapMask2Bits = {
    "IsSetNodeDescriptionSupported",                              // 0
    "IsPortInfoExtendedSupported",
    "IsVirtualizationSupported",
    "IsSwitchPortStateTableSupported",
    "IsLinkWidth2xSupported",
    "IsLinkSpeedHDRSupported",
    "IsMKeyProtectBitsExtSupported",
    "IsEnhancedTrap128Supported",
    "IsPartitionTopSupported",                                    // 8
    "IsEnhancedQoSArbiterSupported",
    "IsLinkSpeedNDRSupported",
    "IsExtendedSpeeds2Supported",
    "IsLinkSpeedXDRSupported",
    nullptr,
    nullptr,
    nullptr,
};
// clang-format on

}  // namespace siminfo
