#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace siminfo {

/// An error that a compiler found on a line of the generated file.
struct CompilerError {
  std::size_t line;
  std::string words;
};

/// What g++ and clang++ have to say about a unit.
struct CompilerMessages {
  std::vector<CompilerError> errors;  ///< in the generated file, in the compiler's order
  std::string anything;               ///< the message to show when there are none

  /// `source` is how the generated file is called, which may have spaces, quotation marks and colons in it.
  CompilerMessages(std::string_view text, const std::string& source);
};

}  // namespace siminfo
