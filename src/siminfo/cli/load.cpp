#include "siminfo/cli/load.h"

#include <system_error>
#include <thread>

#include "siminfo/cli/command.h"
#include "siminfo/cli/console.h"
#include "siminfo/snapshot/reader.h"

namespace siminfo {

std::unique_ptr<Snapshot> loadSnapshot(const std::string& fileName, unsigned jobs) {
  if (jobs == 0) jobs = std::thread::hardware_concurrency();
  Progress progress;
  const auto show = [&](std::size_t nodes, std::size_t bytes) {
    progress.show("reading " + fileName + ": " + std::to_string(nodes) + " nodes, " +
                  std::to_string(bytes / 1000000) + " MB");
  };
  try {
    return std::make_unique<Snapshot>(readSnapshotFile(fileName, jobs, show));
  } catch (const SnapshotError& error) {
    throw CommandError(kBadInput, error.what());
  } catch (const std::system_error& error) {
    throw CommandError(kBadInput, error.what());
  }
}

}  // namespace siminfo
