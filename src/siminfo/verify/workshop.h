#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "siminfo/verify/dump_text.h"

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
  std::string dumpClass;  ///< "Fab1::SW"
  unsigned lastPort;
  std::vector<std::pair<unsigned, unsigned>> pushKeys;
  std::vector<const DumpFrame*> frames;  ///< those that a compiler is shown
};

struct UnitResult {
  std::map<std::string_view, std::string> broken;  ///< frames that do not compile: the compiler's words
  std::map<std::string, std::vector<FrameRun>> runs;
};

/// A folder with the reference simulator in it, where generated source is compiled and run. The layout is
/// the one that generated source expects: "../../core/node.h" from its own place.
class Workshop {
 public:
  /// Sets up the simulator under `root`. Throws std::system_error.
  Workshop(std::filesystem::path root, std::string compiler);

  /// Where the dump of that name belongs.
  std::filesystem::path dumpFolder(const std::string& lowerName) const { return root_ / "dumps" / lowerName; }
  /// Puts "<lower name>.h" there, for the class `name`.
  void writeDumpHeader(const std::string& name) const;

  /// Compiles the unit and runs it. Frames that do not compile are left out, and the others go on. `source`
  /// is how compilers are told to call the generated file; `head` holds its includes. Throws
  /// std::system_error when the compiler cannot be started. May be called from several threads, with folders
  /// of their own.
  UnitResult process(const Unit& unit, std::string_view head, const std::filesystem::path& source) const;

 private:
  bool compile(const std::filesystem::path& folder, const std::filesystem::path& include) const;

  std::filesystem::path root_;
  std::string compiler_;
};

}  // namespace siminfo
