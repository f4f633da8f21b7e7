// The fast path of the generator. Nearly all of a generated file is assignment lines, a few dozen bytes each,
// and what a line costs is not its bytes but how often a stream is asked and how often the processor guesses
// wrong:
//  - text is gathered in memory, where adding to it is a copy, and no stream is asked for a piece of a line;
//  - a line's head is copied as a slot of fixed size, and its digits are made all at once, so that neither
//  loops
//    over a length that differs from line to line;
//  - the driver's own stream is such memory: its text is already where it stays, and has no flushes to wait
//  for;
//  - any other stream gets the lines one by one when the outermost emitter on it ends, each with its flush.
// So there is one way of composing a line, whatever it is written to.

#include "siminfo/core/block_emitter.h"

#include <bit>
#include <cstring>
#include <exception>

namespace siminfo {
namespace {

/// Buffers are kept for the next emitter of the thread: a fabric has millions of frames.
thread_local std::unique_ptr<SectionBuffer> spare;

/// Where a stream keeps the text that emitters gather for it.
void*& gathered(std::ostream& os) {
  static const int slot = std::ios_base::xalloc();
  return os.pword(slot);
}

constexpr std::size_t kMostIndent = 16;
constexpr std::size_t kMostDigits = 16;
constexpr std::size_t kLine = kMostIndent + AssignmentHead::kSlot + kMostDigits + 2;

/// Eight hexadecimal digits of a value, most significant first: each half byte is moved into a byte of its
/// own, and all bytes are turned into characters at once.
std::uint64_t eightDigits(std::uint32_t value) {
  std::uint64_t digits = value;
  digits = (digits << 32U | digits >> 16U) & 0x0000ffff0000ffffU;
  digits = (digits << 16U | digits >> 8U) & 0x00ff00ff00ff00ffU;
  digits = (digits << 8U | digits >> 4U) & 0x0f0f0f0f0f0f0f0fU;
  const std::uint64_t isLetter = ((digits + 0x0606060606060606U) >> 4U) & 0x0101010101010101U;
  return digits + 0x3030303030303030U + isLetter * ('a' - '0' - 10);
}

/// Writes the value's digits and returns their end; up to kMostDigits bytes are touched.
char* putHex(char* to, std::uint64_t value) {
  static_assert(std::endian::native == std::endian::little, "the first digit is in the lowest byte");
  const auto count = static_cast<unsigned>(std::bit_width(value | 1U) + 3) / 4;
  value <<= 64 - 4 * count;
  const std::uint64_t first = eightDigits(static_cast<std::uint32_t>(value >> 32U));
  std::memcpy(to, &first, sizeof first);
  if (count > 8) {
    const std::uint64_t second = eightDigits(static_cast<std::uint32_t>(value));
    std::memcpy(to + 8, &second, sizeof second);
  }
  return to + count;
}

char* putLine(char* to, int indent, const AssignmentHead& head, std::uint64_t value, bool endsLine) {
  std::memset(to, ' ', kMostIndent);
  to += indent;
  std::memcpy(to, head.text.data(), AssignmentHead::kSlot);
  to = putHex(to + head.length, value);
  *to++ = ';';
  *to = '\n';
  return to + (endsLine ? 1 : 0);
}

}  // namespace

SectionStream::SectionStream() : std::ostream(nullptr) {
  rdbuf(&buffer_);
  gathered(*this) = &buffer_;
}

BlockEmitter::BlockEmitter(std::ostream& os) : os_(os) {
  os.setf(std::ios_base::dec, std::ios_base::basefield);
  void*& text = gathered(os);
  if (text == nullptr) {
    constexpr std::size_t kFrame = 4096;  // most frames fit, and for others it grows
    own_ = spare != nullptr ? std::move(spare) : std::make_unique<SectionBuffer>(kFrame);
    own_->clear();
    text = own_.get();
  }
  text_ = static_cast<SectionBuffer*>(text);
}

void BlockEmitter::handOver() {
  gathered(os_) = nullptr;
  if (std::uncaught_exceptions() > 0) return;  // of a frame that was given up
  std::streambuf& to = *os_.rdbuf();
  std::string_view text = own_->text();
  while (os_.good() && !text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end == std::string_view::npos ? end : end + 1);
    const auto size = static_cast<std::streamsize>(line.size());
    if (to.sputn(line.data(), size) != size || (end != std::string_view::npos && to.pubsync() == -1))
      os_.setstate(std::ios_base::badbit);
    text.remove_prefix(line.size());
  }
  spare = std::move(own_);
}

BlockEmitter& BlockEmitter::operator<<(Hex hex) {
  text_->commit(putHex(text_->reserve(kMostDigits), hex.value));
  return *this;
}

void BlockEmitter::assignLine(int indent, const AssignmentHead& head, std::uint64_t value, bool endsLine) {
  text_->commit(putLine(text_->reserve(kLine), indent, head, value, endsLine));
}

void BlockEmitter::open(std::string_view record, std::string_view image) {
  // clang-format off
  *this << "    " << record << " mad_buffer = {0};\n"
        << "    " << record << "_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(" << image << "));\n"
        << "\n";
  // clang-format on
}

void BlockEmitter::close(std::string_view record, std::string_view image) {
  *this << "\n\n"
        << "    " << record << "_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(" << image << "));";
}

}  // namespace siminfo
