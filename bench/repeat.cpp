// siminfo_repeat emit|emit-stream|load SNAPSHOT COUNT: does one piece of work COUNT times and prints how many
// lines or fields that were. The difference between two counts, under a tool that counts instructions, is
// what one of them costs, without whatever the program does once.

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "siminfo/core/block_emitter.h"
#include "siminfo/core/section_stream.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/snapshot/format.h"
#include "siminfo/snapshot/reader.h"

namespace siminfo {
namespace {

void emitNodes(Snapshot& snapshot, std::ostream& os) {
  InMemoryDrovik engine(snapshot.discovered, ".");
  const SimInfoDumpCPP generator(engine);
  for (const auto& [name, node] : snapshot.discovered.fabric.nodeByName) {
    for (const SimInfoDumpCPP::Frame& frame : SimInfoDumpCPP::Frames()) {
      (generator.*frame.generate)(os, *node);
      BlockEmitter(os) << "\n";
    }
  }
}

std::size_t emit(Snapshot& snapshot, int count) {
  SectionStream section;
  for (int i = 0; i < count; ++i) {
    section.clearText();
    emitNodes(snapshot, section);
  }
  const std::string_view text = section.text();
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

std::size_t emitToAnyStream(Snapshot& snapshot, int count) {
  std::ostringstream os;
  for (int i = 0; i < count; ++i) {
    os.seekp(0);
    emitNodes(snapshot, os);
  }
  const std::string_view text = os.view();
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

/// Fields are counted by their colons. Elements of arrays have none, and are few.
std::size_t load(const std::string& fileName, int count) {
  for (int i = 0; i < count; ++i) readSnapshotFile(fileName);
  std::ifstream file(fileName);
  return static_cast<std::size_t>(std::count(std::istreambuf_iterator<char>(file), {}, ':'));
}

std::size_t sizeOf(std::span<const RecordKind> kinds, const InMemoryExtendedInfo& store,
                   std::uint32_t index) {
  std::size_t size = 0;
  for (const RecordKind& kind : kinds) size += kind.find(store, index) != nullptr ? kind.size : 0;
  return size;
}

std::size_t recordBytes(const DiscoveredFabric& discovered) {
  std::size_t size = 0;
  for (const auto& [name, node] : discovered.fabric.nodeByName) {
    size += sizeOf(kNodeRecordKinds, discovered.records, node->recordIndex);
    for (const IBPort* port : node->ports) {
      if (port == nullptr) continue;
      size += sizeOf(kPortRecordKinds, discovered.records, port->recordIndex);
      for (std::uint32_t set = 0; set < InMemoryExtendedInfo::kCounterSets; ++set) {
        if (discovered.records.getZYRReductionCounters(port->recordIndex, set) != nullptr)
          size += sizeof(ZYRReductionCounters);
      }
    }
  }
  return size;
}

}  // namespace
}  // namespace siminfo

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: siminfo_repeat emit|emit-stream|load|size SNAPSHOT COUNT\n";
    return 2;
  }
  const std::string work = argv[1];
  const int count = std::atoi(argv[3]);
  if (work == "load") {
    std::cout << siminfo::load(argv[2], count) << "\n";
    return 0;
  }
  siminfo::Snapshot snapshot = siminfo::readSnapshotFile(argv[2]);
  if (work == "size")
    std::cout << siminfo::recordBytes(snapshot.discovered) << "\n";
  else
    std::cout << (work == "emit" ? siminfo::emit(snapshot, count) : siminfo::emitToAnyStream(snapshot, count))
              << "\n";
  return 0;
}
