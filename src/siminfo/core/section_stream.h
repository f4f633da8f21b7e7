#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string_view>

namespace siminfo {

/// Text that grows in memory, written through a stream or piece by piece. A flush does nothing here.
class SectionBuffer final : public std::streambuf {
 public:
  explicit SectionBuffer(std::size_t capacity)
      : capacity_(capacity), memory_(std::make_unique_for_overwrite<char[]>(capacity)) {
    clear();
  }

  std::string_view text() const { return {pbase(), pptr()}; }
  void clear() { setp(memory_.get(), memory_.get() + capacity_); }

  void append(std::string_view text) { commit(std::copy(text.begin(), text.end(), reserve(text.size()))); }
  /// Memory for the next `size` bytes of text; commit takes the end of what was put there.
  char* reserve(std::size_t size) {
    if (static_cast<std::size_t>(epptr() - pptr()) < size) grow(size);
    return pptr();
  }
  /// Exchanges a piece of the text for one that is not longer.
  void replace(std::size_t at, std::size_t size, std::string_view with) {
    char* to = std::copy(with.begin(), with.end(), pbase() + at);
    const char* rest = pbase() + at + size;
    std::memmove(to, rest, static_cast<std::size_t>(pptr() - rest));
    commit(to + (pptr() - rest));
  }
  void commit(const char* textEnd) { pbump(static_cast<int>(textEnd - pptr())); }

 protected:
  int_type overflow(int_type character) override {
    grow(1);
    if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
    return sputc(traits_type::to_char_type(character));
  }

 private:
  void grow(std::size_t atLeast) {
    const std::string_view old = text();
    std::size_t used = old.size();
    capacity_ = std::max(2 * capacity_, used + atLeast);
    auto larger = std::make_unique_for_overwrite<char[]>(capacity_);
    std::memcpy(larger.get(), old.data(), used);
    memory_ = std::move(larger);
    clear();
    for (constexpr std::size_t kStep = 1UL << 30U; used > 0; used -= std::min(used, kStep))
      pbump(static_cast<int>(std::min(used, kStep)));  // which counts in int
  }

  std::size_t capacity_;
  std::unique_ptr<char[]> memory_;
};

/// A stream over such a text. Generators may flush every line that they end, and the file still gets its text
/// in few large writes. It keeps its memory when it is cleared.
class SectionStream final : public std::ostream {
 public:
  SectionStream() : std::ostream(nullptr) { rdbuf(&buffer_); }

  std::string_view text() const { return buffer_.text(); }
  void clearText() { buffer_.clear(); }
  void replace(std::size_t at, std::size_t size, std::string_view with) { buffer_.replace(at, size, with); }

 private:
  SectionBuffer buffer_{64UL * 1024};
};

}  // namespace siminfo
