#pragma once

// Management datagrams (MADs) as they travel, and the places of the standard attributes' fields that no
// generated source assigns. Those that it does assign are reached through their records.

#include <infiniband/drovik/drovik_fabric.h>
#include <sys/types.h>

#include <array>
#include <cstddef>

namespace drovik {

/// A field in bytes: its first bit and its width, in bits. Bit 0 is the top bit of the first byte.
struct Place {
  u_int16_t bit;
  u_int16_t bits;
};
/// Most fields are whole bytes, and each packet has a dozen read: bit by bit it would cost as much as a call
/// of the system.
inline u_int64_t get(const u_int8_t* bytes, Place place) {
  if (place.bit % 8 != 0 || place.bits % 8 != 0) return getBits(bytes, place.bit, place.bits);
  u_int64_t value = 0;
  for (std::size_t at = place.bit / 8U; at < (place.bit + place.bits) / 8U; ++at)
    value = value << 8U | bytes[at];
  return value;
}
inline void put(u_int8_t* bytes, Place place, u_int64_t value) {
  if (place.bit % 8 != 0 || place.bits % 8 != 0) return setBits(bytes, place.bit, place.bits, value);
  for (std::size_t at = (place.bit + place.bits) / 8U; at-- > place.bit / 8U; value >>= 8U)
    bytes[at] = static_cast<u_int8_t>(value);
}

using Mad = std::array<u_int8_t, 256>;
using AttributeBytes = std::array<u_int8_t, 64>;
constexpr std::size_t kDataOffset = 64;         ///< of the attribute, in SMPs and in performance MADs
constexpr std::size_t kPathOffset = 128;        ///< of a directed route's path; entry 0 is not used
constexpr std::size_t kReturnPathOffset = 192;  ///< of the way back, in ports of arrival
constexpr unsigned kMostHops = 63;

namespace mad {
constexpr Place kBaseVersion{0, 8}, kClass{8, 8}, kClassVersion{16, 8}, kMethod{24, 8}, kStatus{32, 16},
    kHopPointer{48, 8}, kHopCount{56, 8}, kTransaction{64, 64}, kAttribute{128, 16}, kModifier{160, 32},
    kDirectedSource{256, 16}, kDirectedDestination{272, 16};
constexpr unsigned kDirectionBit = 0x8000;  ///< of the status of a directed route's answer
constexpr unsigned kAnswerBit = 0x80;       ///< of the method
}  // namespace mad

enum ManagementClass : unsigned {
  kSmpByLid = 0x01,
  kAdministration = 0x03,
  kPerformance = 0x04,
  kSmpByRoute = 0x81
};
enum Method : unsigned { kGet = 0x01, kSet = 0x02, kSend = 0x03, kTrap = 0x05, kTrapRepress = 0x07 };

enum Attribute : unsigned {
  kClassPortInfo = 0x01,
  kNotice = 0x02,
  kNodeDescription = 0x10,
  kNodeInfo = 0x11,
  kSwitchInfo = 0x12,
  kGuidInfo = 0x14,
  kPortInfo = 0x15,
  kPartitionKeys = 0x16,
  kServiceToLane = 0x17,
  kLaneArbitration = 0x18,
  kLinearTable = 0x19,
  kMulticastTable = 0x1b,
  kManagerInfo = 0x20,
  kPortInfoExtended = 0x33,
};

/// What becomes of a request: a status of the architecture, or no answer at all.
enum Status : int {
  kSilence = -1,
  kDone = 0,
  kBadClass = 0x0004,
  kBadMethod = 0x0008,
  kBadAttribute = 0x000c,
  kBadValue = 0x001c,
};

namespace node_info {
constexpr Place kType{16, 8}, kPorts{24, 8}, kSystemGuid{32, 64}, kGuid{96, 64}, kPortGuid{160, 64},
    kLocalPort{288, 8};
}
namespace switch_info {
constexpr Place kLinearTop{48, 16}, kLifeTime{88, 5}, kStateChange{93, 1};
/// What a subnet manager sets: LinearFDBTop, DefaultPort, DefaultMulticastPrimaryPort and NotPrimaryPort,
/// LifeTimeValue, MulticastFDBTop.
constexpr std::array<Place, 6> kSettable{Place{48, 16}, {64, 8}, {72, 8}, {80, 8}, {88, 5}, {144, 16}};
}  // namespace switch_info
namespace port_info {
constexpr Place kGidPrefix{64, 64}, kLid{128, 16}, kManagerLid{144, 16}, kLocalPort{224, 8},
    kWidthEnabled{232, 8}, kWidthActive{248, 8}, kState{260, 4}, kPhysicalState{264, 4}, kDownDefault{268, 4},
    kLmc{277, 3}, kSpeedActive{280, 4}, kSpeedEnabled{284, 4}, kNeighborMtu{288, 4}, kLaneCap{296, 4},
    kHighCap{312, 8}, kLowCap{320, 8}, kOperationalLanes{344, 4}, kGuidCap{400, 8}, kSubnetTimeout{411, 5},
    kResponseTime{419, 5}, kExtendedActive{496, 4}, kExtendedEnabled{507, 5};
/// What a subnet manager sets of any port: NeighborMTU, VLHighLimit, VLStallCount and HOQLife, the partition
/// and raw filters, LocalPhyErrors and OverrunErrors.
constexpr std::array<Place, 5> kSettable{Place{288, 4}, {304, 8}, {336, 8}, {348, 4}, {424, 8}};
/// What it leaves alone with a zero: LinkDownDefaultState and OperationalVLs. So with the enabled widths and
/// speeds, where all ones stand for whatever is supported.
constexpr std::array<Place, 2> kSettableUnlessZero{Place{268, 4}, {344, 4}};
/// And of ports that have an address: M_Key, GidPrefix, LID, MasterSMLID, M_KeyProtectBits, LMC,
/// MasterSMSL, InitType, the three violation counters, McastPkeyTrapSuppression and SubnetTimeOut. The lease
/// period of the M_Key, bits 208 to 223, is left alone.
constexpr std::array<Place, 11> kAddressSettable{Place{0, 64}, {64, 64}, {128, 16}, {144, 16},
                                                 {272, 2},     {277, 3}, {292, 4},  {300, 4},
                                                 {352, 48},    {409, 2}, {411, 5}};
constexpr u_int32_t kIsManager = 1U << 1U;  ///< of CapMsk: a subnet manager is here
}  // namespace port_info

enum PortState : unsigned { kStateDown = 1, kInitialize = 2, kArmed = 3, kActive = 4 };
enum PhysicalState : unsigned { kSleep = 1, kPolling = 2, kDisabled = 3, kLinkUp = 5 };

inline void copyFields(u_int8_t* to, const u_int8_t* from, Place place) { put(to, place, get(from, place)); }

}  // namespace drovik
