// What libFuzzer calls. SIMINFO_FUZZ_TARGET names the target.

#include <algorithm>
#include <cstdlib>

#include "fuzz/target.h"

namespace {

const siminfo::FuzzTarget& chosenTarget() {
  const char* name = std::getenv("SIMINFO_FUZZ_TARGET");
  for (const siminfo::FuzzTarget& target : siminfo::fuzzTargets()) {
    if (name != nullptr && target.name == name) return target;
  }
  std::fputs("SIMINFO_FUZZ_TARGET: expected one of these:", stderr);
  for (const siminfo::FuzzTarget& target : siminfo::fuzzTargets())
    std::fprintf(stderr, " %s", target.name.data());
  std::fputs("\n", stderr);
  std::exit(2);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const siminfo::FuzzTarget& target = chosenTarget();
  target.run({reinterpret_cast<const char*>(bytes), size});
  return 0;
}
