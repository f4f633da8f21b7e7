// The fast path of the generator. Nearly all of a generated file is assignment lines, a few dozen bytes each, and
// what a line costs is not its bytes but how often a stream is asked and how often the processor guesses wrong:
//  - a line is composed in one piece and handed over in one call;
//  - its head is copied as a slot of fixed size, and its digits are made all at once, so that neither loops over a
//    length that differs from line to line;
//  - the driver's own stream is known by its type, and then lines are composed where they stay and not flushed.
// Streams of other types get the same bytes from the same composer, and their flush after every line end.

#include "core/block_emitter.h"

#include <bit>
#include <cstring>
#include <typeinfo>

#include "core/section_stream.h"

namespace siminfo {
namespace {

constexpr std::size_t kMostIndent = 16;
constexpr std::size_t kMostDigits = 16;
constexpr std::size_t kLine = kMostIndent + AssignmentHead::kSlot + kMostDigits + 2;

/// Eight hexadecimal digits of a value, most significant first: each half byte is moved into a byte of its own, and
/// all bytes are turned into characters at once.
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

BlockEmitter::BlockEmitter(std::ostream& os)
    : os_(os), section_(typeid(os) == typeid(SectionStream) ? static_cast<SectionStream*>(&os) : nullptr) {
  os.setf(std::ios_base::dec, std::ios_base::basefield);
}

void BlockEmitter::put(std::string_view piece) {
  if (section_ != nullptr) return section_->append(piece);
  if (!os_.good()) return;
  const auto size = static_cast<std::streamsize>(piece.size());
  if (os_.rdbuf()->sputn(piece.data(), size) != size) os_.setstate(std::ios_base::badbit);
}

void BlockEmitter::flush() {
  if (section_ == nullptr && os_.good() && os_.rdbuf()->pubsync() == -1) os_.setstate(std::ios_base::badbit);
}

BlockEmitter& BlockEmitter::operator<<(std::string_view text) {
  if (section_ != nullptr) {
    section_->append(text);
    return *this;
  }
  for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
    put(text.substr(0, end + 1));
    flush();
    text.remove_prefix(end + 1);
  }
  if (!text.empty()) put(text);
  return *this;
}

BlockEmitter& BlockEmitter::operator<<(Hex hex) {
  std::array<char, kMostDigits> digits;
  put({digits.data(), putHex(digits.data(), hex.value)});
  return *this;
}

void BlockEmitter::assignLine(int indent, const AssignmentHead& head, std::uint64_t value, bool endsLine) {
  if (section_ != nullptr) {
    section_->commit(putLine(section_->reserve(kLine), indent, head, value, endsLine));
    return;
  }
  std::array<char, kLine> line;
  put({line.data(), putLine(line.data(), indent, head, value, endsLine)});
  if (endsLine) flush();
}

void BlockEmitter::open(const BlockTarget& target) {
  // clang-format off
  *this << "    " << target.record << " mad_buffer = {0};\n"
        << "    " << target.record << "_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(" << target.image << "));\n"
        << "\n";
  // clang-format on
}

void BlockEmitter::close(const BlockTarget& target) {
  *this << "\n\n"
        << "    " << target.record << "_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(" << target.image << "));";
}

}  // namespace siminfo
