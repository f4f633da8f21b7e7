#pragma once

namespace siminfo {

/// Name and version of this tool, as headers and footers of generated files and --version spell them.
const char* toolNameAndVersion();

}  // namespace siminfo
