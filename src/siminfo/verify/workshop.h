#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "siminfo/verify/child_process.h"
#include "siminfo/verify/compiler_messages.h"
#include "siminfo/verify/frame_text.h"

namespace siminfo {

/// The stored images that a set function changed, by name.
using ChangedImages = std::map<std::string, std::vector<std::uint8_t>>;

/// One run of a set function on a fresh node that held what verify/probe/background.h says.
struct FrameRun {
  unsigned number;  ///< 0 or 1
  ChangedImages images;
  bool ended = false;  ///< false when the program was gone before the function returned
};

/// One node's part of a generated file as a program.
struct Unit {
  std::string folder;     ///< name of its own below the units
  std::string nodeClass;  ///< inside the class of the dump
  unsigned lastPort;
  std::vector<std::pair<unsigned, unsigned>> pushKeys;
  std::vector<UnitFrame> frames;
};

struct UnitResult {
  std::map<std::string_view, std::string> broken;  ///< frames that do not compile: the compiler's words
  std::map<std::string, std::vector<FrameRun>> runs;
};

/// A folder with the reference simulator in it, where the generated source of one dump is compiled and run.
/// The layout is the one that generated source expects: "../../core/node.h" from its own place.
class Workshop {
 public:
  /// Sets up the simulator under `root` for the dump of that name. `compiler` works in the manner of g++ and
  /// clang++. Throws std::system_error.
  Workshop(std::filesystem::path root, std::string dumpName, std::string compiler, ChildProcesses children);

  /// Where the generated file belongs.
  std::filesystem::path dumpFolder() const;

  /// Compiles the unit and runs it. Frames that do not compile are left out, and the others go on. `source`
  /// is how compilers are told to call the generated file. Throws std::system_error when the compiler cannot
  /// be started. May be called from several threads, with folders of their own.
  UnitResult process(Unit unit, const std::filesystem::path& source) const;

  /// Compiles the whole text of a generated file. Returns what is wrong with it, or nothing.
  std::string wholeFault(TextLines text, const std::filesystem::path& source) const;

 private:
  /// Compiles the unit's source; the messages are of interest when it fails.
  bool compile(const std::filesystem::path& folder, const std::vector<std::string>& options) const;
  CompilerMessages messages(const std::filesystem::path& folder, const std::string& source) const;

  std::filesystem::path root_;
  std::string dumpName_;
  std::string compiler_;
  ChildProcesses children_;
};

}  // namespace siminfo
