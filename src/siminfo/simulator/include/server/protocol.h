#pragma once

// The messages between a program under libumad2sim.so and the simulator that it asks: datagrams of two sizes
// in the numbers of this machine, between sockets of the abstract namespace. NAME:ctl takes control messages;
// a client whose process is PID answers to NAME:ctlPID and NAME:inPID, and has NAME:out<i> to itself.

#include <sys/types.h>

namespace drovik {

struct ControlMessage {
  u_int32_t magic;
  u_int32_t client;
  u_int32_t type;
  u_int32_t length;
  u_int8_t data[64];
};
static_assert(sizeof(ControlMessage) == 80, "as clients send it");

constexpr u_int32_t kControlMagic = 0xdeadbeef;
enum ControlType : u_int32_t {
  kControlRefused = 0,  ///< in answers alone
  kConnect = 1,
  kDisconnect = 2,
  kAskPort = 3,
  kAskVendor = 4,
  kAskGid = 5,
  kAskGuid = 6,
  kAskNodeInfo = 7,
  kAskPortInfo = 8,
  kSetManager = 9,
  kAskKeys = 10,
};

/// The data of a connect message. Its answer has the client's number in place of the process.
struct ConnectData {
  u_int32_t process;
  u_int32_t queuePair;
  u_int32_t isManager;
  char node[32];  ///< where the client wants to be, by name or GUID; may be empty
};

/// A MAD on its way. LIDs are two bytes as they travel.
struct MadMessage {
  u_int8_t destination[4];
  u_int8_t source[4];
  u_int8_t destinationQueuePair[4];
  u_int8_t sourceQueuePair[4];
  u_int8_t status[4];  ///< a number as it travels: 0, or an error of the system
  u_int32_t unused;
  u_int8_t length[8];  ///< of the MAD, as it travels
  u_int8_t mad[256];
};
static_assert(sizeof(MadMessage) == 288, "as clients send it");

constexpr u_int8_t kErrorTimedOut = 110;  ///< a status: nothing answered

/// As much of a MAD as Debian's libumad2sim.so keeps (288 bytes less its own header of 64). It hands on as
/// many bytes as `length` says, the rest of them from whatever lies behind in its memory.
constexpr u_int64_t kKeptLength = 224;
constexpr unsigned kMostClients = 10;

}  // namespace drovik
