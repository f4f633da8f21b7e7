#pragma once

#include <istream>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/verify/expectation.h"
#include "siminfo/verify/file_check.h"
#include "siminfo/verify/frame_text.h"

namespace siminfo {

/// The form of a file of nodes.
struct NodeFileForm {
  bool isBuildable = false;
  Missing missing = Missing::kError;
};

/// What stands in the ordinary file for a node of a model, worked out from the model's own section: the same
/// frames, but for class and name, the mark of lines that say what is missing, and the frames of two forms.
class OwnText {
 public:
  /// The expectation is of the model's section. Both are copied from; `name` is of the dump's class.
  OwnText(const std::string& name, const FoundSection& model, const Expectation& expectation,
          const NodeFileForm& form);

  /// Whether the model has the frame, so that it can be told what the node's own must be.
  bool knows(std::size_t rule) const { return frames_[rule].isKnown; }
  /// The lines of the frame's body for the node.
  std::vector<ExpectedLine> body(std::size_t rule, const IBNode& node) const;
  /// Reads the node's frames, and returns whether they are as they must be.
  bool takeFrom(std::istream& file, const IBNode& node) const;

 private:
  /// A line, of which `line.text` ends where the node's name belongs when it names the node.
  struct OwnLine {
    ExpectedLine line;
    bool isNamed = false;
    std::string behindName = {};

    bool matches(std::string_view found, const std::string& nodeName) const;
  };
  struct OwnFrame {
    std::string head;
    std::vector<OwnLine> body;
    bool isKnown = false;
  };

  static OwnLine diagnostic(std::string line, const std::string& calledAs);

  std::vector<OwnFrame> frames_;  ///< by rule
};

}  // namespace siminfo
