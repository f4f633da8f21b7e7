#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/snapshot/snapshot.h"
#include "siminfo/verify/difference.h"
#include "siminfo/verify/dump_text.h"
#include "siminfo/verify/selection.h"

namespace siminfo {

/// What a generated file has to be.
struct ExpectedFile {
  const Snapshot& snapshot;
  std::string name;                   ///< of the dump's class
  std::vector<ExpectedNode> nodes;    ///< in the order in which they are written
  Missing missing = Missing::kError;  ///< what stands for data that a node must have
};

/// A frame that a node must have, as it is in the file.
struct FoundFrame {
  const DumpFrame* frame = nullptr;  ///< null when it is missing
  std::optional<Difference> fault;   ///< then its body is not worth a look
  std::vector<Difference> inFront;   ///< how the lines between it and the frame before differ
};

struct FoundNode {
  const ExpectedNode* expected;
  std::vector<FoundFrame> frames;  ///< one for each of the rules
};

struct FileCheck {
  std::vector<FoundNode> nodes;         ///< in the order of the file
  std::vector<Difference> differences;  ///< of everything else in the file
};

/// Accounts for everything in the file but the bodies of frames. One fault is one difference: what is edited
/// is still found. The result points into `text` and `expected`.
FileCheck checkFile(const DumpText& text, const ExpectedFile& expected);

}  // namespace siminfo
