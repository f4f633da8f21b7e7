#pragma once

#include <string>

namespace siminfo {

/// This host's name as the system has it, cut at 1023 bytes; empty when it has none. Whoever sets it may put
/// any bytes into it.
std::string hostName();

}  // namespace siminfo
