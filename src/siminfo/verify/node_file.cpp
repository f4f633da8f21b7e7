#include "siminfo/verify/node_file.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <span>
#include <system_error>

#include "siminfo/verify/file_words.h"
#include "siminfo/verify/section_verdict.h"

namespace siminfo {
namespace {

using OwnTextOf = std::function<const OwnText*(const IBNode&)>;

/// Reads the file once, line by line, and says whether it is right in every line. A fabric's file is large,
/// and nearly always right.
bool isRight(const std::filesystem::path& path, const NodeFileOf& of, const OwnTextOf& ownText) {
  std::ifstream file(path, std::ios_base::binary);
  std::string found;
  const auto takes = [&](std::span<const ExpectedLine> lines) {
    return std::ranges::all_of(lines, [&](const ExpectedLine& line) {
      return static_cast<bool>(std::getline(file, found)) && line.matches(found);
    });
  };
  if (!takes(headLines(of.name, of.source))) return false;
  for (const IBNode* node : of.nodes) {
    const OwnText* own = ownText(*node);
    if (own == nullptr || !takes(openingLines(nodeSection(*node))) || !own->takeFrom(file, *node))
      return false;
  }
  return takes(tailLines()) && isWholeFile(file);
}

/// How the node's frames differ from what is known of them.
FrameFaults faultsOf(const FoundSection& found, const IBNode& node, const OwnText& own,
                     const std::string& file) {
  FrameFaults faults;
  for (std::size_t i = 0; i < found.frames.size(); ++i) {
    if (!own.knows(i)) continue;
    const auto& [frame, fault, inFront] = found.frames[i];
    std::vector<Difference> differences;
    if (fault) {
      differences = {*fault};
    } else {
      const std::vector<ExpectedLine> body = own.body(i, node);
      differences = differencesOf(compareLines(body, frame->body), frame->line + 1, "the body");
      if (differences.empty()) differences = inFront;
    }
    if (!differences.empty()) faults.emplace(i, inFile(std::move(differences), file));
  }
  return faults;
}

}  // namespace

std::filesystem::path generateNodeFile(Snapshot& snapshot, const std::string& name,
                                       const std::vector<const IBNode*>& nodes, const NodeFileForm& form,
                                       const std::filesystem::path& folder) {
  const OnlyThese onlyThese(snapshot.discovered.fabric, nodes);
  InMemoryDrovik engine(snapshot.discovered, folder);
  const auto frames = form.isBuildable ? SimInfoDumpCPP::BuildableFrames() : SimInfoDumpCPP::Frames();
  const int error = SimInfoDumpCPP(engine, frames, form.missing).Generate(name, {});
  if (!engine.files().failure().empty())
    throw std::system_error(error != 0 ? error : EIO, std::generic_category(), engine.files().failure());
  return engine.files().path();
}

ExpectedFile expectedNodeFile(const NodeFileOf& of) {
  ExpectedFile file{"node", of.name, headLines(of.name, of.source), {}, tailLines()};
  file.sections.reserve(of.nodes.size());
  for (const IBNode* node : of.nodes) file.sections.push_back(nodeSection(*node));
  return file;
}

NodeFileCheck checkNodeFile(const std::filesystem::path& path, const NodeFileOf& of,
                            const OwnTextOf& ownText) {
  if (isRight(path, of, ownText)) return {};
  const DumpText text(readText(path));
  const ExpectedFile expected = expectedNodeFile(of);
  FileCheck check = checkFile(text, expected);
  const std::string file = path.filename().string();
  NodeFileCheck result{inFile(std::move(check.differences), file), {}};
  for (const FoundSection& found : check.sections) {
    const IBNode& node = *expected.sections[found.place].node;
    const OwnText* own = ownText(node);
    if (own == nullptr) continue;
    FrameFaults faults = faultsOf(found, node, *own, file);
    if (!faults.empty()) result.ofNodes.emplace(&node, std::move(faults));
  }
  return result;
}

std::string readText(const std::filesystem::path& path) {
  errno = 0;
  std::ifstream file(path, std::ios_base::binary);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!file) throw std::system_error(errno != 0 ? errno : EIO, std::generic_category(), path.string());
  return text;
}

}  // namespace siminfo
