#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "siminfo/core/in_memory/temporary_file.h"

namespace siminfo {

/// Output files of a directory that appear whole or not at all; until then, and after a failure, the old file
/// stays. A new file has the mode that the umask leaves, another one keeps its own, without setuid, setgid
/// and sticky. A symbolic link stays and its target is replaced, if this user or root made the link; anybody
/// else's is refused.
class OutputDirectory {
 public:
  explicit OutputDirectory(std::filesystem::path directory, Durability durability = Durability::kSynced)
      : directory_(std::move(directory)), durability_(durability) {}

  /// Opens `out` for the file of that name. Returns 0, or an errno value, of which failure() says more.
  int open(const std::string& fileName, std::ofstream& out);
  /// Flushes, closes and checks the file, and puts it in its place. Returns like open().
  int close(std::ofstream& out);

  /// Makes the file hold the text, and does not touch one that does already. Returns like open().
  int put(const std::string& fileName, std::string_view text);

  /// Opens nothing, for that reason. Returns an errno value.
  int refuse(std::string why) { return fail(EINVAL, std::move(why)); }

  /// Where the file that was opened last stands once it is closed.
  const std::filesystem::path& path() const { return path_; }
  /// Path and cause of the last failure, or an empty text.
  const std::string& failure() const { return failure_; }

 private:
  int locate(const std::string& fileName);
  int openLocated(std::ofstream& out);
  bool holds(std::string_view text) const;
  int fail(int error);
  int fail(int error, std::string why);

  std::filesystem::path directory_;
  Durability durability_;
  std::filesystem::path path_;  // the file as it was asked for
  Descriptor folder_;           // where it really is, behind a symbolic link perhaps
  std::string name_;            // and its name there
  TemporaryFile temporary_;
  std::string failure_;
};

}  // namespace siminfo
