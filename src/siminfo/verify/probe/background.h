#pragma once

// What stored images hold before a set function runs, as the probe and whoever reads its output know it.

#include <string>

/// Every byte of the image of that name in run 0 or 1. A bit is set before one of the two runs and clear
/// before the other, so a number that is not assigned, or assigned where it should not be, is wrong in one of
/// them whatever its value. Images differ, so that reading another image than the one that is written shows.
inline unsigned char backgroundOf(const std::string& image, unsigned run) {
  unsigned hash = 0x5a;
  for (const char character : image) hash = 31 * hash + static_cast<unsigned char>(character);
  return static_cast<unsigned char>((run == 0 ? hash : ~hash) & 0xffU);
}
