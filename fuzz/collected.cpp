// What collect reads: a saved discovery, and names that a person wrote.

#include "fuzz/target.h"
#include "fuzz/targets.h"
#include "siminfo/collect/collect.h"
#include "siminfo/collect/names.h"
#include "siminfo/text/text_rules.h"
#include "tests/snapshot/snapshot_text.h"

namespace siminfo {

void fuzzDiscoveryCache(std::string_view input) {
  const FuzzFile file(input);
  CollectOptions options;
  options.cacheFile = file.path();
  try {
    const std::string text = written(collectFabric(options, {}).snapshot);
    require(refusal(text) == "none", "what is collected can be read");
  } catch (const CollectError& error) {
    require(error.kind() == CollectError::kBadFile, "a bad cache is bad input");
  }
}

void fuzzNodeNameMap(std::string_view input) {
  const FuzzFile file(input);
  try {
    for (const auto& [guid, name] : readNodeNameMap(file.path()))
      require(safeText(name) == name, "names of the map are safe text");
  } catch (const CollectError& error) {
    require(error.kind() == CollectError::kBadFile, "a bad name map is bad input");
  }
}

}  // namespace siminfo
