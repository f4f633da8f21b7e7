#include "siminfo/process/descriptors.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

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

FileHandle::FileHandle(const std::filesystem::path& path, int flags)
    : handle_(open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, 0666)) {
  if (handle_ < 0) fail(errno, path.string());
}
FileHandle::~FileHandle() { close(handle_); }

bool FileHandle::lock(const std::function<bool()>& isStopped) const {
  constexpr std::chrono::milliseconds kLook{5};
  while (flock(handle_, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) fail(errno, "a lock");
    if (isStopped()) return false;
    std::this_thread::sleep_for(kLook);
  }
  return true;
}

}  // namespace siminfo
