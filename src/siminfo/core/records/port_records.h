#pragma once

#include <array>
#include <cstdint>

#include "siminfo/core/records/field.h"

namespace siminfo {

/// Standard PortInfo: what the port can do.
struct SMP_PortInfo {
  std::uint32_t CapMsk;
  std::uint16_t CapMsk2;
  std::uint8_t LinkWidthSup;
  std::uint8_t LinkSpeedExtSup2;
  std::uint8_t LinkSpeedExtSup;
  std::uint8_t LinkSpeedSup;
  std::uint8_t MTUCap;
  bool operator==(const SMP_PortInfo&) const = default;
};
SIMINFO_RECORD(SMP_PortInfo){
    SIMINFO_FIELD(SMP_PortInfo, CapMsk, 32),         SIMINFO_FIELD(SMP_PortInfo, CapMsk2, 16),
    SIMINFO_FIELD(SMP_PortInfo, LinkWidthSup, 8),    SIMINFO_FIELD(SMP_PortInfo, LinkSpeedExtSup2, 8),
    SIMINFO_FIELD(SMP_PortInfo, LinkSpeedExtSup, 8), SIMINFO_FIELD(SMP_PortInfo, LinkSpeedSup, 8),
    SIMINFO_FIELD(SMP_PortInfo, MTUCap, 8),
};
static_assert(tableCoversRecord<SMP_PortInfo>());

/// Vendor-specific extended port information.
struct SMP_KrelExtPortInfo {
  std::uint8_t LinkSpeedSupported;
  std::uint16_t CapabilityMask;
  std::uint16_t FDR10FECModeSupported;
  std::uint16_t FDRFECModeSupported;
  std::uint16_t EDR20FECModeSupported;
  std::uint16_t EDRFECModeSupported;
  std::uint8_t FDR10RetranSupported;
  std::uint8_t FDRRetranSupported;
  std::uint8_t EDR20RetranSupported;
  std::uint8_t EDRRetranSupported;
  std::uint8_t IsSpecialPort;
  std::uint8_t SpecialPortCapabilityMask;
  std::uint8_t is_fnm_port;
  std::uint8_t SpecialPortType;
  std::uint16_t HDRFECModeSupported;
  std::uint16_t NDRFECModeSupported;
  std::uint16_t XDRFECModeSupported;
  std::uint8_t FECModeActive;
  std::uint8_t RetransMode;
  bool operator==(const SMP_KrelExtPortInfo&) const = default;
};
SIMINFO_RECORD(SMP_KrelExtPortInfo){
    SIMINFO_FIELD(SMP_KrelExtPortInfo, LinkSpeedSupported, 8),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, CapabilityMask, 16),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, FDR10FECModeSupported, 16),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, FDRFECModeSupported, 16),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, EDR20FECModeSupported, 16),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, EDRFECModeSupported, 16),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, FDR10RetranSupported, 8),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, FDRRetranSupported, 8),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, EDR20RetranSupported, 8),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, EDRRetranSupported, 8),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, IsSpecialPort, 8),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, SpecialPortCapabilityMask, 8),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, is_fnm_port, 8),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, SpecialPortType, 8),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, HDRFECModeSupported, 16),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, NDRFECModeSupported, 16),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, XDRFECModeSupported, 16),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, FECModeActive, 8),
    SIMINFO_FIELD(SMP_KrelExtPortInfo, RetransMode, 8),
};
static_assert(tableCoversRecord<SMP_KrelExtPortInfo>());

/// Standard PortInfoExtended.
struct SMP_PortInfoExtended {
  std::uint32_t CapMsk;
  std::uint16_t FECModeActive;
  std::uint16_t FDRFECModeSupported;
  std::uint16_t EDRFECModeSupported;
  std::uint16_t HDRFECModeSupported;
  std::uint16_t NDRFECModeSupported;
  bool operator==(const SMP_PortInfoExtended&) const = default;
};
SIMINFO_RECORD(SMP_PortInfoExtended){
    SIMINFO_FIELD(SMP_PortInfoExtended, CapMsk, 32),
    SIMINFO_FIELD(SMP_PortInfoExtended, FECModeActive, 16),
    SIMINFO_FIELD(SMP_PortInfoExtended, FDRFECModeSupported, 16),
    SIMINFO_FIELD(SMP_PortInfoExtended, EDRFECModeSupported, 16),
    SIMINFO_FIELD(SMP_PortInfoExtended, HDRFECModeSupported, 16),
    SIMINFO_FIELD(SMP_PortInfoExtended, NDRFECModeSupported, 16),
};
static_assert(tableCoversRecord<SMP_PortInfoExtended>());

}  // namespace siminfo
