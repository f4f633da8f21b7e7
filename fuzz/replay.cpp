// Runs every target over its seeds, and over what was found once: fuzz/seeds/<target>/.

#include <algorithm>
#include <filesystem>

#include "fuzz/target.h"
#include "tests/support.h"

namespace siminfo {
namespace {

using Files = std::vector<std::filesystem::path>;

Files seedsOf(std::string_view target) {
  Files files;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::filesystem::path(SIMINFO_SOURCE_DIR "/fuzz/seeds") / target))
    files.push_back(entry.path());
  std::ranges::sort(files);
  return files;
}

class Seeds : public testing::TestWithParam<FuzzTarget> {};

TEST_P(Seeds, KeepThePromises) {
  const Files files = seedsOf(GetParam().name);
  ASSERT_FALSE(files.empty());
  for (const auto& file : files) {
    SCOPED_TRACE(file.string());
    const std::string bytes = readFile(file);
    EXPECT_NO_THROW(GetParam().run(bytes));
    // Cut anywhere, a seed is another one.
    for (const unsigned parts : {2U, 3U, 5U})
      EXPECT_NO_THROW(GetParam().run(bytes.substr(0, bytes.size() / parts)));
  }
}

INSTANTIATE_TEST_SUITE_P(Fuzz, Seeds, testing::ValuesIn(fuzzTargets().begin(), fuzzTargets().end()),
                         [](const auto& of) { return std::string(of.param.name); });

}  // namespace
}  // namespace siminfo
