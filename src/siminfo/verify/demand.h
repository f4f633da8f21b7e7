#pragma once

#include <string>

#include "siminfo/verify/facts.h"

namespace siminfo {

/// All that the rules ask of the frames of a node, its name apart, as a key: frames that are right for one
/// node are right for another one of the same demand, and wrong for any other.
std::string demandOf(const Facts& facts);

}  // namespace siminfo
