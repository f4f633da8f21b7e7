#include "siminfo/cli/collect.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "siminfo/cli/command_line.h"
#include "siminfo/process/launch.h"

namespace siminfo {

void addCollectCommand(CommandLine& line, std::function<ExitStatus(const CollectCommand&)> action) {
  const auto told = std::make_shared<CollectCommand>();
  CollectOptions* options = &told->options;
  Command& command = line.addCommand(
      "collect", "Walk a live InfiniBand fabric, or read a saved discovery, into a fabric snapshot");
  const Option device =
      command.option("-C,--Ca", "CA", options->device, "Device of this host to collect through");
  const Option port = command.number("-P,--Port", "PORT", options->port, {1, 254}, "Port of that device");
  command.number("-t,--timeout", "MS", options->limits.timing.timeoutMs, {1, 600000},
                 "Milliseconds to wait for an answer");
  command.number("--outstanding-smps,--outstanding_smps", "N", options->limits.outstanding, {1, 1024},
                 "Requests to have under way at the same time");
  command.number("--max-hops", "N", options->limits.maxHops, {0, 63},
                 "Walk at most this many hops; 0, the default, sets no limit");
  command
      .option("--load-cache", "FILE", options->cacheFile,
              "Read this file, written by ibnetdiscover --cache, and send nothing to the fabric")
      .excludes(device)
      .excludes(port);
  command.option("--node-name-map", "FILE", options->nodeNameMap,
                 "File with lines 0x<guid> \"<name>\"; the names become alternative names");
  command.option("--attribute-layouts", "FILE", options->attributeLayouts,
                 "File with lines SMP_RouterInfo attribute NUMBER and RECORD.FIELD bit NUMBER, for what the\n"
                 "InfiniBand libraries do not know; without it, routers are not asked for RouterInfo");
  command.option("--fabric", "NAME", told->fabric,
                 "Name of the fabric, for the header; it tells the snapshots of many fabrics apart");
  command.option("-o,--output", "SNAPSHOT", told->output,
                 "File to write, compressed when its name ends in .gz or .zst; standard output by default,\n"
                 "and for -");
  command.flag("--partial", told->partial,
               "Let an interrupted collection replace the file that is there; without this, the new\n"
               "file has .partial added to its name");
  command.footer(
      "Ctrl-C ends the walk: it writes what it has and exits with 5. A second Ctrl-C ends it at once.\n"
      "Example: siminfo collect -C mlx4_0 -P 1 --output fabric.jsonl");
  command.does([told, action = std::move(action)] { return action(*told); });
}

void becomeCollector(const std::vector<std::string>& words) {
  const std::string name = "siminfo-collect";
  std::error_code none;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", none);
  auto path = findProgram((self.parent_path() / name).string());
  if (!path) path = findProgram(name);
  if (!path)
    throw CommandError(
        kNoFabric,
        "the program siminfo-collect, which walks the fabric, is missing; install its package, or "
        "libibnetdisc-dev, libibmad-dev, libibumad-dev and pkg-config and build siminfo again");
  std::vector<const char*> arguments{name.c_str()};
  for (const std::string& word : words) arguments.push_back(word.c_str());
  arguments.push_back(nullptr);
  execv(path->c_str(), const_cast<char* const*>(arguments.data()));
  throw CommandError(kBadInput, path->string() + ": " + std::generic_category().message(errno));
}

}  // namespace siminfo
