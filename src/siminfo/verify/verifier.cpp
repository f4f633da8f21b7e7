#include "siminfo/verify/verifier.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <system_error>

#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/verify/comparison.h"
#include "siminfo/verify/file_words.h"
#include "siminfo/verify/node_verdict.h"
#include "siminfo/verify/rules.h"
#include "siminfo/verify/work_folder.h"
#include "siminfo/verify/work_queue.h"
#include "siminfo/verify/workshop.h"

namespace siminfo {
namespace {

/// Generates the nodes, and returns the path of the file.
std::filesystem::path generateInto(const std::filesystem::path& folder, Snapshot& snapshot,
                                   const std::vector<ExpectedNode>& nodes, const VerifyRequest& request) {
  std::set<std::uint64_t> guids;
  for (const ExpectedNode& of : nodes) guids.insert(of.node->guid);
  InMemoryDrovik engine(snapshot.discovered, folder);
  SimInfoDumpCPP(engine, request.isBuildable ? SimInfoDumpCPP::BuildableFrames() : SimInfoDumpCPP::Frames(),
                 request.missing)
      .Generate(request.name, guids);
  if (!engine.files().failure().empty()) throw VerifyError(engine.files().failure());
  return engine.files().path();
}

/// The generated file in a folder that siminfo generate wrote to, or in one that siminfo verify left.
std::filesystem::path findIn(const std::filesystem::path& folder, const std::string& dumpName) {
  const std::string name = lowerName(dumpName);
  const std::string file = name + "_generated.cpp";
  for (const auto& path : {folder / file, folder / "dumps" / name / file}) {
    if (std::filesystem::exists(path)) return std::filesystem::absolute(path);
  }
  throw VerifyError((folder / file).string() +
                    ": is not there; expected what siminfo generate or siminfo verify --keep wrote with this "
                    "--name");
}

std::string readFile(const std::filesystem::path& path) {
  errno = 0;
  std::ifstream file(path, std::ios_base::binary);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!file) throw std::system_error(errno != 0 ? errno : EIO, std::generic_category(), path.string());
  return text;
}

FrameResult broken(const std::string& words) { return {Outcome::kBroken, words, {}, {}}; }

/// The images that a frame must have changed, without what its lines cannot say.
std::vector<ExpectedImage> provableImages(const Expectation& expectation, const UnitFrame& frame) {
  std::vector<ExpectedImage> images = expectation.images(frame.method);
  if (frame.unproven.empty()) return images;
  for (ExpectedImage& image : images)
    std::erase_if(image.numbers,
                  [&](const ExpectedNumber& number) { return number.field.starts_with(frame.unproven); });
  return images;
}

class Verifier {
 public:
  Verifier(const Snapshot& snapshot, const VerifyRequest& request, const Workshop& workshop,
           const std::filesystem::path& path)
      : snapshot_(snapshot), request_(request), workshop_(workshop), path_(path), text_(readFile(path)) {}

  Verification run(const std::vector<ExpectedNode>& nodes, const VerifyWatch& watch) const {
    const ExpectedFile expected{snapshot_, request_.name, nodes, request_.missing};
    FileCheck check = checkFile(text_, expected);
    if (check.nodes.empty()) throw VerifyError(path_.string() + ": has no node of the snapshot in it");
    Verification verification{{}, std::move(check.differences), {}};
    verification.nodes.resize(check.nodes.size());
    WorkQueue queue(check.nodes.size(), [&](std::size_t done) {
      watch.progress(done, check.nodes.size());
      return !watch.isInterrupted();
    });
    queue.run(request_.jobs, [&](std::size_t i) {
      verification.nodes[i] = runNode(judgeNode(check.nodes[i], expected, form()), std::to_string(i + 1));
    });
    if (!watch.isInterrupted()) judgeWhole(verification);
    return verification;
  }

 private:
  FrameForm form() const {
    if (request_.isBuildable) return FrameForm::kBuildable;
    return request_.use.empty() ? FrameForm::kExact : FrameForm::kEither;
  }

  NodeResult runNode(NodeVerdict verdict, const std::string& folder) const {
    NodeResult result = std::move(verdict.result);
    const Expectation expectation(snapshot_, *result.node);
    const UnitResult ran = workshop_.process(
        {folder, result.nodeClass, result.node->numPorts, expectation.pushKeys(), verdict.frames}, path_);
    for (const UnitFrame& frame : verdict.frames) {
      FrameResult& of = result.frames[indexOfRule(frame.method)];
      if (const auto words = ran.broken.find(frame.method); words != ran.broken.end()) {
        of = broken(words->second);
        continue;
      }
      const auto runs = ran.runs.find(std::string(frame.method));
      std::vector<Difference> differences =
          compareImages(provableImages(expectation, frame),
                        runs != ran.runs.end() ? runs->second : std::vector<FrameRun>{});
      if (!differences.empty()) of = {Outcome::kDiffers, {}, {}, std::move(differences)};
    }
    return result;
  }

  static std::size_t indexOfRule(std::string_view method) {
    return static_cast<std::size_t>(std::ranges::find(rules(), method, &Rule::frame) - rules().begin());
  }

  /// Frames that compile one by one may still clash; but a file of which something else is known to be wrong
  /// would only say so again.
  void judgeWhole(Verification& verification) const {
    const std::string hindrance = hindranceOf(verification);
    if (!hindrance.empty()) {
      verification.whole = "not compiled as a whole: " + hindrance;
      return;
    }
    const std::string fault = workshop_.wholeFault(text_.lines(), path_);
    verification.whole = fault.empty() ? "compiles as a whole" : "does not compile as a whole";
    if (!fault.empty())
      verification.differences.push_back({"", "the file as a whole", "one that compiles", fault});
  }

  static std::string hindranceOf(const Verification& verification) {
    const auto has = [&](std::initializer_list<Outcome> outcomes) {
      return std::ranges::any_of(verification.nodes, [&](const NodeResult& node) {
        return std::ranges::any_of(node.frames, [&](const FrameResult& frame) {
          return std::ranges::find(outcomes, frame.outcome) != outcomes.end();
        });
      });
    };
    if (!verification.differences.empty() || has({Outcome::kDiffers, Outcome::kBroken})) return "it differs";
    if (has({Outcome::kRefused})) return "it has #error lines";
    if (has({Outcome::kUncompilable})) return "it has frames that cannot compile as the format stands";
    std::set<std::string> classes;
    for (const NodeResult& node : verification.nodes) {
      if (!classes.insert(node.nodeClass).second) return "it has two nodes of class " + node.nodeClass;
    }
    return {};
  }

  const Snapshot& snapshot_;
  const VerifyRequest& request_;
  const Workshop& workshop_;
  const std::filesystem::path path_;
  const DumpText text_;
};

}  // namespace

Verification verify(Snapshot& snapshot, const VerifyRequest& request, const VerifyWatch& watch) {
  const std::vector<ExpectedNode> nodes = request.use.empty() ? nodesToGenerate(snapshot, request.selection)
                                                              : nodesOfFile(snapshot, request.selection);
  if (nodes.empty())
    throw VerifyError("the snapshot has no node to verify; expected one of the sub-fabric" +
                      std::string(request.selection.guids.empty() ? "" : " with a GUID given by --guid"));
  const WorkFolder folder(request.keep);
  const Workshop workshop(folder.path(), request.name, request.compiler,
                          {folder.group(), watch.isInterrupted});
  const std::filesystem::path path = request.use.empty()
                                         ? generateInto(workshop.dumpFolder(), snapshot, nodes, request)
                                         : findIn(request.use, request.name);
  return Verifier(snapshot, request, workshop, path).run(nodes, watch);
}

}  // namespace siminfo
