#include "siminfo/cli/console.h"
#include "siminfo/cli/generate_options.h"
#include "siminfo/cli/selection.h"
#include "siminfo/models/project.h"

namespace siminfo {

void reportStandIns(const StandIns& standIns, bool exactPorts) {
  std::string frames;
  for (const auto& [method, ports] : standIns)
    frames.append(frames.empty() ? "" : ", ").append(method).append(" ").append(std::to_string(ports));
  if (frames.empty()) return;
  printNote(
      "ports that answer with another port's values: " + frames +
      (exactPorts ? "; they have one record for all ports" : "; --exact-ports gives each its own values"));
}

std::vector<std::filesystem::path> generateModels(const GenerateOptions& options, Snapshot& snapshot,
                                                  const std::vector<const IBNode*>& nodes) {
  InMemoryDrovik engine(snapshot.discovered, options.outputDir);
  const ModelWriter writer(engine, options.exactPorts);
  const ModelSet set = writer.findModels(nodes);
  const ModelFiles files = options.project ? projectFiles(options.name, options.shards, options.outputDir)
                                           : ModelFiles{options.name, options.shards, options.outputDir};
  if (const std::string other = otherOwner(files); !other.empty())
    printWarning("the files of " + other + " in " + options.outputDir + " are replaced, as those of " +
                 options.name + " have the same names");
  constexpr Durability kSynced = Durability::kSynced;
  std::vector<std::filesystem::path> written =
      options.project ? writeProject(writer, set, options.name, options.shards, options.outputDir, kSynced)
                      : writeModelFiles(writer, set, files, kSynced);
  reportFrames(counted(set.nodes.size(), "node") + ", " + counted(set.models.size(), "model"), set.summary,
               Missing::kComment);
  reportStandIns(set.standIns, options.exactPorts);
  return written;
}

}  // namespace siminfo
