#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <memory>
#include <ostream>
#include <string_view>
#include <utility>

#include "siminfo/core/records/field.h"
#include "siminfo/core/section_stream.h"

namespace siminfo {

/// A value as generated source spells it: lower-case hexadecimal, without the "0x" before it and without
/// leading zeros unless it takes them to have `leastDigits`, which is from 1 to 16.
struct Hex {
  std::uint64_t value;
  unsigned leastDigits = 1;
};

/// So many spaces; a negative number is none.
struct Spaces {
  int count;
};

/// What is printed as a decimal number, whatever its width; characters and truth values are not.
template <class Int>
concept Number = std::integral<Int> && !std::same_as<Int, bool> && !std::same_as<Int, char>;

/// What stands before the value on an assignment line, in a slot that is copied as a whole, however long.
struct AssignmentHead {
  static constexpr std::size_t kSlot = 64;
  std::array<char, kSlot> text{};
  std::size_t length = 0;

  consteval AssignmentHead(const char* name) : AssignmentHead(std::string_view(name)) {}
  consteval AssignmentHead(std::string_view name) {
    for (const std::string_view piece : {std::string_view("mad_buffer."), name, std::string_view(" = 0x")}) {
      if (length + piece.size() > kSlot) throw "the name does not fit the slot";
      std::copy(piece.begin(), piece.end(), text.begin() + length);
      length += piece.size();
    }
  }
};

/// The heads of a record's assignment lines, in the order of its table.
template <class Record>
inline constexpr auto kAssignmentHeads = []<std::size_t... I>(std::index_sequence<I...>) {
  return std::array{AssignmentHead(kFields<Record>[I].name)...};
}
(std::make_index_sequence<kFields<Record>.size()>{});

/// The buffer of a stream while emitters gather its text.
struct StandIn {
  SectionBuffer text{4096};  // most frames fit, and for others it grows
  std::streambuf* standsFor = nullptr;
  int exceptionsBefore = 0;  // that were under way when it took its place
};

/// Writes generated source to the stream that a generator was given.
///
/// Every '\n' ends a line: it is written and the stream is flushed. The stream's buffer has all of it when
/// the emitter ends, or the outermost one where a generator calls another on the same stream; until then a
/// buffer of the emitter's own stands in for it, so what anybody else writes to the stream meanwhile keeps
/// its place. When an exception ends the outermost emitter, the frame was given up and nothing of it is
/// written.
///
/// A stream is treated as by its own inserters: one that is not good gets nothing, one that cannot take the
/// text is marked bad, and an exception leaves this class when the stream was told to throw, and not else.
/// Numbers are spelled here, so neither the stream's flags nor its locale show in the output. The stream is
/// left in decimal and without a width.
class BlockEmitter {
 public:
  explicit BlockEmitter(std::ostream& os);
  ~BlockEmitter() noexcept(false) {
    if (own_ != nullptr) handOver();
  }
  BlockEmitter(const BlockEmitter&) = delete;
  BlockEmitter& operator=(const BlockEmitter&) = delete;

  BlockEmitter& operator<<(std::string_view text) {
    text_->append(text);
    return *this;
  }
  BlockEmitter& operator<<(Hex hex);
  BlockEmitter& operator<<(Spaces spaces) {
    constexpr std::size_t kSlot = 64;
    if (static_cast<unsigned>(spaces.count) > kSlot) return addSpaces(spaces.count);
    char* to = text_->reserve(kSlot);
    std::memset(to, ' ', kSlot);
    text_->commit(to + spaces.count);
    return *this;
  }
  template <Number Int>
  BlockEmitter& operator<<(Int number) {
    constexpr std::size_t kMostDigits = 20;
    char* to = text_->reserve(kMostDigits);
    text_->commit(std::to_chars(to, to + kMostDigits, number).ptr);
    return *this;
  }

  /// "mad_buffer.<name> = 0x<value>;" at `indent` spaces, without a line end. The name is a constant.
  void assign(int indent, const AssignmentHead& name, std::uint64_t value) {
    assignLine(indent, name, value, false);
  }
  /// "mad_buffer.<name>[<i>] = 0x<value>;" for each element of the field, with line ends between the lines
  /// and none after the last. `record` is of the type that the field's table describes.
  void assignElements(int indent, const Field& field, const void* record);
  /// The lines of each field of the record's table, numbers and arrays of numbers, under the same rule.
  /// Fields of any other form are left to `writeOther(field)`.
  template <class Record, class WriteOther>
  void assignAll(int indent, const Record& record, WriteOther writeOther) {
    constexpr std::size_t kCount = kFields<Record>.size();
    for (std::size_t i = 0; i < kCount; ++i) {
      const Field& field = kFields<Record>[i];
      if (field.isNumber()) {
        assignLine(indent, kAssignmentHeads<Record>[i], field.get(&record), i + 1 < kCount);
        continue;
      }
      if (field.form == FieldForm::kNumber)
        assignElements(indent, field, &record);
      else
        writeOther(field);
      if (i + 1 < kCount) *this << "\n";
    }
  }
  template <class Record>
  void assignAll(int indent, const Record& record) {
    static_assert(std::ranges::all_of(kFields<Record>,
                                      [](const Field& field) { return field.form == FieldForm::kNumber; }),
                  "the record has a field that needs lines of its own");
    assignAll(indent, record, [](const Field&) {});
  }

  /// A whole node-level block: declaration, unpack line, the lines of assignAll(), and the pack line, which
  /// is left open. `image` is where the simulated node stores the attribute, such as "&m_node->nodeInfo".
  template <class Record, class... WriteOther>
  void block(std::string_view image, const Record& record, WriteOther... writeOther) {
    open(kRecordName<Record>, image);
    assignAll(4, record, writeOther...);
    close(kRecordName<Record>, image);
  }

 private:
  void assignLine(int indent, const AssignmentHead& head, std::uint64_t value, bool endsLine);
  BlockEmitter& addSpaces(int count);
  void open(std::string_view record, std::string_view image);
  void close(std::string_view record, std::string_view image);
  void standIn();
  void handOver();

  std::ostream& os_;
  SectionBuffer* text_ = nullptr;
  std::unique_ptr<StandIn> own_;  // when nobody gathers the stream's text yet
};

}  // namespace siminfo
