#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "siminfo/snapshot/snapshot.h"
#include "siminfo/verify/file_check.h"
#include "siminfo/verify/own_text.h"
#include "siminfo/verify/results.h"

namespace siminfo {

/// What a file of nodes is made of. The nodes are borrowed.
struct NodeFileOf {
  std::string name;    ///< of the dump's class
  std::string source;  ///< the snapshot's
  const std::vector<const IBNode*>& nodes;
};

/// What the ordinary file of these nodes has to be.
ExpectedFile expectedNodeFile(const NodeFileOf& of);

/// How the frames of one node differ from those of its model, by rule.
using FrameFaults = std::map<std::size_t, std::vector<Difference>>;

struct NodeFileCheck {
  std::vector<Difference> differences;                     ///< outside the frames
  std::unordered_map<const IBNode*, FrameFaults> ofNodes;  ///< those that differ
};

/// Writes the file of the nodes into the folder, as siminfo generate does. Returns its path. Throws
/// std::system_error.
std::filesystem::path generateNodeFile(Snapshot& snapshot, const std::string& name,
                                       const std::vector<const IBNode*>& nodes, const NodeFileForm& form,
                                       const std::filesystem::path& folder);

/// Compares a file of nodes with what it has to be. `ownText` says what a node's frames are; null when
/// nothing is known of them. Throws std::system_error when the file cannot be read.
NodeFileCheck checkNodeFile(const std::filesystem::path& path, const NodeFileOf& of,
                            const std::function<const OwnText*(const IBNode&)>& ownText);

/// The text of a file. Throws std::system_error.
std::string readText(const std::filesystem::path& path);

}  // namespace siminfo
