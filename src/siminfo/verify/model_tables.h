#pragma once

#include <vector>

#include "siminfo/models/model_files.h"
#include "siminfo/verify/difference.h"

namespace siminfo {

/// How the table of nodes and the list of models differ from what they have to be: by the table, a simulator
/// gives each node its model. Throws std::system_error when one cannot be read.
std::vector<Difference> checkModelTables(const ModelFiles& files, const ModelSet& set);

}  // namespace siminfo
