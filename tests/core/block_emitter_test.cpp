#include "siminfo/core/block_emitter.h"

#include <iomanip>
#include <locale>

#include "siminfo/core/section_stream.h"
#include "tests/support.h"

namespace siminfo {
namespace {

/// Checks that every line end is flushed before anything follows it.
class LineFlushBuffer final : public std::stringbuf {
 public:
  int lineEnds = 0;
  int flushes = 0;
  bool wroteAcrossLineEnd = false;

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    for (const char character : std::string_view(text, static_cast<std::size_t>(size))) {
      wroteAcrossLineEnd = wroteAcrossLineEnd || lineEnds != flushes;
      lineEnds += character == '\n' ? 1 : 0;
    }
    return std::stringbuf::xsputn(text, size);
  }
  int sync() override {
    ++flushes;
    return 0;
  }
};

void lines(std::ostream& os) {
  BlockEmitter out(os);
  out << "case " << std::uint8_t{65} << ": " << -12 << "\n";
  out.assign(4, "Field", 0xbeef);
}

TEST(BlockEmitter, SpellsValuesInPlainHexadecimal) {
  std::ostringstream os;
  for (const std::uint64_t value :
       {0x0ULL, 0xffULL, 0x2c9ULL, 0xc000ULL, 0xffffffffULL, 0x8000000000000000ULL})
    BlockEmitter(os) << Hex{value} << " ";
  EXPECT_EQ(os.str(), "0 ff 2c9 c000 ffffffff 8000000000000000 ");

  // Every count of digits, against the stream's own hexadecimal.
  for (unsigned digits = 1; digits <= 16; ++digits) {
    const std::uint64_t value = 0xfedcba9876543210ULL >> (64 - 4 * digits);
    std::ostringstream ours;
    std::ostringstream theirs;
    BlockEmitter(ours).assign(12, "F", value);
    theirs << "            mad_buffer.F = 0x" << std::hex << value << ";";
    EXPECT_EQ(ours.str(), theirs.str());
  }
}

TEST(BlockEmitter, IgnoresFlagsAndLocalesAndLeavesTheStreamInDecimal) {
  std::ostringstream plain;
  lines(plain);
  EXPECT_EQ(plain.str(), "case 65: -12\n    mad_buffer.Field = 0xbeef;");

  std::ostringstream odd;
  odd.imbue(std::locale(std::locale::classic(), new GroupingLocale));
  odd << std::hex << std::uppercase << std::showbase << std::setfill('#') << std::left << std::showpos;
  lines(odd);
  EXPECT_EQ(odd.str(), plain.str());
  EXPECT_EQ(odd.flags() & std::ios_base::basefield, std::ios_base::dec);

  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new GroupingLocale));
  std::ostringstream underGlobal;
  lines(underGlobal);
  std::locale::global(before);
  EXPECT_EQ(underGlobal.str(), plain.str());
}

TEST(BlockEmitter, MarksAStreamThatTakesLessAsBad) {
  class FullBuffer final : public std::streambuf {
    std::streamsize xsputn(const char*, std::streamsize size) override { return size / 2; }
  };
  FullBuffer buffer;
  std::ostream os(&buffer);
  BlockEmitter(os) << "text";
  EXPECT_TRUE(os.bad());
}

class EmittedLines : public GeneratorTest {};

TEST_F(EmittedLines, AreFlushedOneByOne) {
  IBNode& node = addNode("sw1", kSwitch, 3);
  support(node, {0, 2, 9, 12, 13, 44, 55});
  give<SMP_NodeInfo>(node);
  give<VSGeneralInfo>(node);
  give<ib_private_lft_info>(node);
  give<IB_ClassPortInfo>(node);
  for (std::uint8_t num = 0; num <= 3; ++num) {
    IBPort& port = addPort(node, num);
    port.special = num == 2;
    give<SMP_PortInfo>(port, filled<SMP_PortInfo>(255));
    give<SMP_KrelExtPortInfo>(port);
    give<ZYRReductionPortInfo>(port);
    give<ZYRPushReductionCounters>(port);
    discovered.records.setCounters(port.recordIndex, num, filled<ZYRReductionCounters>(7));
    discovered.records.setMonitor(port.recordIndex, 0);
    discovered.records.setMonitor(port.recordIndex, 1);
  }
  for (const SimInfoDumpCPP::Frame& each : SimInfoDumpCPP::Frames()) {
    LineFlushBuffer buffer;
    std::ostream os(&buffer);
    (generator.*each.generate)(os, node);
    EXPECT_EQ(buffer.flushes, buffer.lineEnds) << each.method;
    EXPECT_FALSE(buffer.wroteAcrossLineEnd) << each.method;
    EXPECT_FALSE(buffer.str().ends_with('\n')) << each.method;

    SectionStream section;
    (generator.*each.generate)(section, node);
    EXPECT_EQ(section.text(), buffer.str()) << each.method;
  }
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
