#include "siminfo/core/in_memory/output_directory.h"

#include <sys/stat.h>

#include "tests/support.h"

namespace siminfo {
namespace {

class OutputDirectoryTest : public testing::Test {
 protected:
  ScratchDirectory directory;
  std::filesystem::path file = directory.path() / "f.cpp";
  OutputDirectory files{directory.path()};
  std::ofstream out;
};

TEST_F(OutputDirectoryTest, ReplacesAFileWhenItIsComplete) {
  std::ofstream(file) << "old";
  ::chmod(file.c_str(), 0640);
  ASSERT_EQ(files.open("f.cpp", out), 0);
  out << "new" << std::flush;
  EXPECT_EQ(readFile(file), "old");
  EXPECT_EQ(files.close(out), 0);
  EXPECT_EQ(readFile(file), "new");
  struct stat info {};
  ASSERT_EQ(::stat(file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777U, 0640U);
  EXPECT_EQ(directory.fileCount(), 1U);
}

TEST_F(OutputDirectoryTest, LeavesNothingBehindWhenAFileIsNotClosed) {
  {
    OutputDirectory shortLived(directory.path());
    ASSERT_EQ(shortLived.open("f.cpp", out), 0);
    out << "text" << std::flush;
  }
  EXPECT_EQ(directory.fileCount(), 0U);
}

TEST_F(OutputDirectoryTest, LeavesAFileAsOldAsItIsThatHoldsTheSameText) {
  const auto put = [&](const std::string& text) {
    EXPECT_EQ(files.put(file.filename(), text), 0);
    EXPECT_EQ(readFile(file), text);
  };
  put("text");
  const std::filesystem::file_time_type old{};
  std::filesystem::last_write_time(file, old);
  put("text");
  EXPECT_EQ(std::filesystem::last_write_time(file), old);
  put("test");
  EXPECT_NE(std::filesystem::last_write_time(file), old);
  EXPECT_EQ(directory.fileCount(), 1U);
}

TEST_F(OutputDirectoryTest, ReplacesTheTargetOfALink) {
  std::filesystem::create_symlink("target.cpp", file);
  std::ofstream(file) << "old";
  ASSERT_EQ(files.open("f.cpp", out), 0);
  out << "new";
  EXPECT_EQ(files.close(out), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(file));
  EXPECT_EQ(readFile(directory.path() / "target.cpp"), "new");
}

TEST_F(OutputDirectoryTest, RefusesWhatIsNoRegularFileOrNoDirectory) {
  std::filesystem::create_symlink("/dev/null", file);
  EXPECT_NE(files.open("f.cpp", out), 0);
  EXPECT_NE(files.failure(), "");
  OutputDirectory missing(directory.path() / "missing");
  EXPECT_EQ(missing.open("f.cpp", out), ENOENT);
  EXPECT_EQ(missing.failure(), (directory.path() / "missing/f.cpp").string() + ": No such file or directory");
}

}  // namespace
}  // namespace siminfo
