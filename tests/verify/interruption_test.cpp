// siminfo verify is ended while its compilers are at work, in every way that it can be. Nothing may be left.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

#include "tests/support.h"

namespace siminfo {
namespace {

bool holdsSoon(const std::function<bool()>& holds) {
  for (int i = 0; i < 2000; ++i) {
    if (holds()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

/// A process that nobody waits for is a zombie until somebody does, and as good as gone.
bool isAlive(pid_t process) {
  const std::string stat = readFile("/proc/" + std::to_string(process) + "/stat");
  const std::size_t state = stat.rfind(") ");
  return state != std::string::npos && stat[state + 2] != 'Z';
}

/// siminfo verify with two compilers that start a program each and never end.
class InterruptedVerify : public testing::Test {
 protected:
  void start(const std::string& onTerm) {
    std::filesystem::create_directory(temporary);
    const std::filesystem::path compiler = directory.path() / "compiler";
    std::ofstream(compiler) << "#!/bin/sh\n"
                            << onTerm << "\nsleep 1000 &\necho $! $$ >> " << pidFile.string()
                            << "\nwhile :; do wait; done\n";
    std::filesystem::permissions(compiler, std::filesystem::perms::owner_all);
    // Each node of a file that is there has a compiler of its own.
    const std::string program = SIMINFO_PROGRAM;
    const std::string fabric = " " SIMINFO_SOURCE_DIR "/examples/small_fabric.json";
    const std::string folder = directory.path().string();
    const std::string command = program + " generate --name F --output-dir " + folder + fabric +
                                " > /dev/null 2>&1; TMPDIR=" + temporary.string() + " exec " + program +
                                " verify --name F --use " + folder + " --jobs 2 --compiler " +
                                compiler.string() + fabric + " 2> " + errors.string();
    std::array<const char*, 4> arguments{"sh", "-c", command.c_str(), nullptr};
    ASSERT_EQ(posix_spawnp(&siminfo, "sh", nullptr, nullptr, const_cast<char**>(arguments.data()), environ),
              0);
    ASSERT_TRUE(holdsSoon([&] { return compilers().size() == 4; }));
    ASSERT_FALSE(isNothingLeft());
  }
  std::vector<pid_t> compilers() const {
    std::istringstream numbers(readFile(pidFile));
    return {std::istream_iterator<pid_t>(numbers), {}};
  }
  int wait() const {
    int status = 0;
    waitpid(siminfo, &status, 0);
    return status;
  }
  bool isNothingLeft() const {
    return std::filesystem::is_empty(temporary) && std::ranges::none_of(compilers(), isAlive);
  }

  ScratchDirectory directory;
  std::filesystem::path temporary = directory.path() / "tmp";
  std::filesystem::path pidFile = directory.path() / "pids";
  std::filesystem::path errors = directory.path() / "errors";
  pid_t siminfo = 0;
};

TEST_F(InterruptedVerify, EndsInOrder) {
  for (const int signal : {SIGINT, SIGTERM}) {
    std::filesystem::remove(pidFile);
    std::filesystem::remove(temporary);
    start("");
    kill(siminfo, signal);
    const int status = wait();
    EXPECT_TRUE(std::filesystem::is_empty(temporary));
    EXPECT_TRUE(holdsSoon([&] { return isNothingLeft(); }));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
    EXPECT_EQ(readFile(errors), "siminfo: error: interrupted: nothing was proven\n");
  }
}

/// Compilers that do not end when they are asked to hold up the end in order, and not the second signal.
TEST_F(InterruptedVerify, EndsAtOnceWithTheSecondSignal) {
  start("trap '' TERM");
  kill(siminfo, SIGTERM);
  kill(siminfo, SIGINT);
  EXPECT_TRUE(WIFSIGNALED(wait()));
  EXPECT_TRUE(holdsSoon([&] { return isNothingLeft(); }));
}

TEST_F(InterruptedVerify, LeavesNothingWhenItIsKilled) {
  start("");
  kill(siminfo, SIGKILL);
  EXPECT_TRUE(WIFSIGNALED(wait()));
  EXPECT_TRUE(holdsSoon([&] { return isNothingLeft(); }));
}

}  // namespace
}  // namespace siminfo
