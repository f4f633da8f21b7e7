// A shared object to preload before libibumad: passes answers of simulated devices on, and alters some, so
// that a collector meets what a simulator cannot be told to do. What to alter stands in ALTER_ANSWERS, words
// separated by commas:
//   greedy    every switch says that it has 255 ports
//   places    every adapter says that the port it is asked through has number 255
//   stall     after 300 answers the fabric is dead, and "stalled" is said on standard error
//   hang      after 300 answers the program waits for ever, and "stalled" is said on standard error
#include <dlfcn.h>
#include <infiniband/mad.h>
#include <infiniband/umad.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <vector>

namespace {

bool isAltered(std::string_view word) {
  const char* words = std::getenv("ALTER_ANSWERS");
  return words != nullptr && std::string_view(words).find(word) != std::string_view::npos;
}

void set(void* data, MAD_FIELDS id, std::uint32_t value) { mad_set_field(data, 0, id, value); }

void alter(std::uint8_t* mad) {
  if (mad_get_field(mad, 0, IB_MAD_ATTRID_F) != IB_ATTR_NODE_INFO) return;
  std::uint8_t* data = mad + IB_SMP_DATA_OFFS;
  const bool isSwitch = mad_get_field(data, 0, IB_NODE_TYPE_F) == IB_NODE_SWITCH;
  if (isAltered("greedy") && isSwitch) set(data, IB_NODE_NPORTS_F, 255);
  if (isAltered("places") && !isSwitch) set(data, IB_NODE_LOCAL_PORT_F, 255);
}

int realReceive(int port, void* umad, int* length, int timeout) {
  static const auto real = reinterpret_cast<decltype(&umad_recv)>(dlsym(RTLD_NEXT, "umad_recv"));
  return real(port, umad, length, timeout);
}

/// Packets that went to the simulator, and that came back from it; for each one comes one.
unsigned sent = 0;
unsigned cameBack = 0;

/// Takes what is on its way still: the simulator's library does not survive a packet that comes to a port
/// that was closed.
void drain(int port) {
  constexpr int kWaitMs = 10000;
  std::vector<std::uint8_t> umad(umad_size() + IB_MAD_SIZE);
  for (; cameBack < sent; ++cameBack) {
    int length = IB_MAD_SIZE;
    if (realReceive(port, umad.data(), &length, kWaitMs) < 0) std::abort();
  }
}

/// From now on nothing is sent and nothing comes.
bool isStalled = false;

void stall(int port) {
  constexpr std::string_view kSaid = "stalled\n";
  isStalled = true;
  drain(port);
  if (write(STDERR_FILENO, kSaid.data(), kSaid.size()) < 0) std::abort();
  while (isAltered("hang")) pause();
}

}  // namespace

extern "C" int umad_send(int portid, int agentid, void* umad, int length, int timeout_ms, int retries) {
  static const auto real = reinterpret_cast<decltype(&umad_send)>(dlsym(RTLD_NEXT, "umad_send"));
  if (isStalled) return 0;
  ++sent;
  return real(portid, agentid, umad, length, timeout_ms, retries);
}

extern "C" int umad_recv(int portid, void* umad, int* length, int timeout_ms) {
  constexpr unsigned kLast = 300;
  static unsigned received = 0;
  if (received == kLast && !isStalled && (isAltered("stall") || isAltered("hang"))) stall(portid);
  auto* mad = static_cast<std::uint8_t*>(umad_get_mad(umad));
  const int agent = realReceive(portid, umad, length, timeout_ms);
  if (agent < 0) return agent;
  ++cameBack;
  if (umad_status(umad) != 0) return agent;
  ++received;
  alter(mad);
  return agent;
}
