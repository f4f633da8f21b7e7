#include "siminfo/snapshot/written_record.h"

#include <bit>
#include <cstring>
#include <string>

namespace siminfo {
namespace {

static_assert(std::endian::native == std::endian::little, "the first character is in the lowest byte");

constexpr std::uint64_t kEveryByte = 0x0101010101010101U;
constexpr std::uint64_t kHighBits = 0x80 * kEveryByte;

std::uint64_t loadWord(const char* from) {
  std::uint64_t word = 0;
  std::memcpy(&word, from, sizeof word);
  return word;
}

/// High bits of the bytes that are at least `first`; all bytes and `first` must be below 0x80.
constexpr std::uint64_t atLeast(std::uint64_t word, unsigned first) {
  return (word + (0x80 - first) * kEveryByte) & kHighBits;
}

/// Number of bytes before the first whose high bit is not set, 8 if there is none.
unsigned leading(std::uint64_t highBits) {
  return static_cast<unsigned>(std::countr_one(highBits | ~kHighBits)) / 8;
}

/// The first `count` characters, 1 to 8, moved up so that zeros stand before them.
std::uint64_t aligned(std::uint64_t word, unsigned count) { return word << (64 - 8 * count); }

/// Up to eight decimal digits at `text`; moves it behind them. False when there is none, or a leading zero.
bool readDecimal(const char*& text, std::uint64_t& value) {
  const std::uint64_t word = loadWord(text);
  const std::uint64_t plain = word & ~kHighBits;
  const unsigned count = leading(atLeast(plain, '0') & ~atLeast(plain, '9' + 1) & ~word);
  if (count == 0 || (count > 1 && *text == '0')) return false;
  std::uint64_t digits = aligned(word, count) & 0x0f0f0f0f0f0f0f0fU;
  digits = digits * 10 + (digits >> 8U);  // pairs, then fours, then all eight
  digits = ((digits & 0x000000ff000000ffU) * 0x000f424000000064U +
            ((digits >> 16U) & 0x000000ff000000ffU) * 0x0000271000000001U) >>
           32U;
  value = digits & 0xffffffffU;
  text += count;
  return true;
}

/// Up to eight lower-case hexadecimal digits at `text`; moves it behind them and returns their number.
unsigned readHexWord(const char*& text, std::uint64_t& value) {
  const std::uint64_t word = loadWord(text);
  const std::uint64_t plain = word & ~kHighBits;
  const std::uint64_t isDigit = atLeast(plain, '0') & ~atLeast(plain, '9' + 1);
  const std::uint64_t isLetter = atLeast(plain, 'a') & ~atLeast(plain, 'f' + 1);
  const unsigned count = leading((isDigit | isLetter) & ~word);
  if (count == 0) return 0;
  std::uint64_t halves = (word & 0x0f0f0f0f0f0f0f0fU) + 9 * (isLetter >> 7U);
  halves = aligned(halves, count);
  halves = (halves << 4U | halves >> 8U) & 0x00ff00ff00ff00ffU;
  halves = (halves << 8U | halves >> 16U) & 0x0000ffff0000ffffU;
  value = (halves << 16U | halves >> 32U) & 0xffffffffU;
  text += count;
  return count;
}

/// A quoted "0x" and 1 to 16 digits; moves `text` behind the closing quote. False for anything else.
bool readQuotedHex(const char*& text, std::uint64_t& value) {
  if (std::memcmp(text, "\"0x", 3) != 0) return false;
  text += 3;
  const unsigned first = readHexWord(text, value);
  if (first == 0) return false;
  if (first == 8) {
    std::uint64_t rest = 0;
    const unsigned second = readHexWord(text, rest);
    value = value << (4 * second) | rest;
  }
  return *text++ == '"';
}

}  // namespace

WrittenRecord::WrittenRecord(std::span<const Field> fields) {
  for (const Field& field : fields) {
    std::string key(members_.empty() ? "{" : ",");
    key.append("\"").append(field.name).append("\":");
    Member member{{}, 0, 0, static_cast<std::uint8_t>(key.size()), field};
    if (!field.isNumber() || key.size() > sizeof member.key) {
      members_.clear();
      return;
    }
    std::memcpy(member.key.data(), key.data(), key.size());
    member.words = static_cast<std::uint8_t>((key.size() + 7) / 8);
    member.lastMask = ~std::uint64_t{0} >> (64 - 8 * (key.size() - 8 * (member.words - 1U)));
    members_.push_back(member);
  }
}

bool WrittenRecord::read(const char* text, void* to) const {
  for (const Member& member : members_) {
    std::uint64_t difference =
        (loadWord(text + 8UL * (member.words - 1)) ^ member.key[member.words - 1U]) & member.lastMask;
    for (std::size_t i = 0; i + 1 < member.words; ++i) difference |= loadWord(text + 8 * i) ^ member.key[i];
    if (difference != 0) return false;
    text += member.length;
    std::uint64_t value = 0;
    const bool isRead = member.field.bits > 32 ? readQuotedHex(text, value) : readDecimal(text, value);
    if (!isRead || value > member.field.maximum()) return false;
    member.field.set(to, value);
  }
  return !members_.empty() && *text == '}';
}

}  // namespace siminfo
