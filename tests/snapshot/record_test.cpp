// Records of the tests' own, by their field tables: what is written, and what is read in which spelling.

#include <optional>

#include "siminfo/snapshot/document_parser.h"
#include "siminfo/snapshot/document_stream.h"
#include "siminfo/snapshot/format.h"
#include "siminfo/snapshot/record_parser.h"
#include "siminfo/snapshot/record_writer.h"
#include "tests/support.h"

namespace siminfo {

struct Arrays {
  std::array<std::uint16_t, 4> words;
  std::array<std::uint32_t, 2> narrow;
  std::array<std::uint64_t, 2> wide;
  bool operator==(const Arrays&) const = default;
};
SIMINFO_RECORD(Arrays){
    SIMINFO_FIELD(Arrays, words, 16),
    SIMINFO_FIELD(Arrays, narrow, 20),
    SIMINFO_FIELD(Arrays, wide, 64),
};

struct Widths {
  std::uint8_t u5;
  std::uint8_t u8;
  std::uint16_t u16;
  std::uint32_t u20;
  std::uint32_t the_longest_name_that_is_compared_and_not_looked_up_;
  std::uint64_t u48;
  std::uint64_t u64;
  bool operator==(const Widths&) const = default;
};
SIMINFO_RECORD(Widths){
    SIMINFO_FIELD(Widths, u5, 5),
    SIMINFO_FIELD(Widths, u8, 8),
    SIMINFO_FIELD(Widths, u16, 16),
    SIMINFO_FIELD(Widths, u20, 20),
    SIMINFO_FIELD(Widths, the_longest_name_that_is_compared_and_not_looked_up_, 32),
    SIMINFO_FIELD(Widths, u48, 48),
    SIMINFO_FIELD(Widths, u64, 64),
};

struct LongName {
  std::uint8_t a_name_that_is_longer_than_those_which_are_only_compared;
  bool operator==(const LongName&) const = default;
};
SIMINFO_RECORD(LongName){
    SIMINFO_FIELD(LongName, a_name_that_is_longer_than_those_which_are_only_compared, 8),
};

namespace {

template <class Record>
void parseMember(json::object document, const char* text, Record& record) {
  static const KeyTable keys("the document", {{"record", true}});
  static const RecordParser parser("the record", kFields<Record>);
  readMembers(Place{nullptr, {}, 0, text}, document, keys,
              [&](std::size_t, json::value value, const Place& at) { parser.parse(at, value, &record); });
}

/// The record that the text of an object is read as; nothing when it is refused.
template <class Record>
std::optional<Record> parsed(const std::string& text) {
  static DocumentParser parser;
  const std::string document = "{\"record\":" + text + "}";
  const std::string padded = document + std::string(DocumentStream::kPadding, '\0');
  Record record{};
  try {
    parser.parse(std::string_view(padded).substr(0, document.size()), parseMember<Record>, record);
  } catch (const Refusal&) {
    return std::nullopt;
  }
  return record;
}

std::string written(std::span<const Field> fields, const void* record) {
  JsonLine line;
  writeRecord(line, fields, record);
  return std::string(line.text());
}

TEST(Records, HoldArraysOfNumbers) {
  const auto text = [](const std::string& words, const std::string& narrow = "[1048575,9]") {
    return "{\"words\":" + words + ",\"narrow\":" + narrow + R"(,"wide":["0x0","0xffffffffffffffff"]})";
  };
  const Arrays arrays{{1, 65535, 3, 256}, {0xfffff, 9}, {0, ~std::uint64_t{0}}};
  EXPECT_EQ(written(kFields<Arrays>, &arrays), text("[1,65535,3,256]"));
  for (const char* words : {"[1,65535,3,256]", R"(["1", "0xFFFF", 3, 256])"})
    EXPECT_EQ(parsed<Arrays>(text(words)), arrays) << words;
  for (const char* words : {"[1,2,3]", "[1,2,3,4,5]", "[1,2,3,65536]", "[1,2,3,-1]", "[1,2,3,[4]]", "[]", "1",
                            "\"01020304\"", "\"abcd\""})
    EXPECT_FALSE(parsed<Arrays>(text(words))) << words;
  EXPECT_FALSE(parsed<Arrays>(text("[1,2,3,4]", "[1048576,9]")));
}

/// An object of Widths with that text for the field of so many bits, `gap` before every value.
std::string widths(unsigned bits, const std::string& value, const std::string& gap) {
  std::string text;
  for (const Field& field : kFields<Widths>) {
    text.append(text.empty() ? "{\"" : ",\"").append(field.name).append("\":").append(gap);
    text.append(field.bits == bits ? value : field.bits > 32 ? "\"0x0\"" : "0");
  }
  return text + "}";
}

// What is spelled as written is compared, everything else is parsed: neither may take what the other refuses.
TEST(Records, AreReadTheSameWhereverTheyAreSpelledAsWritten) {
  constexpr std::uint64_t kAll = ~std::uint64_t{0};
  struct Spellings {
    unsigned bits;
    std::optional<std::uint64_t> number;  // nothing when they are refused
    std::vector<std::string> values;
  };
  const std::vector<Spellings> cases = {
      {5, 31, {"31"}},
      {5, {}, {"32"}},
      {8, 0, {"0"}},
      {8, 255, {"255", R"("255")", R"("0xFF")", R"("00000000000000000255")"}},
      {8, 1, {R"("\u0031")"}},
      {8, {}, {"256", "007", "00", "-1", "-0", "+1", "1e1", "1.0", "0x1", "null"}},
      {8, {}, {R"("0x100")", R"("-1")", R"("")", R"(" 1")", R"("1 ")"}},
      {16, 65535, {"65535"}},
      {16, {}, {"65536"}},
      {20, 1048575, {"1048575"}},
      {20, {}, {"1048576"}},
      {32, 9999999, {"9999999"}},
      {32, 12345678, {"12345678"}},
      {32, 99999999, {"99999999"}},
      {32, 123456789, {"123456789"}},
      {32, 0xffffffff, {"4294967295"}},
      {32, {}, {"01234567", "012345678", "4294967296", "42949672960000000", "", R"("0x100000000")"}},
      {48, 0xffffffffffff, {R"("0xffffffffffff")", R"("0x0000ffffffffffff")"}},
      {48, {}, {R"("0x1000000000000")"}},
      {64, 9, {R"("0x9")"}},
      {64, 0x12345678, {R"("0x12345678")"}},
      {64, 0x90abcdefa, {R"("0x90abcdefa")"}},
      {64, 0x0123456789abcdef, {R"("0x0123456789abcdef")"}},
      {64, 0x123456789abcdef0, {R"("0x0123456789abcdef0")"}},
      {64, 1844674407370955, {R"("1844674407370955")"}},
      {64,
       kAll,
       {R"("0xffffffffffffffff")", R"("0xFFFFFFFFFFFFFFFF")", "18446744073709551615",
        R"("18446744073709551615")"}},
      {64,
       {},
       {R"("0x10000000000000000")", "18446744073709551616", R"("18446744073709551616")", R"("0x")",
        R"("0x-1")", R"("-0x1")", R"("0x1g")", R"("0x1z}")", R"("0x12345678z}")", R"("0x1)", "0x1"}},
      {64, {}, {"\"0x1\xe1\xb1\xb2\""}},  // the low seven bits of three bytes are those of digits
  };
  for (const auto& [bits, number, values] : cases) {
    std::optional<Widths> expected;
    if (number) expected = Widths{};
    for (const Field& field : kFields<Widths>) {
      if (number && field.bits == bits) field.set(&*expected, *number);
    }
    for (const std::string& value : values) {
      EXPECT_EQ(parsed<Widths>(widths(bits, value, "")), expected) << bits << " bits: " << value;
      EXPECT_EQ(parsed<Widths>(widths(bits, value, " ")), expected)
          << bits << " bits, behind a space: " << value;
    }
  }
}

TEST(Records, AreReadTheSameWithAnyCharacterChanged) {
  const Widths widths{31, 200, 0, 1048575, 12345678, 0xabcdef, 0x0123456789abcdef};
  const std::string text = written(kFields<Widths>, &widths);
  ASSERT_EQ(parsed<Widths>(text), widths);
  for (std::size_t at = 1; at < text.size(); ++at) {
    for (const char character : std::string_view("09/:afg`AFG@\"\\,.}-x ")) {
      std::string changed = text;
      changed[at] = character;
      EXPECT_EQ(parsed<Widths>(changed), parsed<Widths>("{ " + changed.substr(1))) << changed;
    }
  }
}

TEST(Records, AreComparedAsTheWriterSpellsThem) {
  std::vector<std::pair<std::string_view, std::span<const Field>>> tables = {
      {kCountersName, kFields<ZYRReductionCounters>}, {"Widths", kFields<Widths>}};
  for (const RecordKind& kind : kNodeRecordKinds) tables.emplace_back(kind.name, kind.fields);
  for (const RecordKind& kind : kPortRecordKinds) tables.emplace_back(kind.name, kind.fields);
  std::erase_if(tables,
                [](const auto& table) { return !std::ranges::all_of(table.second, &Field::isNumber); });
  EXPECT_GT(tables.size(), 12U);
  for (const auto& [name, fields] : tables) {
    std::vector<std::uint64_t> record(fields.size());  // eight bytes a field are more than enough
    std::uint64_t value = 0;
    for (const Field& field : fields) {
      value += 0x91;
      field.set(record.data(), (field.bits > 32 ? ~value : value) & field.maximum());
    }
    const std::string text = written(fields, record.data()) + std::string(WrittenRecord::kReadAhead, '\0');
    std::vector<std::uint64_t> copy(record.size());
    EXPECT_TRUE(WrittenRecord(fields).read(text.data(), copy.data())) << name;
    EXPECT_EQ(copy, record) << name;
  }

  const std::string name(kFields<LongName>[0].name);
  EXPECT_EQ(parsed<LongName>("{\"" + name + "\":9}"), LongName{9});
}

}  // namespace
}  // namespace siminfo
