#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "siminfo/models/model.h"
#include "siminfo/serve/served_file.h"

namespace siminfo {

/// What serving a snapshot is kept from by.
class ServeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The folder of a snapshot's project below the user's cache: $XDG_CACHE_HOME/siminfo/serve, or
/// ~/.cache/siminfo/serve. It depends on where the snapshot is, so that what is served again is compiled
/// where it changed alone. Throws a ServeError when there is neither variable.
std::filesystem::path serveFolder(const std::string& snapshotFile, bool exactPorts);

/// Makes the folder hold the project of the models, the server's program, and the file of who is served.
/// Throws what std::filesystem throws, and std::system_error.
void writeServerProject(const ModelWriter& writer, const ModelSet& set, std::string_view served,
                        const std::filesystem::path& root);

/// What building may take.
struct BuildLimits {
  unsigned seconds = 3600;  ///< for each of the two steps
  unsigned memory = 4096;   ///< MiB, for each process
};

struct ServerBuild {
  std::function<bool()> isStopped;
  std::function<void()> tick;  ///< called while it runs, and often
  BuildLimits limits = {};
};

/// Compiles what changed, and everything where a build before was cut short. Throws a ServeError that names
/// what is missing or has the compiler's last words.
void buildServer(const std::filesystem::path& root, const ServerBuild& watch);

/// Where the parts of a project are.
std::filesystem::path serverProgram(const std::filesystem::path& root);
std::filesystem::path servedFile(const std::filesystem::path& root);

}  // namespace siminfo
