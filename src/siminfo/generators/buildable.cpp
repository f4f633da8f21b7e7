#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/core/block_emitter.h"
#include "siminfo/core/section_stream.h"
#include "siminfo/generators/drovik_sim_info_dump.h"

namespace siminfo {
namespace {

// Two frames are, to the letter of the format, no C++: the class port info assigns an address with two "0x"
// in place of the GID, and the push counters declare the same names in every branch of one scope and pack a
// record that is not there. Who has to build them asks for these frames instead. They are made from the exact
// text, so that nothing but those lines can differ.

/// Calls `visit` with each line of the text, without its end.
template <class Visit>
void forEachLine(std::string_view text, Visit visit) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    visit(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

}  // namespace

std::span<const SimInfoDumpCPP::Frame> SimInfoDumpCPP::BuildableFrames() {
  static constexpr std::array<Frame, 2> kReplaced{{
      {"setVSReductionManagerClassPortInfo", &SimInfoDumpCPP::GenerateBuildableClassPortInfo},
      {"setZYRPushReductionCounters", &SimInfoDumpCPP::GenerateBuildablePushCounters},
  }};
  static const std::vector<Frame> kFrames = [] {
    std::vector<Frame> frames(Frames().begin(), Frames().end());
    for (const Frame& replaced : kReplaced)
      *std::ranges::find(frames, replaced.method, &Frame::method) = replaced;
    return frames;
  }();
  return kFrames;
}

/// The GID byte by byte.
void SimInfoDumpCPP::GenerateBuildableClassPortInfo(std::ostream& os, const IBNode& node) const {
  SectionStream exact;
  GenerateVSReductionManagerClassPortInfo(exact, node);
  BlockEmitter out(os);
  std::string_view lineEnd;
  forEachLine(exact.text(), [&](std::string_view line) {
    if (line.starts_with("    mad_buffer.RedirectGID")) {
      const auto& gid = Records().getZYRClassPortInfo(node.recordIndex)->RedirectGID;
      for (std::size_t i = 0; i < gid.size(); ++i)
        out << "\n    mad_buffer.RedirectGID[" << i << "] = 0x" << Hex{gid[i]} << ";";
    } else {
      out << lineEnd << line;
    }
    lineEnd = "\n";
  });
}

/// Every branch in a scope of its own, and no pack line behind the switch.
void SimInfoDumpCPP::GenerateBuildablePushCounters(std::ostream& os, const IBNode& node) const {
  SectionStream exact;
  GenerateZYRPushReductionCounters(exact, node);
  BlockEmitter out(os);
  std::string_view lineEnd;
  forEachLine(exact.text(), [&](std::string_view line) {
    if (line.starts_with("        SMP_KrelExtPortInfo_pack")) return;
    if (line == "        }") out << "\n        }";  // the default branch has no break
    out << lineEnd << line;
    if (line.starts_with("        case ") || line == "        default:") out << " {";
    if (line == "            break;") out << "\n        }";
    lineEnd = "\n";
  });
}

}  // namespace siminfo
