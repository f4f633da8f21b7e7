#include "siminfo/inspect/frame_outcomes.h"

#include "siminfo/core/section_stream.h"

namespace siminfo {

std::string_view FrameOutcome::words() const {
  std::string_view words = body;
  switch (kind) {
    case BodyKind::kBlock:
      return {};
    case BodyKind::kComment:
      words.remove_prefix(std::string_view("// ").size());
      return words;
    case BodyKind::kError:
      break;
  }
  // Some of these lines have no closing quotation mark.
  words.remove_prefix(std::string_view("#error \"").size());
  if (words.ends_with('"')) words.remove_suffix(1);
  return words;
}

NodeOutcomes runFrames(Drovik& engine, const IBNode& node, const std::string& name) {
  const SimInfoDumpCPP generator(engine);
  IBNode renamed = node;
  renamed.name = name;
  SectionStream os;
  NodeOutcomes outcomes;
  for (const SimInfoDumpCPP::Frame& frame : SimInfoDumpCPP::Frames()) {
    os.clearText();
    (generator.*frame.generate)(os, renamed);
    outcomes.push_back({SimInfoDumpCPP::KindOf(os.text()), std::string(os.text())});
  }
  return outcomes;
}

char letterOf(BodyKind kind) {
  switch (kind) {
    case BodyKind::kBlock:
      return 'B';
    case BodyKind::kComment:
      return 'c';
    case BodyKind::kError:
      break;
  }
  return 'E';
}

std::string lettersOf(const NodeOutcomes& outcomes) {
  std::string letters;
  for (const FrameOutcome& each : outcomes) letters += letterOf(each.kind);
  return letters;
}

}  // namespace siminfo
