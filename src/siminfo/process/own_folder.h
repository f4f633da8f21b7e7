#pragma once

#include <filesystem>

namespace siminfo {

/// Makes the folder, for this user alone, unless it is there; folders on the way to it as well. Throws
/// std::system_error, and std::runtime_error when it is no folder, or not one where this user alone decides
/// what is in it: somebody else's, or one in which everybody may write. The folder itself may be no symbolic
/// link.
void makeOwnFolder(const std::filesystem::path& folder);

}  // namespace siminfo
