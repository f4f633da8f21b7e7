#pragma once

#include <string>
#include <string_view>

namespace siminfo {

/// The page's files as they were when siminfo was built, and the SHA-256 of those that a browser runs, in
/// hexadecimal.
struct PageParts {
  std::string_view html;
  std::string_view css;
  std::string_view cssDigest;
  std::string_view script;
  std::string_view scriptDigest;
};
extern const PageParts kPageParts;

/// The page around a JSON document that its script shows. Browsers run this script alone and ask nobody for
/// anything, whatever texts the document holds.
std::string pageAround(std::string_view json);

/// JSON that no HTML parser mistakes for anything else inside a script element.
std::string jsonForScript(std::string_view json);

}  // namespace siminfo
