#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace siminfo {

/// TextLines of a file, without their ends.
using TextLines = std::span<const std::string_view>;

/// One emitted member function.
struct DumpFrame {
  TextLines gap;            ///< what stands between it and whatever comes before
  std::size_t line;         ///< of its head in the file, from 1
  std::string_view head;    ///< "void Fab1::SW::setNodeInfo() {"
  std::string_view method;  ///< "setNodeInfo"; empty when the head is of another form
  TextLines body;           ///< begins on the line below the head
  bool isClosed;            ///< by a line "}"
};

/// All that the file holds of one node.
struct DumpSection {
  TextLines
      opening;  ///< from whatever comes before to the banner's end; of the first, the file's head is in it
  TextLines banner;  ///< of a node its two lines, or what is left of them; of a model one
  std::vector<DumpFrame> frames;
};

/// A generated file, taken apart: every line of it is in one of the parts. Nothing is judged, so that an
/// edited file comes out as it is.
class DumpText {
 public:
  explicit DumpText(std::string text);
  DumpText(const DumpText&) = delete;
  DumpText& operator=(const DumpText&) = delete;

  const std::vector<DumpSection>& sections() const { return sections_; }
  /// What stands behind the last frame.
  TextLines tail() const { return tail_; }
  bool endsWithLineEnd() const { return text_.ends_with('\n'); }
  /// All lines.
  TextLines lines() const { return lines_; }
  /// The number in the file of the first of these lines of it, from 1.
  std::size_t numberOf(TextLines part) const {
    return static_cast<std::size_t>(part.data() - lines_.data()) + 1;
  }

 private:
  TextLines between(std::size_t from, std::size_t to) const { return lines().subspan(from, to - from); }
  // Each takes lines from `from` on, knowing where the frame's head is, and returns the first that it left.
  std::size_t openSection(std::size_t from, std::size_t head);
  std::size_t addFrame(std::size_t from, std::size_t head);

  std::string text_;
  std::vector<std::string_view> lines_;
  std::vector<DumpSection> sections_;
  TextLines tail_;
};

}  // namespace siminfo
