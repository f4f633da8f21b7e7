#include "siminfo/verify/model_tables.h"

#include <algorithm>
#include <fstream>
#include <functional>
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

/// A table as it has to be. Lines are made as they are compared: a fabric's are many, and nearly always
/// right.
struct Table {
  std::filesystem::path path;
  std::size_t lines;
  std::function<ExpectedLine(std::size_t)> line;
};

bool isRight(const Table& table) {
  std::ifstream file(table.path, std::ios_base::binary);
  std::string found;
  for (std::size_t i = 0; i < table.lines; ++i) {
    if (!std::getline(file, found) || !table.line(i).matches(found)) return false;
  }
  return isWholeFile(file);
}

std::vector<Difference> check(const Table& table) {
  if (isRight(table)) return {};
  std::vector<ExpectedLine> expected;
  for (std::size_t i = 0; i < table.lines; ++i) expected.push_back(table.line(i));
  const DumpText text(readText(table.path));
  std::vector<Difference> differences = differencesOf(compareLines(expected, text.lines()), 1, "the table");
  if (!text.endsWithLineEnd()) differences.push_back({"", "the end of the file", "a line end", "none"});
  return inFile(std::move(differences), table.path.filename().string());
}

}  // namespace

std::vector<Difference> checkModelTables(const ModelFiles& files, const ModelSet& set) {
  const auto nodeLine = [&](std::size_t i) -> ExpectedLine {
    if (i == 0) return {"guid\tmodel\tports\tname"};
    const auto& [node, model] = set.nodes[i - 1];
    return {guidText(node->guid) + "\t" + set.models[model].name + "\t" + std::to_string(node->numPorts) +
            "\t" + node->name};
  };
  const auto modelLine = [&](std::size_t i) -> ExpectedLine {
    const Model& model = set.models[i];
    return {"SIMINFO_MODEL(" + nodeClass(*model.first) + ", " + model.name + ", " +
            std::to_string(model.first->numPorts) + ")"};
  };
  std::vector<Difference> differences =
      check({files.folder / files.nodesFile(), set.nodes.size() + 1, nodeLine});
  std::ranges::move(check({files.folder / files.listFile(), set.models.size(), modelLine}),
                    std::back_inserter(differences));
  return differences;
}

}  // namespace siminfo
