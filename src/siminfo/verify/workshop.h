#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "siminfo/process/program.h"
#include "siminfo/verify/compiler_messages.h"
#include "siminfo/verify/frame_text.h"
#include "siminfo/verify/probe_output.h"
#include "siminfo/verify/verifier.h"

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
  std::string source;  ///< how compilers call the generated file, on a line: no path of a user's is in it
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

/// What compiles and runs, and for how long.
struct Tools {
  std::string compiler;  ///< works in the manner of g++ and clang++
  std::chrono::seconds time;
  std::size_t memory;               ///< bytes
  std::function<bool()> isStopped;  ///< called by any thread, and often
};
Tools toolsOf(const VerifyRequest& request, std::function<bool()> isStopped);

/// Compiles generated source with the reference simulator and runs it. What the machine is short of, and what
/// a compiler has too little time or memory for, is no fault of the source, and a VerifyError.
class Workshop {
 public:
  /// Works in root/units, with the simulator and the dump's header where `dump`, in `root` as well, has them.
  /// Throws std::system_error.
  Workshop(DumpFolder dump, std::filesystem::path root, Tools tools);

  /// Compiles the unit and runs it. Frames that do not compile are left out, and the others go on. Throws a
  /// VerifyError, and std::system_error when the compiler cannot be started. May be called from several
  /// threads, with folders of their own.
  UnitResult process(const Unit& unit) const;

  /// Compiles the whole text of a generated file. Returns what is wrong with it, or nothing.
  std::string wholeFault(TextLines text, const std::filesystem::path& source) const;

 private:
  class Assembly;
  struct Ran {
    ProgramEnd end;
    std::string messages;
  };
  /// Compiles a source in the folder. Returns nothing when it does, and the compiler's messages when not.
  std::optional<std::string> compile(const std::string& folder, const std::string& text,
                                     const std::vector<std::string>& options) const;
  void runProgram(const Unit& unit, UnitResult& result) const;
  Ran run(const std::vector<std::string>& command, const std::string& folder,
          const std::filesystem::path& output, std::chrono::seconds processorTime) const;
  void checkCompiler(const Ran& ran) const;
  static void checkProgram(const Ran& ran);

  DumpFolder dump_;
  std::filesystem::path root_;
  Tools tools_;
};

}  // namespace siminfo
