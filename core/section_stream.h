#pragma once

#include <algorithm>
#include <cstring>
#include <ostream>
#include <streambuf>
#include <string_view>
#include <vector>

namespace siminfo {

/// A stream that gathers text in memory and keeps its memory when it is cleared. A flush does nothing here, so
/// generators may flush every line that they end and the file still gets its text in few large writes.
class SectionStream final : public std::ostream {
 public:
  SectionStream() : std::ostream(nullptr) { rdbuf(&buffer_); }

  std::string_view text() const { return buffer_.text(); }
  void clearText() { buffer_.clear(); }

  /// The same as writing the text to the stream, without asking the stream.
  void append(std::string_view text) {
    char* to = reserve(text.size());
    std::memcpy(to, text.data(), text.size());
    commit(to + text.size());
  }
  /// Memory for the next `size` bytes of text, and the end of what was put there.
  char* reserve(std::size_t size) { return buffer_.reserve(size); }
  void commit(const char* textEnd) { buffer_.commit(textEnd); }

 private:
  class Buffer final : public std::streambuf {
   public:
    Buffer() : memory_(64UL * 1024) { clear(); }
    std::string_view text() const { return {pbase(), pptr()}; }
    void clear() { setp(memory_.data(), memory_.data() + memory_.size()); }
    char* reserve(std::size_t size) {
      if (static_cast<std::size_t>(epptr() - pptr()) < size) grow(size);
      return pptr();
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
      std::size_t used = text().size();
      memory_.resize(std::max(2 * memory_.size(), used + atLeast));
      clear();
      for (constexpr std::size_t kStep = 1UL << 30U; used > 0; used -= std::min(used, kStep))
        pbump(static_cast<int>(std::min(used, kStep)));  // which counts in int
    }

    std::vector<char> memory_;
  };

  Buffer buffer_;
};

}  // namespace siminfo
