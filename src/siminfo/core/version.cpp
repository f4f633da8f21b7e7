#include "siminfo/core/version.h"

namespace siminfo {

const char* toolNameAndVersion() { return "siminfo " SIMINFO_VERSION; }

}  // namespace siminfo
