#include "siminfo/verify/file_verifier.h"

#include <algorithm>
#include <map>
#include <optional>

#include "siminfo/process/work_queue.h"
#include "siminfo/simulator/headers.h"
#include "siminfo/verify/demand.h"
#include "siminfo/verify/node_file.h"
#include "siminfo/verify/section_verdict.h"
#include "siminfo/verify/whole_file.h"

namespace siminfo {
namespace {

/// The generated file in a folder that siminfo generate wrote to, or in one that siminfo verify left.
std::filesystem::path findIn(const std::filesystem::path& folder, const std::string& dumpName) {
  const std::string name = lowerName(dumpName);
  const std::string file = name + "_generated.cpp";
  for (const auto& path : {folder / file, folder / "dumps" / name / file}) {
    if (std::filesystem::exists(path)) return std::filesystem::absolute(path);
  }
  throw VerifyError(
      (folder / file).string() +
      ": does not exist; expected the file that siminfo generate or siminfo verify --keep wrote with "
      "the same --name");
}

/// Nodes whose frames are the same, their names apart, and must be.
struct SectionGroup {
  const FoundSection* found;  // of the first
  DeviceResult result;
};

class FileVerifier {
 public:
  FileVerifier(const Snapshot& snapshot, const std::vector<const IBNode*>& nodes,
               const VerifyRequest& request, const std::filesystem::path& root, const VerifyWatch& watch)
      : snapshot_(snapshot),
        request_(request),
        path_(findIn(request.use, request.name)),
        text_(readText(path_)),
        expected_(expectedNodeFile({request.name, snapshot.source, nodes})),
        workshop_({root, request.name}, root, toolsOf(request, watch.isInterrupted)),
        watch_(watch) {
    writeSimulator(root);
    writeFile(DumpFolder{root, request.name}.path() / (lowerName(request.name) + ".h"),
              dumpHeader(request.name));
  }

  Verification run() {
    FileCheck check = checkFile(text_, expected_);
    if (check.sections.empty())
      throw VerifyError(
          path_.string() +
          ": contains none of the selected nodes; expected a file that was made from this snapshot");
    std::vector<SectionGroup> groups = groupsOf(check.sections);
    WorkQueue queue(groups.size(), [&](std::size_t done) {
      watch_.progress(done, groups.size());
      return !watch_.isInterrupted();
    });
    queue.run(request_.jobs, [&](std::size_t i) { judge(groups[i], std::to_string(i + 1)); });
    Verification verification{{}, std::move(check.differences), {}};
    for (SectionGroup& group : groups) verification.devices.push_back(std::move(group.result));
    if (!watch_.isInterrupted()) judgeWhole(verification, workshop_, path_);
    return verification;
  }

 private:
  Facts factsOf(const FoundSection& found) const {
    const IBNode& node = *expected_.sections[found.place].node;
    return {snapshot_, node, node.name};
  }

  /// The text of the frames without the node's name; nothing when a frame's text is not its own.
  static std::optional<std::string> textOf(const FoundSection& found, const std::string& name) {
    std::string text;
    for (const FoundFrame& of : found.frames) {
      if (of.fault || !of.inFront.empty()) return std::nullopt;
      for (const std::string_view line : of.frame->body) {
        const std::size_t at = line.find("node=" + name);
        if (at == std::string_view::npos)
          text.append(line);
        else
          text.append(line.substr(0, at)).append("node=\0", 6).append(line.substr(at + 5 + name.size()));
        text += '\n';
      }
      text += '\0';
    }
    return text;
  }

  std::vector<SectionGroup> groupsOf(const std::vector<FoundSection>& sections) const {
    std::vector<SectionGroup> groups;
    std::map<std::string, std::size_t> places;
    for (const FoundSection& found : sections) {
      const Facts facts = factsOf(found);
      const std::optional<std::string> text = textOf(found, facts.node.name);
      if (text) {
        const auto [place, isNew] = places.try_emplace(demandOf(facts) + *text, groups.size());
        if (!isNew) {
          groups[place->second].result.nodes.push_back(&facts.node);
          continue;
        }
      }
      groups.push_back({&found, {nodeClass(facts.node), facts.node.name, {&facts.node}, {}}});
    }
    return groups;
  }

  FrameForm form() const { return request_.form.isBuildable ? FrameForm::kBuildable : FrameForm::kEither; }

  void judge(SectionGroup& group, const std::string& folder) const {
    const Expectation expectation(factsOf(*group.found));
    SectionVerdict verdict = judgeSection(*group.found, expectation, request_.form.missing, form());
    const UnitResult ran = workshop_.process(
        {folder,
         path_.filename().string(),
         {{group.result.device, expectation.facts().node.numPorts, expectation.pushKeys(), verdict.toRun}}});
    judgeRuns(verdict, expectation, ran.devices.front());
    group.result.frames = std::move(verdict.frames);
  }

  const Snapshot& snapshot_;
  const VerifyRequest& request_;
  const std::filesystem::path path_;
  const DumpText text_;
  const ExpectedFile expected_;
  const Workshop workshop_;
  const VerifyWatch& watch_;
};

}  // namespace

Verification verifyFile(Snapshot& snapshot, const std::vector<const IBNode*>& nodes,
                        const VerifyRequest& request, const std::filesystem::path& root,
                        const VerifyWatch& watch) {
  return FileVerifier(snapshot, nodes, request, root, watch).run();
}

}  // namespace siminfo
