#include "siminfo/core/block_emitter.h"

#include <iomanip>
#include <locale>

#include "siminfo/core/section_stream.h"
#include "siminfo/snapshot/reader.h"
#include "tests/support.h"

namespace siminfo {

/// A number, and arrays of the narrowest and the widest.
struct TestNumbers {
  std::array<std::uint8_t, 2> bytes;
  std::uint8_t byte;
  std::array<std::uint64_t, 2> longs;
  bool operator==(const TestNumbers&) const = default;
};
SIMINFO_RECORD(TestNumbers){
    SIMINFO_FIELD(TestNumbers, bytes, 8),
    SIMINFO_FIELD(TestNumbers, byte, 8),
    SIMINFO_FIELD(TestNumbers, longs, 64),
};
static_assert(tableCoversRecord<TestNumbers>());

namespace {

/// What stands behind a stream: notes what comes, with a '|' for each flush, and fails as it is told to.
class Device : public std::streambuf {
 public:
  enum Fault { kNone, kTakesLess, kCannotSync, kThrowsOnWrite, kThrowsOnSync };
  explicit Device(Fault of = kNone) : fault(of) {}

  std::string log;
  Fault fault;

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    if (fault == kThrowsOnWrite) throw 7;
    if (fault == kTakesLess) --size;
    log.append(text, static_cast<std::size_t>(size));
    return size;
  }
  int_type overflow(int_type character) override {
    const char written = traits_type::to_char_type(character);
    return xsputn(&written, 1) == 1 ? character : traits_type::eof();
  }
  int sync() override {
    if (fault == kThrowsOnSync) throw 7;
    log += '|';
    return fault == kCannotSync ? -1 : 0;
  }
};

void lines(std::ostream& os) {
  BlockEmitter out(os);
  out << "case " << std::uint8_t{65} << ": " << -12 << "\n";
  out.assign(4, "Field", 0xbeef);
}

TEST(BlockEmitter, SpellsValuesInPlainHexadecimal) {
  // Every count of digits, against the stream's own hexadecimal.
  for (unsigned digits = 1; digits <= 16; ++digits) {
    const std::uint64_t value = 0xfedcba9876543210ULL >> (64 - 4 * digits);
    std::ostringstream ours;
    std::ostringstream theirs;
    BlockEmitter(ours).assign(12, "F", value);
    theirs << "            mad_buffer.F = 0x" << std::hex << value << ";";
    EXPECT_EQ(ours.str(), theirs.str());
  }
  std::ostringstream os;
  BlockEmitter(os) << Hex{0} << " " << Hex{0x2c9, 16} << " " << Hex{0xfedcba9876543210, 16} << " "
                   << Hex{0, 9} << " " << Hex{0x2c9, 2};
  EXPECT_EQ(os.str(), "0 00000000000002c9 fedcba9876543210 000000000 2c9");
}

TEST(BlockEmitter, IndentsByAnyWidth) {
  for (const int indent : {-5000, -1, 0, 1, 15, 16, 17, 20, 63, 64, 65, 127, 5000, 70000}) {
    const std::string spaces(static_cast<std::size_t>(std::max(indent, 0)), ' ');
    std::ostringstream os;
    BlockEmitter(os).assign(indent, "Field", 0xbeef);
    EXPECT_EQ(os.str(), spaces + "mad_buffer.Field = 0xbeef;") << indent;
    os.str("");
    BlockEmitter(os) << Spaces{indent} << "text";
    EXPECT_EQ(os.str(), spaces + "text") << indent;
  }
}

TEST(BlockEmitter, AssignsArraysOfNumbersElementByElement) {
  const TestNumbers record{.bytes = {1, 0xff}, .byte = 7, .longs = {0, 0x8000000000000000}};
  std::ostringstream os;
  BlockEmitter(os).block("&m_node->numbers", record);
  EXPECT_EQ(os.str(),
            "    TestNumbers mad_buffer = {0};\n"
            "    TestNumbers_unpack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->numbers));\n"
            "\n"
            "    mad_buffer.bytes[0] = 0x1;\n"
            "    mad_buffer.bytes[1] = 0xff;\n"
            "    mad_buffer.byte = 0x7;\n"
            "    mad_buffer.longs[0] = 0x0;\n"
            "    mad_buffer.longs[1] = 0x8000000000000000;\n"
            "\n"
            "    TestNumbers_pack(&mad_buffer, reinterpret_cast<u_int8_t*>(&m_node->numbers));");
}

TEST(BlockEmitter, IgnoresFlagsAndLocalesAndLeavesTheStreamInDecimal) {
  std::ostringstream odd;
  odd.imbue(std::locale(std::locale::classic(), new GroupingLocale));
  odd << std::hex << std::uppercase << std::showbase << std::setfill('#') << std::left << std::showpos;
  odd << std::setw(30);
  lines(odd);
  EXPECT_EQ(odd.str(), "case 65: -12\n    mad_buffer.Field = 0xbeef;");
  EXPECT_EQ(odd.flags() & std::ios_base::basefield, std::ios_base::dec);
  EXPECT_EQ(odd.width(), 0);

  odd.width(30);
  odd.setstate(std::ios_base::eofbit);
  lines(odd);
  EXPECT_EQ(odd.width(), 30) << "of a stream that gets nothing";
}

TEST(BlockEmitter, KeepsTheOrderOfWhatOthersWrite) {
  Device device;
  std::ostream os(&device);
  {
    BlockEmitter outer(os);
    BlockEmitter(os) << "a ";
    os << "b ";
    BlockEmitter(os) << "c\n";
    os << "d" << std::endl;
    outer << "e";
  }
  os << "f";
  EXPECT_EQ(device.log, "a b c\n|d\n|ef");
}

/// What can be seen of a stream of that state and mask after it was written to. It has no buffer when there
/// is no fault.
std::string outcome(std::optional<Device::Fault> fault, std::ios_base::iostate state,
                    std::ios_base::iostate mask, void (*write)(std::ostream&)) {
  Device device(fault.value_or(Device::kNone));
  std::streambuf* const buffer = fault ? &device : nullptr;
  std::ostream os(buffer);
  try {
    os.exceptions(mask);
    os.setstate(state);
  } catch (const std::ios_base::failure&) {  // both are set all the same
  }
  std::string thrown = "nothing";
  try {
    write(os);
  } catch (const std::ios_base::failure&) {
    thrown = "failure";
  } catch (int) {
    thrown = "what the device threw";
  }
  std::ostringstream seen;
  seen << device.log << ", state " << os.rdstate() << ", mask " << os.exceptions() << ", threw " << thrown
       << (os.rdbuf() == buffer ? "" : ", another buffer");
  return seen.str();
}

/// The stream's own inserters are the measure, on every kind of stream that can be had.
TEST(BlockEmitter, FailsAsTheStreamsOwnInserters) {
  using Ios = std::ios_base;
  constexpr auto kInserters = [](std::ostream& os) {
    if (os << "some text\n") os.flush();
  };
  constexpr auto kEmitter = [](std::ostream& os) { BlockEmitter(os) << "some text\n"; };
  const std::vector<std::optional<Device::Fault>> faults = {Device::kNone,         Device::kTakesLess,
                                                            Device::kCannotSync,   Device::kThrowsOnWrite,
                                                            Device::kThrowsOnSync, {}};
  for (std::size_t i = 0; i < faults.size(); ++i) {
    for (const Ios::iostate state : {Ios::goodbit, Ios::eofbit, Ios::failbit, Ios::badbit}) {
      for (const Ios::iostate mask : {Ios::goodbit, Ios::eofbit, Ios::failbit, Ios::badbit})
        EXPECT_EQ(outcome(faults[i], state, mask, kEmitter), outcome(faults[i], state, mask, kInserters))
            << i;
    }
  }
}

TEST(BlockEmitter, GivesNothingToAStreamWithoutABufferThatWasCleared) {
  std::ostream os(nullptr);
  {
    BlockEmitter out(os);
    out << "text\n";
    os.clear();
  }
  EXPECT_TRUE(os.bad());
  EXPECT_EQ(os.rdbuf(), nullptr);
}

TEST(BlockEmitter, FlushesTheTiedStreamFirstAndAStreamThatFlushesByItself) {
  Device device;
  std::ostream os(&device);
  std::ostream tied(&device);  // the same device, so that the order shows
  os.tie(&tied);
  os << std::unitbuf;
  BlockEmitter(os) << "line\nopen";
  EXPECT_EQ(device.log, "|line\n|open|");

  device.fault = Device::kCannotSync;
  os.tie(nullptr);
  os.exceptions(std::ios_base::badbit);
  EXPECT_THROW(BlockEmitter(os) << "open", std::ios_base::failure);
}

TEST(BlockEmitter, WritesWhileAnExceptionIsUnderWayAndNothingOfWhatWasGivenUp) {
  Device device;
  std::ostream os(&device);
  const auto saysLastWords = [](std::ostream* to) { BlockEmitter(*to) << "last words\n"; };
  try {
    const std::unique_ptr<std::ostream, decltype(saysLastWords)> lastWords(&os, saysLastWords);
    BlockEmitter out(os);
    out << "given up\n";
    BlockEmitter(os) << "given up as well\n";
    os << "and this";
    throw 1;
  } catch (int) {
    EXPECT_EQ(os.rdbuf(), &device);
    EXPECT_TRUE(os.good());
  }
  EXPECT_EQ(device.log, "last words\n|");
}

TEST(EmittedLines, AreFlushedOneByOne) {
  Snapshot snapshot = readSnapshotFile(SIMINFO_SOURCE_DIR "/examples/small_fabric.json");
  const ScratchDirectory directory;
  InMemoryDrovik engine(snapshot.discovered, directory.path());
  const SimInfoDumpCPP generator(engine);
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) {
    for (const SimInfoDumpCPP::Frame& each : SimInfoDumpCPP::Frames()) {
      SectionStream section;
      (generator.*each.generate)(section, *node);
      std::string expected(section.text());
      EXPECT_FALSE(expected.ends_with('\n')) << name << ": " << each.method;
      for (std::size_t at = 0; (at = expected.find('\n', at)) != std::string::npos; at += 2)
        expected.insert(at + 1, "|");

      Device device;
      std::ostream os(&device);
      (generator.*each.generate)(os, *node);
      EXPECT_EQ(device.log, expected) << name << ": " << each.method;
    }
  }
}

TEST(SectionStream, GetsNothingWhenItIsNotGood) {
  SectionStream section;
  section.setstate(std::ios_base::failbit);
  BlockEmitter(section) << "text\n";
  EXPECT_EQ(section.text(), "");
}

TEST(SectionStream, GrowsAndKeepsItsText) {
  SectionStream section;
  std::string expected;
  for (int i = 0; i < 100000; ++i) {
    section << i << ' ';
    expected += std::to_string(i) + ' ';
  }
  EXPECT_EQ(section.text(), expected);
  section.clearText();
  section << "again";
  EXPECT_EQ(section.text(), "again");
}

}  // namespace
}  // namespace siminfo
