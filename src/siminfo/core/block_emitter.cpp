// The fast path of the generator. Nearly all of a generated file is assignment lines, a few dozen bytes each,
// and what a line costs is not its bytes but how often a stream is asked and how often the processor guesses
// wrong:
//  - Text is gathered in memory, where adding to it is a copy, and no stream is asked for a piece of a line.
//  - A line's head is copied as a slot of fixed size, and its digits are made all at once: neither loops over
//    a length that differs from line to line.
//  - The driver's own stream is such memory. Its text is already where it stays, and has no flushes to wait
//    for.
//  - Any other stream gets the lines one by one when the outermost emitter on it ends, each with its flush.
// So there is one way of composing a line, whatever it is written to.

#include "siminfo/core/block_emitter.h"

#include <bit>
#include <cstring>
#include <exception>
#include <typeinfo>

namespace siminfo {
namespace {

/// Buffers are kept for the next emitter of the thread: a fabric has millions of frames.
thread_local std::unique_ptr<StandIn> spare;

/// The memory in which the stream's text is gathered already, or null.
SectionBuffer* gathering(std::ostream& os) {
  std::streambuf* buffer = os.rdbuf();
  return buffer != nullptr && typeid(*buffer) == typeid(SectionBuffer) ? static_cast<SectionBuffer*>(buffer)
                                                                       : nullptr;
}

/// Puts another buffer behind a stream, and unlike std::ios::rdbuf leaves the state as it is: setting it back
/// would have the stream throw once more what it threw long ago. Derived streams alone have this door.
struct AnyStream : std::ios {
  static void setBuffer(std::ios& stream, std::streambuf* buffer) { (stream.*&AnyStream::set_rdbuf)(buffer); }
};

/// Gives a stream's buffer the lines one by one, each with its flush. False when it does not take them.
bool takesLines(std::streambuf& buffer, std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end == std::string_view::npos ? end : end + 1);
    const auto size = static_cast<std::streamsize>(line.size());
    if (buffer.sputn(line.data(), size) != size) return false;
    if (end != std::string_view::npos && buffer.pubsync() == -1) return false;
    text.remove_prefix(line.size());
  }
  return true;
}

/// The same with everything around it that a stream's own inserters do. std::ostream::sentry would do some of
/// it, but ends the process when a stream that flushes by itself cannot, and was told to throw.
void insertLines(std::ostream& os, std::string_view text) {
  if (os.good() && os.tie() != nullptr) os.tie()->flush();
  if (os.bad() || os.rdbuf() == nullptr) os.setstate(std::ios_base::failbit);
  if (!os.good()) return;
  try {
    std::streambuf& buffer = *os.rdbuf();
    const bool flushesByItself = (os.flags() & std::ios_base::unitbuf) != 0;
    if (takesLines(buffer, text) && (!flushesByItself || buffer.pubsync() != -1)) return;
  } catch (...) {
    try {
      os.setstate(std::ios_base::badbit);
    } catch (const std::ios_base::failure&) {  // what the buffer threw is what leaves
    }
    if ((os.exceptions() & std::ios_base::badbit) != 0) throw;
  }
  os.setstate(std::ios_base::badbit);
}

constexpr int kSlotIndent = 16;
constexpr unsigned kMostDigits = 16;
constexpr std::size_t kLine = kSlotIndent + AssignmentHead::kSlot + kMostDigits + 2;

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

/// Writes the digits and returns their end; up to kMostDigits bytes are touched.
inline char* putHex(char* to, Hex hex) {
  static_assert(std::endian::native == std::endian::little, "the first digit is in the lowest byte");
  std::uint64_t value = hex.value;
  const std::uint64_t leastDigits = std::uint64_t{1} << 4 * (hex.leastDigits - 1);
  const auto count = static_cast<unsigned>(std::bit_width(value | leastDigits) + 3) / 4;
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
  std::memset(to, ' ', kSlotIndent);
  to += indent;
  std::memcpy(to, head.text.data(), AssignmentHead::kSlot);
  to = putHex(to + head.length, {value});
  *to++ = ';';
  *to = '\n';
  return to + (endsLine ? 1 : 0);
}

}  // namespace

BlockEmitter::BlockEmitter(std::ostream& os) : os_(os) {
  os.setf(std::ios_base::dec, std::ios_base::basefield);
  if (os.good()) {
    os.width(0);
    text_ = gathering(os);
  }
  if (text_ == nullptr) standIn();
}

void BlockEmitter::standIn() {
  own_ = spare != nullptr ? std::move(spare) : std::make_unique<StandIn>();
  own_->text.clear();
  own_->standsFor = os_.rdbuf();
  own_->exceptionsBefore = std::uncaught_exceptions();
  text_ = &own_->text;
  AnyStream::setBuffer(os_, text_);
}

void BlockEmitter::handOver() {
  AnyStream::setBuffer(os_, own_->standsFor);
  const bool wasGivenUp = std::uncaught_exceptions() > own_->exceptionsBefore;
  if (!wasGivenUp) insertLines(os_, own_->text.text());
  spare = std::move(own_);
}

BlockEmitter& BlockEmitter::operator<<(Hex hex) {
  text_->commit(putHex(text_->reserve(kMostDigits), hex));
  return *this;
}

BlockEmitter& BlockEmitter::addSpaces(int count) {
  const auto size = static_cast<std::size_t>(std::max(count, 0));
  text_->commit(std::fill_n(text_->reserve(size), size, ' '));
  return *this;
}

void BlockEmitter::assignLine(int indent, const AssignmentHead& head, std::uint64_t value, bool endsLine) {
  if (static_cast<unsigned>(indent) > kSlotIndent) {
    indent = std::max(indent, 0);
    *this << Spaces{indent - kSlotIndent};
    indent = std::min(indent, kSlotIndent);
  }
  text_->commit(putLine(text_->reserve(kLine), indent, head, value, endsLine));
}

void BlockEmitter::assignElements(int indent, const Field& field, const void* record) {
  for (std::size_t i = 0; i < field.count; ++i) {
    *this << (i == 0 ? "" : "\n") << Spaces{indent} << "mad_buffer." << field.name << "[" << i << "] = 0x"
          << Hex{field.get(record, i)} << ";";
  }
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
