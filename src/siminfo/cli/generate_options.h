#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "siminfo/cli/command.h"
#include "siminfo/cli/selection.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/models/exact_ports.h"
#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// What the command line of `siminfo generate` says.
struct GenerateOptions {
  std::string snapshot;
  std::string name;
  Selection selection;
  std::string outputDir = ".";
  bool onePerClass = false;
  bool buildable = false;
  bool simulatorHeader = false;
  Missing missing = Missing::kError;
  bool models = false;
  unsigned shards = 1;
  bool project = false;
  bool exactPorts = false;
  std::string depfile;
  unsigned jobs = 0;
};

/// Tells what came of the frames; `what` was generated of `summary`.
void reportFrames(const std::string& what, const GenerationSummary& summary, Missing missing);

/// Tells of ports for which the simulated node answers with another port's values.
void reportStandIns(const StandIns& standIns, bool exactPorts);

/// Writes every distinct device once, and a table of the nodes that are of each: `siminfo generate --models`.
/// Returns the files' paths.
std::vector<std::filesystem::path> generateModels(const GenerateOptions& options, Snapshot& snapshot,
                                                  const std::vector<const IBNode*>& nodes);

}  // namespace siminfo
