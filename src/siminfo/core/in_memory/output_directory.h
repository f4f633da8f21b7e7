#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace siminfo {

/// Output files of a directory that appear whole or not at all. A file is written beside its place under a
/// hidden name and renamed when it is complete; until then, and after a failure, the old file stays.
class OutputDirectory {
 public:
  explicit OutputDirectory(std::filesystem::path directory) : directory_(std::move(directory)) {}
  ~OutputDirectory() { discard(); }
  OutputDirectory(const OutputDirectory&) = delete;
  OutputDirectory& operator=(const OutputDirectory&) = delete;

  /// Opens `out` for the file of that name. Returns 0, or an errno value, of which failure() says more.
  int open(const std::string& fileName, std::ofstream& out);
  /// Flushes, closes and checks the file, and puts it in its place. Returns like open().
  int close(std::ofstream& out);

  /// Makes the file hold the text, and does not touch one that does already. Returns like open().
  int put(const std::string& fileName, std::string_view text);

  /// Opens nothing, for that reason. Returns an errno value.
  int refuse(std::string why);

  /// Where the file that was opened last stands once it is closed.
  const std::filesystem::path& path() const { return path_; }
  /// Path and cause of the last failure, or an empty text.
  const std::string& failure() const { return failure_; }

 private:
  int fail(const std::filesystem::path& path, int error);
  void discard();

  std::filesystem::path directory_;
  std::filesystem::path path_;       // the file as it was asked for
  std::filesystem::path target_;     // what is replaced: a symbolic link's target, not the link
  std::filesystem::path temporary_;  // empty when no file is open
  std::string failure_;
};

}  // namespace siminfo
