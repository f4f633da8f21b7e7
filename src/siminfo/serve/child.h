#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace siminfo {

/// Streams and environment of a program to start. Streams that are -1 are those of siminfo.
struct ChildSetup {
  int input = -1;
  int output = -1;
  int errors = -1;
  std::map<std::string, std::string> environment;  ///< beside siminfo's own, or in place of it
  bool isGroup = false;                            ///< what it starts itself ends with it when it is asked to
};

/// A program that siminfo started. It is ended, and waited for, when the object goes.
class Child {
 public:
  /// Throws std::system_error when the program cannot be started.
  Child(const std::vector<std::string>& command, const ChildSetup& setup);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// The exit status once the program has ended, 128 and the signal where one ended it.
  std::optional<int> status();
  /// Waits for the end, and once `isStopped` says true asks for it.
  int wait(const std::function<bool()>& isStopped);

 private:
  pid_t process_ = 0;
  bool isGroup_;
  std::optional<int> status_;
};

/// A pipe; what is left of it closes with it. The ends do not reach other programs.
class Pipe {
 public:
  Pipe();
  ~Pipe();
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  int readEnd() const { return ends_[0]; }
  int writeEnd() const { return ends_[1]; }
  void closeRead() { closeEnd(0); }
  void closeWrite() { closeEnd(1); }

 private:
  void closeEnd(int end);
  int ends_[2] = {-1, -1};
};

/// A file to write, or to lock, that is closed with the object. Throws std::system_error.
class FileHandle {
 public:
  explicit FileHandle(const std::filesystem::path& path);
  ~FileHandle();
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  int get() const { return handle_; }
  /// Waits until no other process has the file locked. False when `isStopped` says true before.
  bool lock(const std::function<bool()>& isStopped) const;

 private:
  int handle_;
};

/// Where a program is that PATH knows; nothing when it does not.
std::optional<std::filesystem::path> findProgram(const std::string& name);

}  // namespace siminfo
