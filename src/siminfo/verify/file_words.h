#pragma once

#include <string>
#include <vector>

#include "siminfo/core/fabric.h"
#include "siminfo/models/model.h"
#include "siminfo/verify/line_comparison.h"

namespace siminfo {

// The lines of a generated file outside its frames' bodies, in verify's own words. Of year, version and host
// name it knows nothing but what they look like.

/// The dump's name as its file names have it.
std::string lowerName(std::string name);

/// A part of a generated file: a node's frames with the banner in front, or those of a model.
struct ExpectedSection {
  const IBNode* node;       ///< whose values the frames carry; borrowed
  std::string deviceClass;  ///< inside the dump's class
  std::string calledAs;     ///< in texts
  std::vector<std::string> banner;
};

/// The class, inside that of the dump, whose member functions restore the node.
std::string nodeClass(const IBNode& node);
ExpectedSection nodeSection(const IBNode& node);
/// That of the model, which is made with its first node.
ExpectedSection modelSection(const Model& model);

/// What the file of the dump `name` begins with; `source` is what the snapshot says it was collected from.
std::vector<ExpectedLine> headLines(const std::string& name, const std::string& source);
/// The empty lines and the banner in front of a section's frames.
std::vector<ExpectedLine> openingLines(const ExpectedSection& section);
/// The line that a frame begins with.
std::string frameHead(const std::string& name, const std::string& deviceClass, std::string_view method);
/// What stands behind the last frame.
std::vector<ExpectedLine> tailLines();

/// The includes that every frame needs to compile.
std::string includeLines(const std::string& name);

}  // namespace siminfo
