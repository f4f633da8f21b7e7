#pragma once

#include <sys/types.h>

#include <filesystem>

namespace siminfo {

/// A folder to work in. It does not outlive siminfo, however that ends, unless it is one to keep: a process
/// of its own waits for that end and removes it.
class WorkFolder {
 public:
  /// Works in the folder `keep`, or in a new one when it is empty. `keep` must be new, empty, or what an
  /// earlier one left, which is removed from it: nothing in it hides a header or leads elsewhere. Throws a
  /// VerifyError, std::system_error. To be made while siminfo has one thread.
  explicit WorkFolder(const std::filesystem::path& keep);
  ~WorkFolder();
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }  ///< absolute

 private:
  std::filesystem::path path_;
  pid_t remover_ = 0;  // 0 when there is none
  int lifeline_ = -1;  // siminfo alone has it open: whoever reads at its other end sees siminfo end
};

}  // namespace siminfo
