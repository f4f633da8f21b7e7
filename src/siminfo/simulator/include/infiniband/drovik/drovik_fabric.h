#pragma once

// The attributes of simulated nodes: a record type for each, its packed image, and <Struct>_unpack and
// <Struct>_pack between the two. Unpacking takes the fields and, in `reserved`, all other bits along, and
// packing writes both back, so that what a dump does not assign stays the simulator's own. A record that was
// not unpacked has zeros there.

#include <sys/types.h>

#include <cstddef>
#include <cstring>

#include "bit_access.h"

namespace drovik {

/// A stored attribute, as it travels.
template <std::size_t Bytes>
struct Image {
  u_int8_t bytes[Bytes] = {};
};

}  // namespace drovik

#include "drovik_records.h"  // written by siminfo from its field tables
