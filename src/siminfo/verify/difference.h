#pragma once

#include <string>

namespace siminfo {

/// Something that is not as it has to be: a value that the simulated node does not answer with, or text.
struct Difference {
  std::string place;  ///< "port 5", "line 57"; may be empty
  std::string field;
  std::string expected;
  std::string found;
};

}  // namespace siminfo
