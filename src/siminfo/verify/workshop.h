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
#include "siminfo/verify/probe_output.h"

namespace siminfo {

/// The set functions of one class of a dump.
struct UnitDevice {
  std::string deviceClass;  ///< inside the class of the dump
  unsigned lastPort;
  std::vector<std::pair<unsigned, unsigned>> pushKeys;
  std::vector<UnitFrame> frames;
};

/// A part of a generated file as a program.
struct Unit {
  std::string folder;  ///< name of its own below the units
  std::string source;  ///< how compilers are told to call the generated file
  std::vector<UnitDevice> devices;
  /// The first lines of a program that takes a whole file in as it is; empty when the frames alone are
  /// wanted.
  std::string asItIs = {};
};

/// How the folder of a dump is laid out, as generated source expects it: "../../core/node.h" from its own
/// place is the simulator's.
struct DumpFolder {
  std::filesystem::path root;
  std::string dumpName;

  std::filesystem::path path() const;
};

/// Compiles generated source with the reference simulator and runs it.
class Workshop {
 public:
  /// Works in `units`, a folder of its own, with the simulator and the dump's header where `dump` has them.
  /// `compiler` works in the manner of g++ and clang++. Throws std::system_error.
  Workshop(DumpFolder dump, const std::filesystem::path& units, std::string compiler,
           ChildProcesses children);

  /// Compiles the unit and runs it. Frames that do not compile are left out, and the others go on. Throws
  /// std::system_error when the compiler cannot be started. May be called from several threads, with folders
  /// of their own.
  UnitResult process(const Unit& unit) const;

  /// Compiles the whole text of a generated file. Returns what is wrong with it, or nothing.
  std::string wholeFault(TextLines text, const std::filesystem::path& source) const;

 private:
  class Assembly;
  /// Compiles a source in the folder. Returns whether it does; the messages are of interest when it does not.
  bool compile(const std::string& folder, const std::string& text,
               const std::vector<std::string>& options) const;
  CompilerMessages messages(const std::string& folder, const std::string& source) const;
  void runProgram(const Unit& unit, UnitResult& result) const;

  DumpFolder dump_;
  std::filesystem::path units_;
  std::string compiler_;
  ChildProcesses children_;
};

}  // namespace siminfo
