#pragma once

#include <ostream>
#include <streambuf>
#include <string_view>
#include <vector>

namespace siminfo {

/// A stream that gathers text in memory and keeps its memory when it is cleared. A flush costs nothing here,
/// so generators may flush every line that they end and the file still gets its text in few large writes.
class SectionStream : public std::ostream {
 public:
  SectionStream() : std::ostream(nullptr) { rdbuf(&buffer_); }

  std::string_view text() const { return buffer_.text(); }
  void clearText() { buffer_.clear(); }

 private:
  class Buffer final : public std::streambuf {
   public:
    Buffer() : memory_(64 * 1024) { clear(); }
    std::string_view text() const { return {pbase(), pptr()}; }
    void clear() { setp(memory_.data(), memory_.data() + memory_.size()); }

   protected:
    int_type overflow(int_type character) override {
      const std::size_t used = text().size();
      memory_.resize(2 * memory_.size());
      clear();
      for (std::size_t left = used; left > 0;) {  // pbump counts in int
        const auto step = static_cast<int>(std::min<std::size_t>(left, 1U << 30U));
        pbump(step);
        left -= static_cast<std::size_t>(step);
      }
      return traits_type::eq_int_type(character, traits_type::eof())
                 ? traits_type::not_eof(character)
                 : sputc(traits_type::to_char_type(character));
    }

   private:
    std::vector<char> memory_;
  };

  Buffer buffer_;
};

}  // namespace siminfo
