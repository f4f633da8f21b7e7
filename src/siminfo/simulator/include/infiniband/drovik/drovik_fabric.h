#pragma once

// The attributes of simulated nodes: a record type for each, its packed image, and <Struct>_unpack and
// <Struct>_pack between the two. Packing writes the record's fields and leaves every other bit of the image
// as it is, so that what a dump does not assign stays the simulator's own.

#include <sys/types.h>

#include <cstddef>

#include "bit_access.h"

namespace drovik {

/// A stored attribute, as it travels.
template <std::size_t Bytes>
struct Image {
  u_int8_t bytes[Bytes] = {};
};

}  // namespace drovik

#include "drovik_records.h"  // written by siminfo from its field tables
