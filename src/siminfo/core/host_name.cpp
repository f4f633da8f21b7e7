#include "siminfo/core/host_name.h"

#include <unistd.h>

#include <array>

namespace siminfo {

std::string hostName() {
  std::array<char, 1024> name{};
  gethostname(name.data(), name.size() - 1);
  return name.data();
}

}  // namespace siminfo
