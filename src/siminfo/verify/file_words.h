#pragma once

#include <string>
#include <vector>

#include "siminfo/verify/expectation.h"
#include "siminfo/verify/line_comparison.h"

namespace siminfo {

// The lines of a generated file outside its frames' bodies, in verify's own words. Of year, version and host
// name it knows nothing but what they look like.

/// The dump's name as its file names have it.
std::string lowerName(std::string name);

/// What the file of the dump `name` begins with; `source` is what the snapshot says it was collected from.
std::vector<ExpectedLine> headLines(const std::string& name, const std::string& source);
/// The empty lines and the banner in front of a node's frames.
std::vector<ExpectedLine> openingLines(const Expectation& node);
/// The line that a frame begins with.
std::string frameHead(const std::string& name, const Expectation& node, std::string_view method);
/// What stands behind the last frame.
std::vector<ExpectedLine> tailLines();

/// The includes that every frame needs to compile.
std::string includeLines(const std::string& name);

}  // namespace siminfo
