#include "siminfo/process/own_folder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

#include "siminfo/text/quoting.h"

namespace siminfo {
namespace {

/// Why somebody else may decide what is in it; empty when nobody does.
std::string faultOf(const struct stat& folder) {
  if (S_ISLNK(folder.st_mode)) return "is a symbolic link";
  if (!S_ISDIR(folder.st_mode)) return "is not a folder";
  if (folder.st_uid != geteuid()) return "belongs to another user";
  if ((folder.st_mode & S_IWOTH) != 0) return "is writable by everybody";
  return {};
}

}  // namespace

void makeOwnFolder(const std::filesystem::path& folder) {
  if (folder.has_parent_path() && !std::filesystem::exists(folder.parent_path()))
    makeOwnFolder(folder.parent_path());
  struct stat found {};
  if ((mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) || lstat(folder.c_str(), &found) != 0)
    throw std::system_error(errno, std::generic_category(), folder.string());
  if (const std::string fault = faultOf(found); !fault.empty())
    throw std::runtime_error(inQuotes(folder.string()) + " " + fault + "; expected a folder of your own");
}

}  // namespace siminfo
