#include "siminfo/serve/server_project.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>

#include "siminfo/models/project.h"
#include "siminfo/process/descriptors.h"
#include "siminfo/process/program.h"
#include "siminfo/process/shortage.h"
#include "siminfo/simulator/headers.h"
#include "siminfo/text/number_text.h"

namespace siminfo {
namespace {

constexpr const char* kDump = "Fabric";
/// Compilers' temporary files, for as long as a build is at work: where it is there already, a build was cut
/// short, and may have left a file that is half written.
constexpr const char* kTemporary = "building";

// The server knows nothing of models and is compiled once, optimised. What the models are is compiled anew
// whenever they change, and so it is not: each of their functions runs but a few times.
constexpr const char* kBuild = R"(# Written by siminfo.
cmake_minimum_required(VERSION 3.20)
project(fabric_server LANGUAGES CXX)
add_subdirectory("${CMAKE_CURRENT_SOURCE_DIR}/.." models EXCLUDE_FROM_ALL)
add_executable(fabric_server main.cpp server.cpp)
set_source_files_properties(server.cpp PROPERTIES COMPILE_OPTIONS "-O2")
target_link_libraries(fabric_server PRIVATE fabric_models)
)";
constexpr const char* kServer = R"(// Written by siminfo.

#include "../server/serve_program.h"

int serve(const drovik::Models& models, int argc, char** argv) { return drovik::serveMain(models, argc, argv); }
)";
constexpr const char* kMain = R"(// Written by siminfo.

#include "../dumps/fabric/fabric.h"

int serve(const drovik::Models& models, int argc, char** argv);

int main(int argc, char** argv) { return serve(Fabric::models(), argc, argv); }
)";

unsigned processors() { return std::max(1U, std::thread::hardware_concurrency()); }

/// What stands in the way of a build, and the package that has it.
void checkTools() {
  struct Tool {
    std::vector<std::string> names;
    const char* package;
  };
  const char* own = std::getenv("CXX");
  const std::string compiler =
      own != nullptr ? std::string(own).substr(0, std::string_view(own).find(' ')) : "c++";
  const std::array tools{Tool{{"cmake"}, "cmake"}, Tool{{compiler, "c++", "g++", "clang++"}, "g++"},
                         Tool{{"make", "ninja"}, "make"}};
  for (const Tool& tool : tools) {
    const bool isThere =
        std::ranges::any_of(tool.names, [](const auto& name) { return findProgram(name).has_value(); });
    if (!isThere)
      throw ServeError(tool.names.front() + ", which builds the server, was not found; install the package " +
                       tool.package);
  }
}

std::string endOf(const std::string& text) {
  constexpr std::size_t kMost = 2000;
  return text.size() > kMost ? text.substr(text.size() - kMost) : text;
}

/// Why a step did not end well, and what would help.
std::string failureWords(const ProgramEnd& end, const std::string& log, const BuildLimits& limits) {
  if (end.how == ProgramEnd::kTimedOut)
    return "it had not finished after " + std::to_string(limits.seconds) + " s; allow more with --time-limit";
  if (end.how == ProgramEnd::kSignalled) return signalWords(end.status);
  return shortageIn(log);
}

void runStep(const std::vector<std::string>& command, const std::filesystem::path& root,
             const ServerBuild& watch) {
  constexpr std::size_t kMostWritten = std::size_t{1} << 28U;  // of each file
  const FileHandle input("/dev/null", O_RDONLY);
  const MemoryFile output;
  const ProgramEnd end = runProgram({command,
                                     input.get(),
                                     output.get(),
                                     output.get(),
                                     {{"LC_ALL", "C"}, {"TMPDIR", (root / kTemporary).string()}},
                                     {},
                                     {0, std::size_t{watch.limits.memory} << 20U, kMostWritten}},
                                    std::chrono::seconds(watch.limits.seconds), [&] {
                                      watch.tick();
                                      return watch.isStopped();
                                    });
  if (watch.isStopped()) throw ServeError("interrupted: nothing was served");
  if (end.isDone()) return;
  const std::string words = output.text();
  std::ofstream(root / "build.log", std::ios_base::binary) << words;
  throw ServeError("the server could not be built: " + failureWords(end, words, watch.limits) + "\n" +
                   endOf(words));
}

}  // namespace

std::filesystem::path serveFolder(const std::string& snapshotFile, bool exactPorts) {
  const char* cache = std::getenv("XDG_CACHE_HOME");
  const char* home = std::getenv("HOME");
  std::filesystem::path folder;
  if (cache != nullptr && *cache == '/')
    folder = cache;
  else if (home != nullptr && *home != '\0')
    folder = std::filesystem::path(home) / ".cache";
  else
    throw ServeError("there is no folder to build in; set the variable HOME or XDG_CACHE_HOME");
  const std::string path = std::filesystem::absolute(snapshotFile).lexically_normal().string();
  return folder / "siminfo" / "serve" / hexDigits(modelHash(path + (exactPorts ? " exact" : "")), 16);
}

void writeServerProject(const ModelWriter& writer, const ModelSet& set, std::string_view served,
                        const std::filesystem::path& root) {
  writeProject(writer, set, kDump, std::max(2U, processors()), root);
  writeServer(root);
  writeFile(root / "program/CMakeLists.txt", kBuild);
  writeFile(root / "program/server.cpp", kServer);
  writeFile(root / "program/main.cpp", kMain);
  writeFile(servedFile(root), served);
}

void buildServer(const std::filesystem::path& root, const ServerBuild& watch) {
  checkTools();
  const std::string build = (root / "build").string();
  if (std::filesystem::exists(root / kTemporary)) {
    std::filesystem::remove_all(build);
    std::filesystem::remove_all(root / kTemporary);
  }
  std::filesystem::create_directory(root / kTemporary);
  if (!std::filesystem::exists(serverProgram(root)))
    runStep({"cmake", "-S", (root / "program").string(), "-B", build}, root, watch);
  runStep(
      {"cmake", "--build", build, "--target", "fabric_server", "--parallel", std::to_string(processors())},
      root, watch);
  std::filesystem::remove_all(root / kTemporary);
}

std::filesystem::path serverProgram(const std::filesystem::path& root) {
  return root / "build/fabric_server";
}
std::filesystem::path servedFile(const std::filesystem::path& root) { return root / "served_fabric.tsv"; }

}  // namespace siminfo
