// Files that a person writes for any command.

#include "fuzz/target.h"
#include "fuzz/targets.h"
#include "siminfo/cli/arguments.h"
#include "siminfo/cli/command.h"
#include "siminfo/snapshot/attribute_layouts.h"

namespace siminfo {

void fuzzAttributeLayouts(std::string_view input) {
  const FuzzFile file(input);
  AttributeLayouts layouts;
  if (!readAttributeLayouts(file.path(), layouts).empty()) return;
  for (const auto& [field, bit] : layouts.firstBits)
    require(bit + field->bits <= 512, "fields are inside of the attribute");
}

void fuzzGuidFile(std::string_view input) {
  const FuzzFile file(input);
  try {
    require(!readGuids({}, file.path()).empty(), "a list of GUIDs is never empty");
  } catch (const CommandError& error) {
    require(error.status() == kBadInput, "a bad list is bad input");
  }
}

}  // namespace siminfo
