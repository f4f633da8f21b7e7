#include "siminfo/models/model_files.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>
#include <optional>
#include <stdexcept>

#include "siminfo/core/block_emitter.h"
#include "siminfo/core/in_memory/host_name_check.h"
#include "siminfo/core/in_memory/in_memory_drovik.h"
#include "siminfo/core/section_stream.h"
#include "siminfo/simulator/headers.h"
#include "siminfo/text/number_text.h"

namespace siminfo {
namespace {

/// That of a fabric without a source: what a file of models says does not depend on where one was read from.
void printHead(SectionStream& os, const std::string& lowerName) {
  DiscoveredFabric nowhere;
  InMemoryDrovik engine(nowhere, {});
  SimInfoDumpCPP(engine).PrintHead(os, lowerName);
}

void printNodes(SectionStream& os, const ModelSet& set) {
  BlockEmitter out(os);
  out << "guid\tmodel\tports\tname\n";
  for (const auto& [node, model] : set.nodes)
    out << guidText(node->guid) << "\t" << set.models[model].name << "\t" << node->numPorts << "\t"
        << node->name << "\n";
}

/// The number of a shard by the name of its source or of its list in a project; nothing when it is neither.
std::optional<unsigned long> shardNumber(const ModelFiles& files, std::string_view name) {
  const std::string begin = files.lowerName() + "_models_";
  constexpr std::size_t kEnd = 4;
  if (!name.starts_with(begin) || !(name.ends_with(".cpp") || name.ends_with(".def"))) return std::nullopt;
  name.remove_prefix(begin.size());
  name.remove_suffix(kEnd);
  const auto number = parseUnsigned(name);
  if (!number || std::to_string(*number) != name) return std::nullopt;
  return *number;
}

void removeLeftShards(const ModelFiles& files) {
  std::vector<std::filesystem::path> left;
  for (const auto& entry : std::filesystem::directory_iterator(files.folder)) {
    const auto number = shardNumber(files, entry.path().filename().string());
    if (number && *number >= files.shards && entry.is_regular_file()) left.push_back(entry.path());
  }
  for (const auto& path : left) std::filesystem::remove(path);
}

}  // namespace

std::string ModelFiles::lowerName() const { return SimInfoDumpCPP::LowerName(name); }
std::string ModelFiles::shardFile(unsigned shard) const {
  return lowerName() + "_models_" + std::to_string(shard) + ".cpp";
}
std::string ModelFiles::nodesFile() const { return lowerName() + "_nodes.tsv"; }
std::string ModelFiles::listFile() const { return lowerName() + "_models.def"; }

std::vector<std::filesystem::path> writeModelFiles(const ModelWriter& writer, const ModelSet& set,
                                                   const ModelFiles& files, Durability durability) {
  if (const std::string fault = hostNameFault(); !fault.empty()) throw std::runtime_error(fault);
  std::vector<std::filesystem::path> written;
  SectionStream text;
  const auto put = [&](const std::string& name) {
    written.push_back(files.folder / name);
    writeFile(written.back(), text.text(), durability);
    text.clearText();
  };
  for (unsigned shard = 0; shard < files.shards; ++shard) {
    printHead(text, files.lowerName());
    for (const Model& model : set.models) {
      if (files.shardOf(model) == shard) writer.printModel(text, files.name, model);
    }
    put(files.shardFile(shard));
  }
  removeLeftShards(files);
  printNodes(text, set);
  put(files.nodesFile());
  printList(text, set, [](const Model&) { return true; });
  put(files.listFile());
  return written;
}

void printList(SectionStream& os, const ModelSet& set, const std::function<bool(const Model&)>& isListed) {
  BlockEmitter out(os);
  for (const Model& model : set.models) {
    if (isListed(model))
      out << "SIMINFO_MODEL(" << model.nodeClass << ", " << model.name << ", " << model.ports << ")\n";
  }
}

std::string otherOwner(const ModelFiles& files) {
  constexpr std::string_view kVoid = "void ";
  for (unsigned shard = 0; shard < files.shards; ++shard) {
    const std::filesystem::path path = files.folder / files.shardFile(shard);
    if (!std::filesystem::is_regular_file(path)) continue;
    std::ifstream file(path, std::ios_base::binary);
    for (std::array<char, 256> piece{}; file.getline(piece.data(), piece.size()) || file.gcount() > 0;) {
      if (!file) file.clear();  // the rest of a long line
      const std::string_view line = piece.data();
      if (!line.starts_with(kVoid)) continue;
      const std::string owner(line.substr(kVoid.size(), line.find("::") - kVoid.size()));
      return owner != files.name ? owner : std::string();
    }
  }
  return {};
}

}  // namespace siminfo
