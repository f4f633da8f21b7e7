#pragma once

#include <string>

namespace siminfo {

/// A port of this host.
struct HostPort {
  std::string device;  ///< such as "mlx4_0"
  int number = 0;

  std::string name() const { return device + "/" + std::to_string(number); }
};

/// The InfiniBand port to collect through: the given device and port, or the first active port, or else the
/// first whose link is up. An empty device and a number of 0 leave the choice open. Throws a CollectError
/// that says what there is and what to check.
HostPort choosePort(const std::string& device, int number);

/// Why the port cannot be opened or used, as far as that can be told from here, and what to check.
std::string portFault(const HostPort& port);

}  // namespace siminfo
