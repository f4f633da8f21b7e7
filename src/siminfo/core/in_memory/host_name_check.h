#pragma once

#include <string>

namespace siminfo {

/// Why no source may be written on this host, whose name stands on a line of it; empty when it may. A line
/// comment that the name escapes from would turn the rest of the name into code.
std::string hostNameFault();

}  // namespace siminfo
