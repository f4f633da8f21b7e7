#pragma once

#include <sys/types.h>

#include <filesystem>

namespace siminfo {

/// A folder to work in, and a process group for the programs that work there. Neither outlives siminfo,
/// however it ends: a process of its own, the first of the group, waits for that end, ends what is left of
/// the group and removes the folder, unless it is one to keep.
class WorkFolder {
 public:
  /// Works in the folder `keep`, or in a new one when it is empty. Throws std::system_error. To be made while
  /// siminfo has one thread.
  explicit WorkFolder(const std::filesystem::path& keep);
  ~WorkFolder();
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }  ///< absolute
  pid_t group() const { return group_; }

 private:
  std::filesystem::path path_;
  pid_t group_ = 0;
  int lifeline_ = -1;  // siminfo alone has it open: whoever reads at its other end sees siminfo end
};

}  // namespace siminfo
