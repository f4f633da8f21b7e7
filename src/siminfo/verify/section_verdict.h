#pragma once

#include <vector>

#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/verify/file_check.h"
#include "siminfo/verify/frame_text.h"
#include "siminfo/verify/results.h"
#include "siminfo/verify/workshop.h"

namespace siminfo {

/// What can be said of a section of a file without a compiler.
struct SectionVerdict {
  std::vector<FrameResult> frames;  ///< by rule: what stands unless running them shows otherwise
  std::vector<UnitFrame> toRun;     ///< those that are to be compiled and run
};

/// Judges the text of the section's frames, which has `missing` for data that a node must have.
SectionVerdict judgeSection(const FoundSection& found, const Expectation& expectation, Missing missing,
                            FrameForm form);

/// Adds what came of running the frames.
void judgeRuns(SectionVerdict& verdict, const Expectation& expectation, const DeviceRuns& runs);

/// The same differences, with the file at the lines that they name.
std::vector<Difference> inFile(std::vector<Difference> differences, const std::string& file);

}  // namespace siminfo
