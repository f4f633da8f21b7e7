#include "siminfo/verify/models_verifier.h"

#include <algorithm>
#include <memory>
#include <unordered_map>

#include "siminfo/core/in_memory/in_memory_drovik.h"
#include "siminfo/models/model_files.h"
#include "siminfo/models/project.h"
#include "siminfo/process/work_queue.h"
#include "siminfo/simulator/headers.h"
#include "siminfo/verify/demand.h"
#include "siminfo/verify/model_tables.h"
#include "siminfo/verify/node_file.h"
#include "siminfo/verify/rules.h"
#include "siminfo/verify/section_verdict.h"
#include "siminfo/verify/whole_file.h"
#include "siminfo/verify/workshop.h"

namespace siminfo {
namespace {

/// Nodes of one model that the rules ask the same of. A model has one such group, unless something is wrong.
struct Group {
  Expectation expectation;
  DeviceResult result;
  SectionVerdict verdict = {};
};

struct ModelState {
  const Model* model;
  std::vector<Group> groups = {};
  std::optional<OwnText> own = {};
};

/// One source of the models, and what came of it.
struct Shard {
  std::vector<std::size_t> models;  // in the order of their names
  std::unique_ptr<DumpText> text = {};
  FileCheck check = {};
  std::vector<Difference> differences = {};
};

/// Compiling a program costs a quarter of a second before its first model, and a hundredth for each. More
/// models than this in one save nothing and take memory.
constexpr std::size_t kMostModels = 256;
/// Fewer than this are not worth a program of their own on another processor.
constexpr std::size_t kFewestModels = 16;

unsigned shardsFor(std::size_t models, unsigned jobs) {
  const std::size_t needed = (models + kMostModels - 1) / kMostModels;
  const std::size_t useful = std::min<std::size_t>(jobs, models / kFewestModels);
  return static_cast<unsigned>(std::max({needed, useful, std::size_t{1}}));
}

class ModelsVerifier {
 public:
  ModelsVerifier(Snapshot& snapshot, const std::vector<const IBNode*>& nodes, const VerifyRequest& request,
                 const std::filesystem::path& root, const VerifyWatch& watch)
      : snapshot_(snapshot),
        nodes_(nodes),
        request_(request),
        root_(root),
        watch_(watch),
        engine_(snapshot.discovered, root),
        writer_(engine_, request.exactPorts),
        set_(writer_.findModels(nodes)),
        files_(projectFiles(request.name, shardsFor(set_.models.size(), request.jobs), root / "models")),
        shards_(files_.shards),
        workshop_({root / "models", request.name}, root, toolsOf(request, watch.isInterrupted)) {}

  Verification run() {
    writeProject(writer_, set_, request_.name, files_.shards, root_ / "models");
    groupNodes();
    drain(
        shards_.size(), [&](std::size_t shard) { judgeText(shard); }, false);
    // The file of the nodes is written and read while compilers are at work.
    const bool hasNodeFile = !request_.exactPorts;
    drain(
        shards_.size() + (hasNodeFile ? 1U : 0U),
        [&](std::size_t job) { job == shards_.size() ? judgeNodeFile() : runShard(job); }, true);
    return result();
  }

 private:
  template <class Work>
  void drain(std::size_t count, const Work& work, bool isShown) {
    WorkQueue queue(count, [&](std::size_t done) {
      if (isShown) watch_.progress(done, count);
      return !watch_.isInterrupted();
    });
    queue.run(request_.jobs, work);
  }

  std::filesystem::path shardPath(std::size_t shard) const {
    return files_.folder / files_.shardFile(static_cast<unsigned>(shard));
  }

  /// Sorts the nodes by model and by what the rules ask of them, and the models by source.
  void groupNodes() {
    for (const Model& model : set_.models) {
      shards_[files_.shardOf(model)].models.push_back(models_.size());
      models_.push_back({&model});
    }
    std::vector<std::unordered_map<std::string, std::size_t>> groupOf(models_.size());
    modelOf_.resize(snapshot_.discovered.fabric.nodeByName.size());
    for (const auto& [node, model] : set_.nodes) {
      ModelState& state = models_[model];
      const Facts facts{snapshot_, *node, state.model->name, request_.exactPorts};
      const auto [group, isNew] = groupOf[model].try_emplace(demandOf(facts), state.groups.size());
      if (isNew) state.groups.push_back({Expectation(facts), {state.model->name, state.model->name, {}, {}}});
      state.groups[group->second].result.nodes.push_back(node);
      modelOf_[node->recordIndex] = model;
    }
  }

  void judgeText(std::size_t number) {
    Shard& shard = shards_[number];
    shard.text = std::make_unique<DumpText>(readText(shardPath(number)));
    ExpectedFile expected{"model", request_.name, headLines(request_.name, ""), {}, {}};
    for (const std::size_t model : shard.models)
      expected.sections.push_back(modelSection(*models_[model].model));
    shard.check = checkFile(*shard.text, expected);
    const std::string file = shardPath(number).filename().string();
    shard.differences = inFile(std::move(shard.check.differences), file);
    for (const FoundSection& found : shard.check.sections) {
      ModelState& state = models_[shard.models[found.place]];
      for (Group& group : state.groups) {
        group.verdict = judgeSection(found, group.expectation, Missing::kComment, FrameForm::kBuildable);
        for (FrameResult& frame : group.verdict.frames)
          frame.differences = inFile(std::move(frame.differences), file);
      }
      state.own.emplace(request_.name, found, state.groups.front().expectation, request_.form);
    }
  }

  /// The first of a model's groups says which functions run, and all of them what must come of it.
  void runShard(std::size_t number) {
    Shard& shard = shards_[number];
    Unit unit{std::to_string(number + 1), shardPath(number).lexically_relative(root_).string(), {}};
    unit.asItIs = "#define SIMINFO_SHARD " + std::to_string(number) + "\n#include \"" +
                  shardPath(number).filename().string() + "\"\n";
    for (const FoundSection& found : shard.check.sections) {
      const ModelState& state = models_[shard.models[found.place]];
      const Group& group = state.groups.front();
      unit.devices.push_back({state.model->name, group.expectation.facts().node.numPorts,
                              group.expectation.pushKeys(), group.verdict.toRun});
    }
    if (unit.devices.empty()) return;
    const UnitResult ran = workshop_.process(unit);
    if (!ran.fileFault.empty())
      shard.differences.push_back(
          {shardPath(number).filename().string(), "the file as a whole", "one that compiles", ran.fileFault});
    for (std::size_t i = 0; i < ran.devices.size(); ++i) {
      for (Group& group : models_[shard.models[shard.check.sections[i].place]].groups)
        judgeRuns(group.verdict, group.expectation, ran.devices[i]);
    }
  }

  void judgeNodeFile() {
    const std::filesystem::path folder = DumpFolder{root_, request_.name}.path();
    writeSimulator(root_);
    writeFile(folder / (lowerName(request_.name) + ".h"), dumpHeader(request_.name));
    nodeFile_ = generateNodeFile(snapshot_, request_.name, nodes_, request_.form, folder);
    nodeFileCheck_ = checkNodeFile(nodeFile_, {request_.name, snapshot_.source, nodes_},
                                   [&](const IBNode& node) -> const OwnText* {
                                     const ModelState& state = models_[modelOf_[node.recordIndex]];
                                     return state.own ? &*state.own : nullptr;
                                   });
  }

  /// Marks what the file of the nodes has in place of what was run.
  void markOwnForm(Group& group) const {
    if (request_.exactPorts) return;
    for (std::size_t i = 0; i < group.verdict.frames.size(); ++i) {
      FrameResult& frame = group.verdict.frames[i];
      const std::string_view method = rules()[i].frame;
      const bool isRefused = group.expectation.plan(method).carriage == Carriage::kRefused;
      if (frame.outcome == Outcome::kOmitted && isRefused && request_.form.missing == Missing::kError)
        frame.outcome = Outcome::kRefused;
      if (frame.outcome == Outcome::kProven && hasExactForm(method) && !request_.form.isBuildable)
        frame.outcome = Outcome::kUncompilable;
    }
  }

  /// Nodes whose own frames differ leave their group, and those that differ in the same frames are one.
  void addOwnFaults(std::vector<DeviceResult>& devices, DeviceResult device) const {
    std::map<std::vector<std::size_t>, DeviceResult> apart;
    std::vector<const IBNode*> right;
    for (const IBNode* node : device.nodes) {
      const auto faults = nodeFileCheck_.ofNodes.find(node);
      if (faults == nodeFileCheck_.ofNodes.end()) {
        right.push_back(node);
        continue;
      }
      std::vector<std::size_t> frames;
      for (const auto& [frame, differences] : faults->second) frames.push_back(frame);
      const auto [place, isNew] = apart.try_emplace(frames, device);
      DeviceResult& of = place->second;
      if (isNew) {
        of.nodes.clear();
        for (const auto& [frame, differences] : faults->second)
          of.frames[frame] = {Outcome::kDiffers, {}, {}, differences};
      }
      of.nodes.push_back(node);
    }
    device.nodes = std::move(right);
    if (!device.nodes.empty()) devices.push_back(std::move(device));
    for (auto& [frames, of] : apart) devices.push_back(std::move(of));
  }

  Verification result() {
    Verification verification{{}, checkModelTables(files_, set_), {}};
    for (Shard& shard : shards_)
      std::ranges::move(shard.differences, std::back_inserter(verification.differences));
    std::ranges::move(nodeFileCheck_.differences, std::back_inserter(verification.differences));
    for (ModelState& state : models_) {
      for (Group& group : state.groups) {
        if (group.verdict.frames.empty()) continue;  // its section is missing, which the differences say
        markOwnForm(group);
        group.result.frames = std::move(group.verdict.frames);
        addOwnFaults(verification.devices, std::move(group.result));
      }
    }
    if (request_.exactPorts)
      verification.whole = "not verified, as it cannot give every port its own values";
    else
      judgeWhole(verification,
                 Workshop({root_, request_.name}, root_, toolsOf(request_, watch_.isInterrupted)), nodeFile_);
    return verification;
  }

  Snapshot& snapshot_;
  const std::vector<const IBNode*>& nodes_;
  const VerifyRequest& request_;
  const std::filesystem::path root_;
  const VerifyWatch& watch_;
  InMemoryDrovik engine_;
  const ModelWriter writer_;
  const ModelSet set_;
  const ModelFiles files_;
  std::vector<ModelState> models_;    // as in the set
  std::vector<std::size_t> modelOf_;  // by the record index of the node
  std::vector<Shard> shards_;
  const Workshop workshop_;
  std::filesystem::path nodeFile_;
  NodeFileCheck nodeFileCheck_;
};

}  // namespace

Verification verifyModels(Snapshot& snapshot, const std::vector<const IBNode*>& nodes,
                          const VerifyRequest& request, const std::filesystem::path& root,
                          const VerifyWatch& watch) {
  return ModelsVerifier(snapshot, nodes, request, root, watch).run();
}

}  // namespace siminfo
