// A shared object to preload: the host has the name that HOST_NAME says, which may be any bytes.
#include <cstdlib>
#include <cstring>

// Not <unistd.h>: with the checks of a hardened build it defines the function itself.
extern "C" int gethostname(char* name, std::size_t size) noexcept {
  const char* told = std::getenv("HOST_NAME");
  std::strncpy(name, told != nullptr ? told : "", size);
  return 0;
}
