#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace siminfo {

/// A pipe; what is left of it closes with it. The ends do not reach other programs. Throws std::system_error.
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

/// A file without a place, for what a program prints: a full disk is no hindrance, and often what it is
/// about. Throws std::system_error.
class MemoryFile {
 public:
  MemoryFile();
  ~MemoryFile();
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  int get() const { return handle_; }
  /// What was written to it, or of much the beginning.
  std::string text() const;

 private:
  int handle_;
};

/// A file that is closed with the object, and does not reach other programs.
class FileHandle {
 public:
  /// Opens the file with these flags of open(2). A symbolic link is not followed. Throws std::system_error.
  FileHandle(const std::filesystem::path& path, int flags);
  ~FileHandle();
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  int get() const { return handle_; }
  /// Waits until no other process has the file locked. False when `isStopped` says true before.
  bool lock(const std::function<bool()>& isStopped) const;

 private:
  int handle_;
};

}  // namespace siminfo
