#include "siminfo/verify/model_tables.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "siminfo/text/number_text.h"
#include "siminfo/verify/dump_text.h"
#include "siminfo/verify/file_words.h"
#include "siminfo/verify/line_comparison.h"
#include "siminfo/verify/node_file.h"
#include "siminfo/verify/section_verdict.h"

namespace siminfo {
namespace {

std::vector<Difference> checkLines(const std::filesystem::path& path,
                                   const std::vector<ExpectedLine>& expected) {
  const DumpText text(readText(path));
  std::vector<Difference> differences = differencesOf(compareLines(expected, text.lines()), 1, "the table");
  if (!text.endsWithLineEnd()) differences.push_back({"", "the end of the file", "a line end", "none"});
  return inFile(std::move(differences), path.filename().string());
}

}  // namespace

std::vector<Difference> checkModelTables(const ModelFiles& files, const ModelSet& set) {
  std::vector<ExpectedLine> nodes{{"guid\tmodel\tports\tname"}};
  for (const auto& [node, model] : set.nodes)
    nodes.push_back({guidText(node->guid) + "\t" + set.models[model].name + "\t" +
                     std::to_string(node->numPorts) + "\t" + node->name});
  std::vector<ExpectedLine> models;
  for (const Model& model : set.models)
    models.push_back({"SIMINFO_MODEL(" + nodeClass(*model.first) + ", " + model.name + ", " +
                      std::to_string(model.first->numPorts) + ")"});
  std::vector<Difference> differences = checkLines(files.folder / files.nodesFile(), nodes);
  std::ranges::move(checkLines(files.folder / files.listFile(), models), std::back_inserter(differences));
  return differences;
}

}  // namespace siminfo
