#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "siminfo/models/model_files.h"

namespace siminfo {

/// A folder that builds by itself: the files of a dump's models in dumps/<lower name>/, the reference
/// simulator in core/ and infiniband/, and CMakeLists.txt, for a library of the models and a program that
/// restores the nodes. Other files in the folder stay. Returns the paths of the dump's files. Throws
/// std::runtime_error.
std::vector<std::filesystem::path> writeProject(const ModelWriter& writer, const ModelSet& set,
                                                const std::string& name, unsigned shards,
                                                const std::filesystem::path& root,
                                                Durability durability = Durability::kScratch);

/// Where the files of the models of that dump stand in a project.
ModelFiles projectFiles(const std::string& name, unsigned shards, const std::filesystem::path& root);

}  // namespace siminfo
