#pragma once

#include <string>

#include "siminfo/collect/walked_fabric.h"

namespace siminfo {

/// Reads the file that `ibnetdiscover --cache` wrote. Every count, number and reference in it is checked
/// before it is used: such files are passed around, and the library that writes them trusts what it reads.
/// Throws a CollectError that says where the file is wrong.
WalkedFabric readDiscoveryCache(const std::string& fileName);

}  // namespace siminfo
