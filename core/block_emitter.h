#pragma once

#include <algorithm>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <iterator>
#include <ostream>
#include <span>
#include <string_view>

#include "core/records/field.h"

namespace siminfo {

/// A value as generated source spells it: lower-case hexadecimal without leading zeros. "0x" is not part of
/// it.
struct Hex {
  std::uint64_t value;
};

/// What is printed as a decimal number, whatever its width; characters and truth values are not.
template <class Int>
concept Number = std::integral<Int> && !std::same_as<Int, bool> && !std::same_as<Int, char>;

/// Where an attribute block finds the simulated node's stored image: "SMP_NodeInfo" in "&m_node->nodeInfo".
struct BlockTarget {
  std::string_view record;
  std::string_view image;
};

/// Writes generated source to the stream that a generator was given.
///
/// Every '\n' ends a line: it is written and the stream is flushed. Numbers are spelled here and not by the
/// stream, so neither its flags nor its locale show in the output. The stream is left in decimal, and is
/// marked bad when it does not take what it is given.
class BlockEmitter {
 public:
  explicit BlockEmitter(std::ostream& os) : os_(os) { os.setf(std::ios_base::dec, std::ios_base::basefield); }

  BlockEmitter& operator<<(std::string_view text);
  BlockEmitter& operator<<(Hex hex);
  template <Number Int>
  BlockEmitter& operator<<(Int number) {
    char digits[20];
    put({digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr});
    return *this;
  }

  /// "mad_buffer.<name> = 0x<value>;" at `indent` spaces, without a line end.
  void assign(int indent, std::string_view name, std::uint64_t value);
  /// One assignment line for each field of the record's table, with line ends between the lines and none
  /// after the last.
  template <class Record>
  void assignAll(int indent, const Record& record) {
    static_assert(std::ranges::all_of(kFields<Record>, [](const Field& field) { return field.isNumber(); }),
                  "the record has a field that needs lines of its own");
    assignAll(indent, kFields<Record>, &record);
  }

  /// The head of a node-level block: the declaration, the unpack line and an empty line.
  void open(const BlockTarget& target);
  /// Its end after a finished line: an empty line and the pack line, which is left open.
  void close(const BlockTarget& target);
  /// A whole node-level block that assigns every field of the record.
  template <class Record>
  void block(const BlockTarget& target, const Record& record) {
    open(target);
    assignAll(4, record);
    *this << "\n";
    close(target);
  }

 private:
  void assignAll(int indent, std::span<const Field> fields, const void* record);
  void assignLine(int indent, std::string_view name, std::uint64_t value, std::string_view end);
  void put(std::string_view piece);

  std::ostream& os_;
};

}  // namespace siminfo
