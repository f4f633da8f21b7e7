#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "siminfo/core/records/field.h"

namespace siminfo {

/// Reads records as this program writes them: every field once, in the order of the table, without white
/// space, 64-bit fields as "0x..." and others as numbers. Nearly all of a snapshot is such text, and to
/// compare it with what is expected takes less than half the time of parsing it. Whatever is spelled in any
/// other way, right or wrong, is left to the parser.
class WrittenRecord {
 public:
  /// Records with fields that are no single numbers are never read here.
  explicit WrittenRecord(std::span<const Field> fields);

  /// Fills the record at `to` from the text that begins with its opening brace. False when the text is not
  /// spelled so; then the record may be filled in part. Touches up to kReadAhead bytes behind the text.
  bool read(const char* text, void* to) const;

  static constexpr std::size_t kReadAhead = 64;

 private:
  struct Member {
    std::array<std::uint64_t, 7> key;  ///< separator, quoted name and colon; zero behind its end
    std::uint64_t lastMask;            ///< the bytes of the last word that belong to the key
    std::uint8_t words;
    std::uint8_t length;
    Field field;
  };

  std::vector<Member> members_;
};

}  // namespace siminfo
