#pragma once

// What fuzz targets share. A target is a function that takes any bytes and ends the process when a promise is
// broken: by an assertion of its own, or by what a sanitizer finds.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace siminfo {

struct FuzzTarget {
  std::string_view name;  ///< of its folder of seeds as well
  void (*run)(std::string_view bytes);
  friend std::ostream& operator<<(std::ostream& out, const FuzzTarget& target) { return out << target.name; }
};

/// All of them.
std::span<const FuzzTarget> fuzzTargets();

/// Ends the process unless it holds. `promise` is what was broken.
inline void require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

/// The bytes as a file, for readers that open one.
class FuzzFile {
 public:
  explicit FuzzFile(std::string_view bytes) : handle_(memfd_create("fuzz", MFD_CLOEXEC)) {
    const ssize_t size = handle_ < 0 ? -1 : write(handle_, bytes.data(), bytes.size());
    if (size != static_cast<ssize_t>(bytes.size())) throw std::runtime_error("a file in memory");
  }
  ~FuzzFile() { close(handle_); }
  FuzzFile(const FuzzFile&) = delete;
  FuzzFile& operator=(const FuzzFile&) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(handle_); }

 private:
  int handle_;
};

/// Takes decisions from the bytes, one after the other; zeros when they have run out.
class FuzzBytes {
 public:
  explicit FuzzBytes(std::string_view bytes) : rest_(bytes) {}

  bool isOver() const { return rest_.empty(); }
  std::uint8_t byte() { return static_cast<std::uint8_t>(take(1)[0]); }
  std::uint32_t number() {
    std::uint32_t value = 0;
    for (const char byte : take(4)) value = value << 8U | static_cast<std::uint8_t>(byte);
    return value;
  }
  /// From 0 up to the bound, which is not reached; 0 when the bound is.
  std::size_t below(std::size_t bound) { return bound == 0 ? 0 : number() % bound; }
  /// Exactly so many bytes.
  std::string take(std::size_t size) {
    std::string taken(rest_.substr(0, size));
    rest_.remove_prefix(taken.size());
    taken.resize(size);
    return taken;
  }

 private:
  std::string_view rest_;
};

}  // namespace siminfo
