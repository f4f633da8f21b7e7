#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace siminfo {

/// Nothing could be collected.
class CollectError : public std::runtime_error {
 public:
  enum Kind : std::uint8_t {
    kNoPort,   ///< or no fabric behind it
    kBadFile,  ///< a file cannot be read, or is not what it should be
  };
  CollectError(Kind kind, const std::string& what) : std::runtime_error(what), kind_(kind) {}
  Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

}  // namespace siminfo
