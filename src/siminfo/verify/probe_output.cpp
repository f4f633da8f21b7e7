#include "siminfo/verify/probe_output.h"

#include <charconv>
#include <optional>
#include <sstream>

namespace siminfo {
namespace {

/// Nothing when these are no digits of whole bytes.
std::optional<std::vector<std::uint8_t>> parseBytes(std::string_view digits) {
  if (digits.size() % 2 != 0) return std::nullopt;
  std::vector<std::uint8_t> bytes(digits.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char* begin = digits.data() + 2 * i;
    if (std::from_chars(begin, begin + 2, bytes[i], 16).ptr != begin + 2) return std::nullopt;
  }
  return bytes;
}

/// The run that the line begins; null when it begins none, or that of a device which the unit does not have.
FrameRun* beginRun(const std::string& line, UnitResult& result) {
  std::istringstream words(line);
  words.exceptions(std::ios_base::badbit);  // want of memory is no other line
  std::string word;
  std::size_t device = 0;
  std::string method;
  unsigned number = 0;
  words >> word >> device >> method >> number;
  if (!words || device >= result.devices.size()) return nullptr;
  return &result.devices[device].frames[method].emplace_back(FrameRun{number, {}, false});
}

}  // namespace

std::size_t readRuns(std::istream& printed, UnitResult& result) {
  FrameRun* run = nullptr;
  std::size_t frames = 0;
  for (std::string line; std::getline(printed, line);) {
    if (line.starts_with("frame ")) {
      FrameRun* begun = beginRun(line, result);
      if (begun == nullptr) continue;
      run = begun;
      if (run->number == 0) ++frames;
    } else if (run == nullptr) {
      continue;
    } else if (line == "end") {
      run->ended = true;
    } else if (const std::size_t colon = line.find(": "); colon != std::string::npos) {
      if (auto bytes = parseBytes(std::string_view(line).substr(colon + 2)))
        run->images[line.substr(0, colon)] = std::move(*bytes);
    }
  }
  return frames;
}

}  // namespace siminfo
