#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "siminfo/core/in_memory/temporary_file.h"
#include "siminfo/models/model.h"

namespace siminfo {

/// The files of a dump's models: sources, the table of nodes, and the list of models.
struct ModelFiles {
  std::string name;     ///< of the dump's class; lower-cased it begins the files' names
  unsigned shards = 1;  ///< source files, from 1
  std::filesystem::path folder;

  std::string lowerName() const;
  /// The source file of that number, by name.
  std::string shardFile(unsigned shard) const;
  std::string nodesFile() const;
  std::string listFile() const;
  /// Which source file a model is in. Its hash alone decides: other models come and go without moving it.
  unsigned shardOf(const Model& model) const { return static_cast<unsigned>(model.hash % shards); }
};

/// Writes the files of the set and returns their paths. A file whose bytes would be the same is not touched,
/// and sources that an earlier run with more shards left behind are removed. Throws std::runtime_error, also
/// where no source may be written.
std::vector<std::filesystem::path> writeModelFiles(const ModelWriter& writer, const ModelSet& set,
                                                   const ModelFiles& files, Durability durability);

/// A line for each model of the set that is listed: "SIMINFO_MODEL(CLASS, MODEL, PORTS)".
void printList(SectionStream& os, const ModelSet& set, const std::function<bool(const Model&)>& isListed);

/// The class for which another run has written these files, when its name differs in case alone; else empty.
std::string otherOwner(const ModelFiles& files);

}  // namespace siminfo
