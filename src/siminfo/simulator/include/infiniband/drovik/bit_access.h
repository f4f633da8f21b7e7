#pragma once

// Fields of an attribute's packed image. Images are big-endian, as they travel: bit 0 is the top bit of the
// first byte, and a field is given by its first bit and its width.

#include <sys/types.h>

#include <cstddef>

namespace drovik {

/// The field's value; `width` is at most 64.
inline u_int64_t getBits(const u_int8_t* image, std::size_t bit, std::size_t width) {
  u_int64_t value = 0;
  for (std::size_t at = bit; at < bit + width; ++at)
    value = value << 1U | (static_cast<unsigned>(image[at / 8]) >> (7U - at % 8) & 1U);
  return value;
}

/// Stores the low `width` bits of the value and leaves all others of the image as they are.
inline void setBits(u_int8_t* image, std::size_t bit, std::size_t width, u_int64_t value) {
  for (std::size_t at = bit + width; at-- > bit; value >>= 1U) {
    const unsigned mask = 0x80U >> at % 8;
    const unsigned others = image[at / 8] & ~mask;
    image[at / 8] = static_cast<u_int8_t>((value & 1U) != 0 ? others | mask : others);
  }
}

}  // namespace drovik
