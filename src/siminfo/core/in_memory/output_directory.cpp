#include "siminfo/core/in_memory/output_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace siminfo {
namespace {

/// Creates a file of its own beside `target` and returns its path, or an empty path with errno set.
std::filesystem::path createBeside(const std::filesystem::path& target) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::string name(".");
    name.append(target.filename()).append(".").append(std::to_string(getpid())).append(".");
    name.append(std::to_string(attempt)).append(".tmp");
    std::filesystem::path path = target.parent_path() / name;
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor >= 0) {
      ::close(descriptor);
      return path;
    }
    if (errno != EEXIST) break;
  }
  return {};
}

/// Whether the file is there and is this text, byte for byte.
bool holds(const std::filesystem::path& path, std::string_view text) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error) ||
      std::filesystem::file_size(path, error) != text.size())
    return false;
  std::ifstream file(path, std::ios_base::binary);
  const std::string there{std::istreambuf_iterator<char>(file), {}};
  return file && there == text;
}

}  // namespace

int OutputDirectory::open(const std::string& fileName, std::ofstream& out) {
  discard();
  failure_.clear();
  path_ = directory_ / fileName;
  std::error_code error;
  target_ = path_;
  if (std::filesystem::is_symlink(path_, error)) target_ = std::filesystem::weakly_canonical(path_, error);
  if (std::filesystem::exists(target_, error) && !std::filesystem::is_regular_file(target_, error)) {
    failure_ = path_.string() + ": is in the way and no regular file";
    return EEXIST;
  }
  temporary_ = createBeside(target_);
  if (temporary_.empty()) return fail(path_, errno);
  out.open(temporary_, std::ios_base::binary | std::ios_base::trunc);
  if (!out) return fail(temporary_, errno);
  errno = 0;  // whatever a failing write leaves here is what close() reports
  return 0;
}

int OutputDirectory::close(std::ofstream& out) {
  out.flush();
  const bool written = out.good();
  const int writeError = errno;
  out.close();
  if (!written || !out) return fail(path_, written ? errno : writeError);

  struct stat old {};
  if (::stat(target_.c_str(), &old) == 0) ::chmod(temporary_.c_str(), old.st_mode & 07777U);
  if (::rename(temporary_.c_str(), target_.c_str()) != 0) return fail(path_, errno);
  temporary_.clear();
  return 0;
}

int OutputDirectory::put(const std::string& fileName, std::string_view text) {
  path_ = directory_ / fileName;
  if (holds(path_, text)) return 0;
  std::ofstream out;
  if (const int error = open(fileName, out); error != 0) return error;
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  return close(out);
}

int OutputDirectory::refuse(std::string why) {
  failure_ = std::move(why);
  return EINVAL;
}

int OutputDirectory::fail(const std::filesystem::path& path, int error) {
  if (error == 0) error = EIO;
  failure_ = path.string() + ": " + std::generic_category().message(error);
  discard();
  return error;
}

void OutputDirectory::discard() {
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
  temporary_.clear();
}

}  // namespace siminfo
