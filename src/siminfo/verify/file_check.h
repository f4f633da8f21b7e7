#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "siminfo/verify/difference.h"
#include "siminfo/verify/dump_text.h"
#include "siminfo/verify/file_words.h"

namespace siminfo {

/// What a generated file has to be.
struct ExpectedFile {
  std::string kind;                       ///< of its sections: "node" or "model"
  std::string name;                       ///< of the dump's class
  std::vector<ExpectedLine> head;         ///< in front of the first section
  std::vector<ExpectedSection> sections;  ///< in the order in which they are written
  std::vector<ExpectedLine> tail;         ///< behind the last section
};

/// A frame that a section must have, as it is in the file.
struct FoundFrame {
  const DumpFrame* frame = nullptr;  ///< null when it is missing
  std::optional<Difference> fault;   ///< then its body is not worth a look
  std::vector<Difference> inFront;   ///< how the lines between it and the frame before differ
};

struct FoundSection {
  std::size_t place;               ///< among the expected ones
  std::vector<FoundFrame> frames;  ///< one for each of the rules
};

struct FileCheck {
  std::vector<FoundSection> sections;   ///< in the order of the file
  std::vector<Difference> differences;  ///< of everything else in the file
};

/// Accounts for everything in the file but the bodies of frames. One fault is one difference: what is edited
/// is still found. The result points into `text` and `expected`.
FileCheck checkFile(const DumpText& text, const ExpectedFile& expected);

}  // namespace siminfo
