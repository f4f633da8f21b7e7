
#include "fuzz/target.h"
#include "fuzz/targets.h"
#include "siminfo/core/section_stream.h"
#include "siminfo/models/model.h"
#include "siminfo/verify/node_file.h"
#include "tests/snapshot/snapshot_text.h"
#include "tests/support.h"

namespace siminfo {
namespace {

/// What reading comes to: the snapshot in its canonical form, or the refusal.
struct Reading {
  std::optional<Snapshot> snapshot;
  std::string text;
};

Reading readIn(const std::string& bytes, std::size_t piece, unsigned jobs) {
  try {
    Reading reading{readSnapshot(pieces(bytes, piece), "f", jobs), {}};
    reading.text = written(*reading.snapshot);
    return reading;
  } catch (const SnapshotError& error) {
    return {std::nullopt, error.what()};
  }
}

/// Every line of the file is one that belongs there, whatever the snapshot's texts are.
void requireFile(Snapshot& snapshot, const std::vector<const IBNode*>& nodes) {
  static const ScratchDirectory folder;
  const auto path = generateNodeFile(snapshot, "Fab1", nodes, {}, folder.path());
  const DumpText text(readText(path));
  const ExpectedFile expected = expectedNodeFile({"Fab1", snapshot.source, nodes});
  const FileCheck check = checkFile(text, expected);
  require(check.differences.empty(), "a file has nothing in it but its nodes");
  require(check.sections.size() == nodes.size(), "every node is in the file");
  for (const FoundSection& section : check.sections) {
    for (const FoundFrame& frame : section.frames)
      require(frame.frame != nullptr && !frame.fault && frame.inFront.empty(), "frames keep to themselves");
  }
}

void requireModels(Snapshot& snapshot, const std::vector<const IBNode*>& nodes) {
  InMemoryDrovik engine(snapshot.discovered, ".");
  const ModelWriter writer(engine, false);
  const ModelSet set = writer.findModels(nodes);
  require(set.nodes.size() == nodes.size(), "every node has a model");
  SectionStream out;
  for (const Model& model : set.models) writer.printModel(out, "Fab1", model);
}

}  // namespace

void fuzzSnapshot(std::string_view input) {
  const std::string bytes(input);
  Reading reading = readIn(bytes, bytes.size() + 1, 1);
  require(readIn(bytes, 7, 1).text == reading.text, "pieces are read as the whole");
  require(readIn(bytes, bytes.size() + 1, 3).text == reading.text, "three threads read as one does");
  if (!reading.snapshot) return;
  require(readIn(reading.text, reading.text.size(), 1).text == reading.text,
          "what is written reads the same");
  const std::vector<const IBNode*> nodes = everyNode(*reading.snapshot);
  requireFile(*reading.snapshot, nodes);
  requireModels(*reading.snapshot, nodes);
}

}  // namespace siminfo
