#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/verify/difference.h"
#include "siminfo/verify/dump_text.h"
#include "siminfo/verify/expectation.h"
#include "siminfo/verify/line_comparison.h"

namespace siminfo {

/// Two frames have an exact form that is no C++, and a buildable one.
enum class FrameForm : std::uint8_t { kExact, kBuildable, kEither };

/// A frame as compilers are shown it: line by line as in the file, but for the lines of an exact form that no
/// compiler takes, which are made into lines that it does.
struct UnitFrame {
  std::string_view method;
  std::size_t line;           ///< of its head in the file, from 1
  std::size_t lines;          ///< from its head to its closing brace
  std::string text;           ///< of these lines
  bool isExact;               ///< in the exact form of one of the two frames
  std::string_view unproven;  ///< the field whose value was on a line that no compiler takes; empty: none
};
UnitFrame unitFrame(const DumpFrame& frame);

/// The lines of the frame's exact form, where it has one, that go with those of the buildable form.
std::vector<ExpectedLine> exactLines(std::string_view method, TextLines buildable);

/// Whether the frame has two forms.
bool hasExactForm(std::string_view method);

/// What is wrong with a frame's body that no compiler has to be asked about: the line that must stand there
/// in place of a block, or text that would not keep to its frame. With such a fault it is not compiled.
std::vector<Difference> bodyFaults(const DumpFrame& frame, const FramePlan& plan, FrameForm form);

/// How the lines of a block differ that change nothing in a simulated node: its comments from those that must
/// stand there, and the two lines of a counter that is written twice from one another.
std::vector<Difference> lineFaults(const DumpFrame& frame, const std::vector<std::string>& comments);

}  // namespace siminfo
