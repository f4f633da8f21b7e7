#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "siminfo/core/fabric.h"

namespace siminfo {

/// What stands in a frame, judged by its text alone.
enum class FrameText : std::uint8_t {
  kBlock,
  kComment,       ///< one line that says why there is no block
  kError,         ///< the same, as an #error line
  kUncompilable,  ///< a block that is no C++ by the format's own definition
};

/// One emitted member function. Texts are pieces of the file.
struct DumpFrame {
  std::string_view method;
  std::size_t line;  ///< of its head in the file, from 1
  std::size_t lines;
  std::string_view text;  ///< from its head to its closing brace
  std::string_view body;
  FrameText kind() const;
};

/// All that the file holds of one node.
struct DumpSection {
  std::string_view banner;  ///< two lines
  std::vector<DumpFrame> frames;
};

/// A generated file, taken apart. Nothing is copied or judged: an edited file comes out as it is.
class DumpText {
 public:
  explicit DumpText(std::string text);
  DumpText(const DumpText&) = delete;
  DumpText& operator=(const DumpText&) = delete;

  /// What stands before the first node.
  std::string_view head() const { return head_; }
  /// The sections of the given nodes, in their order, which is the file's: null for a node that the file does
  /// not hold.
  std::vector<const DumpSection*> sectionsOf(const std::vector<const IBNode*>& nodes) const;

 private:
  std::string text_;
  std::string_view head_;
  std::vector<DumpSection> sections_;
};

}  // namespace siminfo
