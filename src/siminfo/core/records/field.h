#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

namespace siminfo {

/// How a person spells a field's value; generated source always spells it in hexadecimal.
enum class FieldForm : std::uint8_t {
  kNumber,    ///< one unsigned number, or an array of them
  kText,      ///< bytes that hold text, zero-padded
  kHexBytes,  ///< bytes without a meaning of their own, such as a GID
  kRecords,   ///< one record inside the record, or a fixed number of them
};

/// One row of a record's field table: where in the record a field lies, and what fits into it.
struct Field {
  std::string_view name;
  FieldForm form;
  std::uint8_t bits;               ///< width of one element on the wire, at most 64
  std::uint8_t size;               ///< bytes of one element in the record: 1, 2, 4 or 8
  std::uint16_t offset;            ///< from the record's start, in bytes
  std::uint16_t count;             ///< number of elements; 1 for a plain member
  std::span<const Field> members;  ///< the inner record's table, for kRecords alone
  std::uint16_t innerSize;         ///< bytes of one inner record, for kRecords alone
  std::string_view innerName;      ///< the inner record's name, for kRecords alone

  /// One single number, and not an array of them.
  constexpr bool isNumber() const { return form == FieldForm::kNumber && count == 1; }
  /// One value to whoever reads it, be it of many bytes: no array of numbers or records.
  constexpr bool isOneValue() const {
    return isNumber() || form == FieldForm::kText || form == FieldForm::kHexBytes;
  }
  /// Bytes that the whole field takes in the record.
  constexpr std::size_t extent() const { return elementSize() * count; }
  constexpr std::size_t elementSize() const { return form == FieldForm::kRecords ? innerSize : size; }
  constexpr std::uint64_t maximum() const { return ~std::uint64_t{0} >> (64 - bits); }

  /// Reads or writes element `index` of the field in `record`, which must be of the type that the table
  /// describes. A value is at most maximum().
  std::uint64_t get(const void* record, std::size_t index = 0) const;
  void set(void* record, std::uint64_t value, std::size_t index = 0) const;
  /// The inner record `index` of a kRecords field.
  const void* inner(const void* record, std::size_t index) const { return at(record, index); }
  void* inner(void* record, std::size_t index) const { return const_cast<std::byte*>(at(record, index)); }

 private:
  const std::byte* at(const void* record, std::size_t index) const {
    return static_cast<const std::byte*>(record) + offset + index * elementSize();
  }
};

/// A record type's name, as generated source and snapshots have it, and its field table, in the order in
/// which its fields are emitted. Every record type has both: see SIMINFO_RECORD.
template <class Record>
inline constexpr std::string_view kRecordName;
template <class Record>
inline constexpr std::array<Field, 0> kFields{};

inline std::uint64_t Field::get(const void* record, std::size_t index) const {
  const std::byte* from = at(record, index);
  const auto load = [from]<class Int>(Int value) -> std::uint64_t {
    std::memcpy(&value, from, sizeof value);
    return value;
  };
  switch (size) {
    case 1:
      return load(std::uint8_t{});
    case 2:
      return load(std::uint16_t{});
    case 4:
      return load(std::uint32_t{});
    default:
      return load(std::uint64_t{});
  }
}

inline void Field::set(void* record, std::uint64_t value, std::size_t index) const {
  std::byte* to = const_cast<std::byte*>(at(record, index));
  const auto store = [to](auto narrowed) { std::memcpy(to, &narrowed, sizeof narrowed); };
  switch (size) {
    case 1:
      return store(static_cast<std::uint8_t>(value));
    case 2:
      return store(static_cast<std::uint16_t>(value));
    case 4:
      return store(static_cast<std::uint32_t>(value));
    default:
      return store(value);
  }
}

namespace detail {

template <class Member>
inline constexpr std::uint16_t kLength = 1;
template <class Element, std::size_t N>
inline constexpr std::uint16_t kLength<std::array<Element, N>> = N;

template <class Member>
struct ElementOf {
  using Type = Member;
};
template <class Element, std::size_t N>
struct ElementOf<std::array<Element, N>> {
  using Type = Element;
};

template <class Member>
consteval Field makeField(std::string_view name, std::size_t offset, unsigned bits, FieldForm form) {
  using Element = typename ElementOf<Member>::Type;
  static_assert(std::unsigned_integral<Element>, "records hold unsigned members");
  if (bits == 0 || bits > 8 * sizeof(Element)) throw "the field is wider on the wire than in the record";
  const bool isByteArray = std::same_as<Member, std::array<std::uint8_t, kLength<Member>>>;
  if (form != FieldForm::kNumber && !isByteArray) throw "text and meaningless bytes are arrays of bytes";
  return {name,
          form,
          static_cast<std::uint8_t>(bits),
          sizeof(Element),
          static_cast<std::uint16_t>(offset),
          kLength<Member>,
          {},
          0,
          {}};
}

template <class Member>
consteval Field makeRecordField(std::string_view name, std::size_t offset) {
  using Inner = typename ElementOf<Member>::Type;
  return {name,
          FieldForm::kRecords,
          64,
          0,
          static_cast<std::uint16_t>(offset),
          kLength<Member>,
          kFields<Inner>,
          sizeof(Inner),
          kRecordName<Inner>};
}

}  // namespace detail

/// Place of a field in its record's table, which must have it.
template <class Record>
consteval std::size_t fieldIndex(std::string_view name) {
  for (std::size_t i = 0; i < kFields<Record>.size(); ++i) {
    if (kFields<Record>[i].name == name) return i;
  }
  throw "the record has no such field";
}

/// Whether the table of `Record` names every member of it: a record filled from its table alone must equal
/// one that was filled as a whole.
template <class Record>
consteval bool tableCoversRecord() {
  static_assert(std::is_trivially_copyable_v<Record>);
  std::array<std::byte, sizeof(Record)> whole{};
  std::array<std::byte, sizeof(Record)> byTable{};
  whole.fill(std::byte{0x5a});
  for (const Field& field : kFields<Record>) {
    std::fill_n(byTable.begin() + field.offset, field.extent(), std::byte{0x5a});
    if (std::count_if(kFields<Record>.begin(), kFields<Record>.end(),
                      [&](const Field& other) { return other.name == field.name; }) != 1)
      return false;
  }
  return std::bit_cast<Record>(whole) == std::bit_cast<Record>(byTable);
}

}  // namespace siminfo

// Heads a record's field table, and gives the record its name: SIMINFO_RECORD(SMP_NodeInfo){rows};
#define SIMINFO_RECORD(Record)                                     \
  template <>                                                      \
  inline constexpr std::string_view kRecordName<Record> = #Record; \
  template <>                                                      \
  inline constexpr std::array kFields<Record>

// Rows of a field table. A macro, so that a field's name and the member that holds it cannot differ.
#define SIMINFO_FIELD(Record, member, bits)                                                       \
  ::siminfo::detail::makeField<decltype(Record::member)>(#member, offsetof(Record, member), bits, \
                                                         ::siminfo::FieldForm::kNumber)
#define SIMINFO_TEXT_FIELD(Record, member)                                                     \
  ::siminfo::detail::makeField<decltype(Record::member)>(#member, offsetof(Record, member), 8, \
                                                         ::siminfo::FieldForm::kText)
#define SIMINFO_HEX_FIELD(Record, member)                                                      \
  ::siminfo::detail::makeField<decltype(Record::member)>(#member, offsetof(Record, member), 8, \
                                                         ::siminfo::FieldForm::kHexBytes)
#define SIMINFO_RECORD_FIELD(Record, member) \
  ::siminfo::detail::makeRecordField<decltype(Record::member)>(#member, offsetof(Record, member))
