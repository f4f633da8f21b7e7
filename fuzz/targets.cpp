#include "fuzz/targets.h"

#include <array>

#include "fuzz/target.h"

namespace siminfo {

std::span<const FuzzTarget> fuzzTargets() {
  static constexpr std::array kTargets{
      FuzzTarget{"snapshot", fuzzSnapshot},
      FuzzTarget{"guid_file", fuzzGuidFile},
      FuzzTarget{"attribute_layouts", fuzzAttributeLayouts},
#ifdef SIMINFO_COLLECTS
      FuzzTarget{"discovery_cache", fuzzDiscoveryCache},
      FuzzTarget{"node_name_map", fuzzNodeNameMap},
#endif
      FuzzTarget{"generated_file", fuzzGeneratedFile},
      FuzzTarget{"probe_output", fuzzProbeOutput},
      FuzzTarget{"compiler_messages", fuzzCompilerMessages},
      FuzzTarget{"datagrams", fuzzDatagrams},
  };
  return kTargets;
}

}  // namespace siminfo
