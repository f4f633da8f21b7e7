// Stands in for the rest of this folder in builds without the InfiniBand libraries.
#include "siminfo/collect/collect.h"

namespace siminfo {

Collected collectFabric(const CollectOptions&, const CollectWatch&) {
  throw CollectError(CollectError::kNoPort,
                     "this siminfo was built without the InfiniBand libraries; install libibnetdisc-dev, "
                     "libibmad-dev, libibumad-dev and pkg-config, and build it again");
}

}  // namespace siminfo
