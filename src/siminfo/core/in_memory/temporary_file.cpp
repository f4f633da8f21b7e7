#include "siminfo/core/in_memory/temporary_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace siminfo {

/// A name that a signal handler may read.
class TemporaryFile::Name {
 public:
  /// Null when too many are taken.
  static Name* claim(int folder, const std::string& text) {
    for (Name& name : all) {
      int isFree = kFree;
      if (!name.folder_.compare_exchange_strong(isFree, kClaimed)) continue;
      text.copy(name.text_.data(), name.text_.size() - 1);
      name.folder_ = folder;
      return &name;
    }
    return nullptr;
  }
  void drop() { folder_ = kFree; }

  static void removeAll() {
    for (const Name& name : all) {
      if (const int folder = name.folder_; folder >= 0) ::unlinkat(folder, name.text_.data(), 0);
    }
  }

 private:
  static constexpr int kFree = -1;
  static constexpr int kClaimed = -2;
  static constexpr std::size_t kMost = 64;  // as many threads write at a time, at most
  static_assert(std::atomic<int>::is_always_lock_free);
  static std::array<Name, kMost> all;

  std::atomic<int> folder_ = kFree;
  std::array<char, 64> text_{};
};

std::array<TemporaryFile::Name, TemporaryFile::Name::kMost> TemporaryFile::Name::all;

void TemporaryFile::DropName::operator()(Name* name) const { name->drop(); }

namespace {

int synced(int descriptor) {
  int status = 0;
  do status = ::fsync(descriptor);
  while (status != 0 && errno == EINTR);
  // Some file systems have nothing to sync, and say so.
  return status == 0 || errno == EINVAL ? 0 : errno;
}

/// As good as unique, and nobody can guess it. Empty when there is no randomness.
std::string freshName() {
  std::array<unsigned char, 8> bytes{};
  if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) return {};
  std::string name(".siminfo-");
  for (const unsigned byte : bytes)
    name.append({"0123456789abcdef"[byte >> 4U], "0123456789abcdef"[byte & 15U]});
  return name + ".tmp";
}

/// Whether the file system, or the kernel, has no files without a name.
bool isUnknownFlag(int error) { return error == EOPNOTSUPP || error == EISDIR || error == EINVAL; }

}  // namespace

Descriptor::~Descriptor() {
  if (number_ >= 0) ::close(number_);
}

int TemporaryFile::takeName() {
  name_ = freshName();
  if (name_.empty()) return errno;
  claimed_.reset(Name::claim(folder_, name_));
  return 0;
}

int TemporaryFile::createNamed() {
  if (const int error = takeName(); error != 0) return error;
  file_ = Descriptor(
      ::openat(folder_, name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (file_) return 0;
  const int error = errno;
  claimed_.reset();
  name_.clear();
  return error;
}

int TemporaryFile::create(const Descriptor& folder) {
  discard();
  folder_ = folder.get();
  // A file without a name gets one by way of /proc.
  if (::access("/proc/self/fd", X_OK) != 0) return createNamed();
  file_ = Descriptor(::openat(folder_, ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
  if (file_) return 0;
  return isUnknownFlag(errno) ? createNamed() : errno;
}

int TemporaryFile::replace(const std::string& name, mode_t mode, Durability durability) {
  ::fchmod(file_.get(), mode);  // where there are modes; elsewhere there is nothing to keep
  if (durability == Durability::kSynced) {
    if (const int error = synced(file_.get()); error != 0) return error;
  }
  if (name_.empty()) {
    if (const int error = takeName(); error != 0) return error;
    const std::string open = "/proc/self/fd/" + std::to_string(file_.get());
    if (::linkat(AT_FDCWD, open.c_str(), folder_, name_.c_str(), AT_SYMLINK_FOLLOW) != 0) return errno;
  }
  if (::renameat(folder_, name_.c_str(), folder_, name.c_str()) != 0) return errno;
  claimed_.reset();
  name_.clear();
  return durability == Durability::kSynced ? synced(folder_) : 0;
}

void TemporaryFile::discard() {
  if (!name_.empty()) ::unlinkat(folder_, name_.c_str(), 0);
  claimed_.reset();
  name_.clear();
  file_ = Descriptor();
}

void TemporaryFile::removeAll() { Name::removeAll(); }

void TemporaryFile::removeAllWhenKilled() {
  struct sigaction action {};
  action.sa_flags = static_cast<int>(SA_RESETHAND);  // so that the signal does its work in the end
  action.sa_handler = [](int signal) {
    Name::removeAll();
    ::raise(signal);
  };
  sigfillset(&action.sa_mask);
  static constexpr std::array kHarmless{SIGCHLD, SIGCONT, SIGTSTP, SIGTTIN, SIGTTOU, SIGURG, SIGWINCH};
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    struct sigaction old {};
    if (std::ranges::find(kHarmless, signal) == kHarmless.end() && ::sigaction(signal, nullptr, &old) == 0 &&
        old.sa_handler == SIG_DFL)
      ::sigaction(signal, &action, nullptr);
  }
}

}  // namespace siminfo
