#include "siminfo/collect/port_choice.h"

#include <infiniband/umad.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "siminfo/collect/collect_error.h"
#include "siminfo/collect/mad_fields.h"

namespace siminfo {
namespace {

constexpr unsigned kActive = 4;  // of PortState

struct Candidate {
  HostPort port;
  std::string linkLayer;
  unsigned state = 0;
  unsigned physicalState = 0;

  bool isInfiniBand() const { return linkLayer.empty() || linkLayer == "InfiniBand" || linkLayer == "IB"; }
  std::string text() const {
    constexpr std::array<const char*, 5> kStates{"state unknown", "down", "initialize", "armed", "active"};
    std::string words = port.device + " port " + std::to_string(port.number) + " (";
    if (!linkLayer.empty()) words += linkLayer + ", ";
    return words + (state < kStates.size() ? kStates.at(state) : "state unknown") + ")";
  }
};

/// Ports 1 and up of every device, in the order in which libibumad names the devices.
std::vector<Candidate> candidates() {
  std::array<char[UMAD_CA_NAME_LEN], UMAD_MAX_DEVICES> names;
  const int count = umad_get_cas_names(names.data(), names.size());
  std::vector<Candidate> found;
  for (int device = 0; device < count; ++device) {
    umad_ca_t ca;
    if (umad_get_ca(names[static_cast<std::size_t>(device)], &ca) < 0) continue;
    for (const umad_port_t* port : ca.ports) {
      if (port != nullptr)
        found.push_back({{ca.ca_name, port->portnum}, port->link_layer, port->state, port->phys_state});
    }
    umad_release_ca(&ca);
  }
  return found;
}

std::string listed(const std::vector<Candidate>& ports) {
  std::string text;
  for (const Candidate& port : ports) text += (text.empty() ? "" : ", ") + port.text();
  return text;
}

/// `isLinkDown`: there are ports like the wanted one, all of them without a link.
[[noreturn]] void refuse(const std::string& device, int number, bool isLinkDown,
                         const std::vector<Candidate>& ports) {
  if (ports.empty())
    throw CollectError(CollectError::kNoPort,
                       "this host has no InfiniBand device; check that its driver is loaded ('ls "
                       "/sys/class/infiniband')");
  std::string text = "no InfiniBand port";
  if (!device.empty()) text += " of device " + device;
  if (number != 0) text += " with number " + std::to_string(number);
  if (isLinkDown) text += " whose link is up";
  text += "; this host has " + listed(ports) + "; ";
  if (isLinkDown)
    text += "check the cable, or choose a port with --Ca and --Port";
  else if (std::ranges::any_of(ports, &Candidate::isInfiniBand))
    text += "choose another one with --Ca and --Port";
  else
    text += "subnet management needs a port whose link layer is InfiniBand";
  throw CollectError(CollectError::kNoPort, text);
}

/// The file by which programs reach the port, such as /dev/infiniband/umad0, or an empty path.
std::filesystem::path deviceFile(const HostPort& port) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/sys/class/infiniband_mad", error)) {
    std::string device;
    int number = 0;
    std::ifstream(entry.path() / "ibdev") >> device;
    std::ifstream(entry.path() / "port") >> number;
    if (device == port.device && number == port.number &&
        entry.path().filename().string().starts_with("umad"))
      return "/dev/infiniband" / entry.path().filename();
  }
  return {};
}

}  // namespace

HostPort choosePort(const std::string& device, int number) {
  if (umad_init() < 0)
    throw CollectError(CollectError::kNoPort,
                       "the kernel has no management interface for InfiniBand devices; check that the module "
                       "ib_umad is loaded ('modprobe ib_umad')");
  const std::vector<Candidate> all = candidates();
  std::vector<Candidate> fit;
  std::ranges::copy_if(all, std::back_inserter(fit), [&](const Candidate& port) {
    return port.isInfiniBand() && (device.empty() || port.port.device == device) &&
           (number == 0 || port.port.number == number);
  });
  auto chosen = std::ranges::find(fit, kActive, &Candidate::state);
  if (chosen == fit.end()) chosen = std::ranges::find(fit, kLinkUp, &Candidate::physicalState);
  // A port that was named is taken as it is: the walk then ends at the local node.
  if (chosen == fit.end() && number != 0) chosen = fit.begin();
  if (chosen == fit.end()) refuse(device, number, !fit.empty(), all);
  return chosen->port;
}

std::string portFault(const HostPort& port) {
  const std::vector<Candidate> all = candidates();
  const auto found = std::ranges::find_if(all, [&](const Candidate& candidate) {
    return candidate.port.device == port.device && candidate.port.number == port.number;
  });
  const std::string name = found != all.end() ? found->text() : port.name();
  const std::filesystem::path file = deviceFile(port);
  if (file.empty() || access(file.c_str(), F_OK) != 0)
    return name +
           " has no management device (/dev/infiniband/umad*); check that the module ib_umad is loaded "
           "('modprobe ib_umad')";
  if (access(file.c_str(), R_OK | W_OK) != 0)
    return name + ": " + file.string() + ": " + std::generic_category().message(errno) +
           "; run as root, or let the user read and write that file";
  return name + ": " + file.string() +
         " cannot be opened for subnet management packets; check 'ibstat' and the kernel's log";
}

}  // namespace siminfo
