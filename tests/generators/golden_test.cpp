// The whole file of the small example fabric, for the eye of whoever reviews a change to the output.

#include <cstdlib>
#include <regex>

#include "siminfo/snapshot/reader.h"
#include "tests/support.h"

namespace siminfo {
namespace {

const std::string kGoldenFile = SIMINFO_SOURCE_DIR "/tests/golden/fab1_generated.cpp.txt";

/// Puts fixed words in place of what is not the snapshot's: year, version, host name and a GID's address.
std::string withoutRunsOwn(std::string text) {
  text = std::regex_replace(text, std::regex("\\(c\\) 2024-\\d+"), "(c) 2024-<year>");
  text = std::regex_replace(text, std::regex("siminfo \\d+\\.\\d+\\.\\d+"), "siminfo <version>");
  text = std::regex_replace(text, std::regex("// Host Name: [^\n]*"), "// Host Name: <host>");
  return std::regex_replace(text, std::regex("0x0x[0-9a-f]+;"), "0x0x<address>;");
}

TEST(Golden, SmallExampleFabric) {
  Snapshot snapshot = readSnapshotFile(SIMINFO_SOURCE_DIR "/examples/small_fabric.json");
  const ScratchDirectory directory;
  InMemoryDrovik engine(snapshot.discovered, directory.path());
  // Numbers must not take the form that an embedding program's locale gives them.
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new GroupingLocale));
  const int status = SimInfoDumpCPP(engine).Generate("Fab1", {});
  std::locale::global(before);
  ASSERT_EQ(status, 0);
  const std::string text = withoutRunsOwn(readFile(engine.files().path()));
  if (std::getenv("SIMINFO_REFRESH_GOLDEN") != nullptr) {
    std::ofstream(kGoldenFile, std::ios_base::binary) << text;
    GTEST_SKIP() << kGoldenFile << " was written anew; look at the difference";
  }
  const std::string golden = readFile(kGoldenFile);
  const auto [ours, theirs] = std::mismatch(text.begin(), text.end(), golden.begin(), golden.end());
  EXPECT_TRUE(text == golden) << "differs from " << kGoldenFile << " on line "
                              << std::count(text.begin(), ours, '\n') + 1
                              << "; if that is meant, run ./test --refresh-golden";
}

}  // namespace
}  // namespace siminfo
