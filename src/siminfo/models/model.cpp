#include "siminfo/models/model.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <numeric>
#include <optional>
#include <set>
#include <tuple>
#include <unordered_map>

#include "siminfo/core/block_emitter.h"
#include "siminfo/core/section_stream.h"
#include "siminfo/text/number_text.h"

namespace siminfo {

/// A model before it has a name, with what tells it from all others.
struct ModelDraft {
  Model model;
  std::string text;
};

namespace {

/// Stands in a text for the node's name. No snapshot can hold it: names have no control characters.
const std::string kAnyName = "\x1f";

/// Of several models with one hash the first by ports and text keeps it. The others take that of their text
/// with as many zero bytes behind it as it needs to be nobody else's.
void tellApart(std::vector<ModelDraft>& drafts, const ModelHash& hash) {
  std::vector<ModelDraft*> order;
  order.reserve(drafts.size());
  for (ModelDraft& draft : drafts) order.push_back(&draft);
  std::ranges::sort(order, {},
                    [](const ModelDraft* draft) { return std::tie(draft->model.ports, draft->text); });
  std::set<std::uint64_t> taken;
  std::vector<ModelDraft*> late;
  for (ModelDraft* draft : order) {
    if (!taken.insert(draft->model.hash).second) late.push_back(draft);
  }
  for (ModelDraft* draft : late) {
    std::string text = draft->text;
    do draft->model.hash = hash(text += '\0');
    while (!taken.insert(draft->model.hash).second);
  }
}

/// The drafts' places in the order of their names.
std::vector<std::size_t> nameOrder(std::vector<ModelDraft>& drafts) {
  for (ModelDraft& draft : drafts)
    draft.model.name = draft.model.nodeClass + "_" + hexDigits(draft.model.hash, 16);
  std::vector<std::size_t> order(drafts.size());
  std::iota(order.begin(), order.end(), 0);
  std::ranges::sort(order, {}, [&](std::size_t at) -> const std::string& { return drafts[at].model.name; });
  return order;
}

}  // namespace

std::uint64_t modelHash(std::string_view text) {
  static_assert(std::endian::native == std::endian::little, "words are read as they lie");
  constexpr std::uint64_t kOdd = 0x9e3779b97f4a7c15U;
  std::uint64_t hash = text.size();
  while (!text.empty()) {
    std::uint64_t word = 0;
    const std::size_t size = std::min(text.size(), sizeof word);
    std::memcpy(&word, text.data(), size);
    text.remove_prefix(size);
    // Each step can be undone, so two texts that differ in one word alone never meet.
    hash = (hash ^ word) * kOdd;
    hash ^= hash >> 32U;
  }
  hash *= kOdd;
  return hash ^ hash >> 29U;
}

/// Gathers nodes into drafts, by the text that they have in common.
class ModelWriter::Collector {
 public:
  explicit Collector(const ModelWriter& writer) : writer_(writer) {}

  void add(const IBNode& node) {
    const std::string nodeClass = writer_.generator_.GetDumpedNodeType(node);
    text_.clearText();
    BlockEmitter(text_) << nodeClass << " " << node.numPorts << "\n";
    writer_.printFrames(text_, nodeClass, kAnyName, node, set_.summary);
    countStandIns(writer_.engine_, node, writer_.exactPorts_, set_.standIns);
    const std::size_t model = find(nodeClass, node);
    ++drafts_[model].model.nodes;
    set_.nodes.push_back({&node, model});
  }

  std::vector<ModelDraft>& drafts() { return drafts_; }
  ModelSet& set() { return set_; }  // without its models

 private:
  std::size_t find(const std::string& nodeClass, const IBNode& node) {
    const std::uint64_t hash = writer_.hash_(text_.text());
    const auto [from, to] = byHash_.equal_range(hash);
    const auto found =
        std::find_if(from, to, [&](const auto& entry) { return drafts_[entry.second].text == text_.text(); });
    if (found != to) return found->second;
    ModelDraft& draft = drafts_.emplace_back();
    draft.text = text_.text();
    draft.model.nodeClass = nodeClass;
    draft.model.ports = node.numPorts;
    draft.model.hash = hash;
    draft.model.first = &node;
    byHash_.emplace(hash, drafts_.size() - 1);
    return drafts_.size() - 1;
  }

  const ModelWriter& writer_;
  SectionStream text_;
  std::vector<ModelDraft> drafts_;
  std::unordered_multimap<std::uint64_t, std::size_t> byHash_;
  ModelSet set_;
};

ModelWriter::ModelWriter(Drovik& engine, bool exactPorts, const ModelHash& hash)
    : engine_(engine),
      generator_(engine, SimInfoDumpCPP::BuildableFrames(), Missing::kComment),
      exactPorts_(exactPorts),
      hash_(hash) {}

ModelSet ModelWriter::findModels(const std::vector<const IBNode*>& nodes) const {
  Collector collector(*this);
  for (const IBNode* node : nodes) collector.add(*node);
  std::vector<ModelDraft>& drafts = collector.drafts();
  tellApart(drafts, hash_);

  ModelSet set = std::move(collector.set());
  std::vector<std::size_t> placeOf(drafts.size());
  for (const std::size_t at : nameOrder(drafts)) {
    placeOf[at] = set.models.size();
    set.models.push_back(std::move(drafts[at].model));
  }
  for (ModelSet::Member& member : set.nodes) member.model = placeOf[member.model];
  return set;
}

void ModelWriter::printModel(SectionStream& os, const std::string& dump, const Model& model) const {
  BlockEmitter(os) << "\n\n// Model: " << model.name << ", Ports: " << model.ports << "\n";
  GenerationSummary ignored;
  printFrames(os, dump + "::" + model.name, model.name, *model.first, ignored);
}

PushKeys ModelWriter::pushKeys(const Model& model) const {
  return pushKeysOf(engine_, *model.first, exactPorts_);
}

void ModelWriter::printFrames(SectionStream& os, const std::string& className, const std::string& nodeName,
                              const IBNode& node, GenerationSummary& summary) const {
  IBNode renamed = node;
  renamed.name = nodeName;
  std::optional<ExactNode> exact;
  const auto nodeOf = [&](const SimInfoDumpCPP::Frame& frame) -> const IBNode& {
    return exactPorts_ ? exact.emplace(engine_, renamed, frame.method).node() : renamed;
  };
  generator_.PrintFrames(os, className, nodeOf, summary);
}

}  // namespace siminfo
