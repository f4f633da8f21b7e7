#include "siminfo/core/in_memory/output_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <ext/stdio_filebuf.h>
#include <system_error>

namespace siminfo {
namespace {

/// What the umask leaves of a new file's mode. Asked for before there are threads, as asking changes it.
const mode_t kNewMode = []() noexcept {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return 0666U & ~mask;
}();

bool isTrusted(uid_t owner) { return owner == 0 || owner == ::geteuid(); }

std::filesystem::path targetOf(const Descriptor& link) {
  std::array<char, PATH_MAX> target{};
  const ssize_t size = ::readlinkat(link.get(), "", target.data(), target.size());
  return std::string(target.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
}

}  // namespace

/// Opens the folder in which the file is, or is to be, with every link on the way judged as it is followed.
int OutputDirectory::locate(const std::string& fileName) {
  constexpr int kMostLinks = 40;
  temporary_.discard();
  failure_.clear();
  path_ = directory_ / fileName;
  folder_ = Descriptor();
  std::filesystem::path at = path_;
  for (int links = 0; links <= kMostLinks; ++links) {
    const std::filesystem::path parent = at.has_parent_path() ? at.parent_path() : ".";
    Descriptor folder(
        ::openat(folder_ ? folder_.get() : AT_FDCWD, parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) return fail(errno);
    folder_ = std::move(folder);
    name_ = at.has_filename() ? at.filename().string() : ".";
    const Descriptor found(::openat(folder_.get(), name_.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!found) return errno == ENOENT ? 0 : fail(errno);
    struct stat info {};
    if (::fstat(found.get(), &info) != 0) return fail(errno);
    if (S_ISREG(info.st_mode)) return 0;
    if (!S_ISLNK(info.st_mode)) return fail(EEXIST, path_.string() + ": exists and is not a regular file");
    if (!isTrusted(info.st_uid))
      return fail(EPERM, path_.string() + ": is a symbolic link that belongs to another user (UID " +
                             std::to_string(info.st_uid) + "); expected a file, or a link of your own");
    at = targetOf(found);
  }
  return fail(ELOOP);
}

int OutputDirectory::openLocated(std::ofstream& out) {
  if (const int error = temporary_.create(folder_); error != 0) return fail(error);
  const int descriptor = ::fcntl(temporary_.descriptor().get(), F_DUPFD_CLOEXEC, 0);
  if (descriptor < 0) return fail(errno);
  // The file has no name to open it by.
  out.clear();
  *out.rdbuf() = __gnu_cxx::stdio_filebuf<char>(descriptor, std::ios_base::out | std::ios_base::binary);
  if (!out.is_open()) return fail(errno);
  errno = 0;  // whatever a failing write leaves here is what close() reports
  return 0;
}

int OutputDirectory::open(const std::string& fileName, std::ofstream& out) {
  const int error = locate(fileName);
  return error == 0 ? openLocated(out) : error;
}

int OutputDirectory::close(std::ofstream& out) {
  out.flush();
  const bool isWritten = out.good();
  const int writeError = errno;
  out.close();
  if (!isWritten || !out) return fail(isWritten ? errno : writeError);

  struct stat old {};
  const bool isNew =
      ::fstatat(folder_.get(), name_.c_str(), &old, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(old.st_mode);
  const int error = temporary_.replace(name_, isNew ? kNewMode : old.st_mode & 0777U, durability_);
  return error == 0 ? 0 : fail(error);
}

/// Whether the file is there and is this text, byte for byte.
bool OutputDirectory::holds(std::string_view text) const {
  const Descriptor there(
      ::openat(folder_.get(), name_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat info {};
  if (!there || ::fstat(there.get(), &info) != 0 || !S_ISREG(info.st_mode) ||
      static_cast<std::size_t>(info.st_size) != text.size())
    return false;
  std::array<char, 16384> piece;
  for (;;) {
    const ssize_t got = ::read(there.get(), piece.data(), piece.size());
    if (got <= 0) return got == 0 && text.empty();
    if (!text.starts_with(std::string_view(piece.data(), static_cast<std::size_t>(got)))) return false;
    text.remove_prefix(static_cast<std::size_t>(got));
  }
}

int OutputDirectory::put(const std::string& fileName, std::string_view text) {
  if (const int error = locate(fileName); error != 0 || holds(text)) return error;
  std::ofstream out;
  if (const int error = openLocated(out); error != 0) return error;
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  return close(out);
}

int OutputDirectory::fail(int error) {
  if (error == 0) error = EIO;
  return fail(error, path_.string() + ": " + std::generic_category().message(error));
}

int OutputDirectory::fail(int error, std::string why) {
  failure_ = std::move(why);
  temporary_.discard();
  return error;
}

}  // namespace siminfo
