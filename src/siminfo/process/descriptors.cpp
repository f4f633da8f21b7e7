#include "siminfo/process/descriptors.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>

namespace siminfo {
namespace {

[[noreturn]] void fail(int error, const std::string& what) {
  throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

Pipe::Pipe() {
  if (pipe2(ends_, O_CLOEXEC) != 0) fail(errno, "a pipe");
}
Pipe::~Pipe() {
  closeRead();
  closeWrite();
}
void Pipe::closeEnd(int end) {
  if (ends_[end] >= 0) close(ends_[end]);
  ends_[end] = -1;
}

MemoryFile::MemoryFile() : handle_(memfd_create("siminfo", MFD_CLOEXEC)) {
  if (handle_ < 0) fail(errno, "a file in memory");
}
MemoryFile::~MemoryFile() { close(handle_); }

std::string MemoryFile::text() const {
  constexpr std::size_t kMost = std::size_t{1} << 24U;
  struct stat file {};
  if (fstat(handle_, &file) != 0) fail(errno, "a file in memory");
  std::string text(std::min(static_cast<std::size_t>(file.st_size), kMost), '\0');
  const ssize_t size = pread(handle_, text.data(), text.size(), 0);
  if (size < 0) fail(errno, "a file in memory");
  text.resize(static_cast<std::size_t>(size));
  return text;
}

FileHandle::FileHandle(const std::filesystem::path& path, int flags)
    : handle_(open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, 0666)) {
  if (handle_ < 0) fail(errno, path.string());
}
FileHandle::~FileHandle() { close(handle_); }

bool FileHandle::lock(const std::function<bool()>& isStopped) const {
  constexpr std::chrono::milliseconds kPause{5};
  while (flock(handle_, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) fail(errno, "a lock");
    if (isStopped()) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

}  // namespace siminfo
