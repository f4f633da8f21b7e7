#pragma once

#include <array>
#include <cstdint>

#include "siminfo/core/records/field.h"

namespace siminfo {

/// PortInfo of the InfiniBand architecture: what the port can do. State, LIDs and all that a subnet manager
/// sets stay the simulated port's own. Masks of widths and speeds have a bit for each that the port supports,
/// from the lowest bit on; the last three fields have 4 bits on the wire.
struct SMP_PortInfo {
  std::uint32_t CapMsk;           ///< bits as SimInfoData::PortInfoCapMaskBits names them
  std::uint16_t CapMsk2;          ///< bits as SimInfoData::PortInfoCapMask2Bits names them
  std::uint8_t LinkWidthSup;      ///< mask: 1x, 4x, 8x, 12x, 2x
  std::uint8_t LinkSpeedExtSup2;  ///< mask of speeds that the next has no bits for; see docs/collect.md
  std::uint8_t LinkSpeedExtSup;   ///< mask: FDR, EDR, HDR, NDR
  std::uint8_t LinkSpeedSup;      ///< mask: 2.5, 5 and 10 Gbit/s a lane
  std::uint8_t MTUCap;            ///< code: 1 is 256 bytes, and each step twice that, up to 5, 4096 bytes
  bool operator==(const SMP_PortInfo&) const = default;
};
SIMINFO_RECORD(SMP_PortInfo){
    SIMINFO_FIELD(SMP_PortInfo, CapMsk, 32),         SIMINFO_FIELD(SMP_PortInfo, CapMsk2, 16),
    SIMINFO_FIELD(SMP_PortInfo, LinkWidthSup, 8),    SIMINFO_FIELD(SMP_PortInfo, LinkSpeedExtSup2, 8),
    SIMINFO_FIELD(SMP_PortInfo, LinkSpeedExtSup, 8), SIMINFO_FIELD(SMP_PortInfo, LinkSpeedSup, 8),
    SIMINFO_FIELD(SMP_PortInfo, MTUCap, 8),
};
static_assert(tableCoversRecord<SMP_PortInfo>());

/// Vendor-specific extended port information, which nodes with SMP capability 9 have. For each speed that a
/// field is named after there is what the port supports of forward error correction (FEC) and of
/// retransmission. Whether the device calls the port special or an FNM port is restored with the rest; which
/// port is treated so in generated source is IBPort's to say.
struct SMP_KrelExtPortInfo {
  std::uint8_t LinkSpeedSupported;  ///< mask of the vendor's own speeds
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

/// PortInfoExtended of the InfiniBand architecture, which ports with bit 1 of PortInfo's CapMsk2 have. For
/// each speed that a field is named after there is a mask of the modes of forward error correction (FEC) that
/// the port supports.
struct SMP_PortInfoExtended {
  std::uint32_t CapMsk;         ///< bits of this attribute's own, not those of PortInfo
  std::uint16_t FECModeActive;  ///< the mode in use
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
