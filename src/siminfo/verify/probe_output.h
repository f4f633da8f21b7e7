#pragma once

#include <cstdint>
#include <istream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace siminfo {

/// The stored images that a set function changed, by name.
using ChangedImages = std::map<std::string, std::vector<std::uint8_t>>;

/// One run of a set function on a fresh node that held what verify/probe/background.h says.
struct FrameRun {
  unsigned number;  ///< 0 or 1
  ChangedImages images;
  bool ended = false;  ///< false when the program was gone before the function returned
};

/// What came of a device's functions.
struct DeviceRuns {
  std::map<std::string_view, std::string> broken;  ///< frames that do not compile: the compiler's words
  std::map<std::string, std::vector<FrameRun>, std::less<>> frames;
  std::string unreached;  ///< what became of a program that came to no function; empty where all were called
};

struct UnitResult {
  std::vector<DeviceRuns> devices;  ///< as in the unit
  /// Why the file does not compile as it is, though each of its frames does; empty when it does, or when that
  /// was not asked for.
  std::string fileFault;
};

/// Reads what a compiled unit printed: "frame <device> <method> <run>", a line an image, "end". Adds it to
/// the devices, of which the result has as many as the unit, and returns the number of frames that were
/// begun. A unit is made of the text that is verified, and may print anything: lines of another form are left
/// alone.
std::size_t readRuns(std::istream& printed, UnitResult& result);

}  // namespace siminfo
