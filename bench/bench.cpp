// Emission and loading beside their yardsticks. Run by ./bench.sh, which interleaves the repetitions and
// makes the table.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "bench/plain_emitter.h"
#include "bench/plain_loaders.h"
#include "siminfo/core/block_emitter.h"
#include "siminfo/core/section_stream.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/snapshot/reader.h"

namespace siminfo {
namespace {

std::string directory;  // of output files
std::string snapshotFile;

Snapshot& snapshot() {
  static Snapshot loaded = readSnapshotFile(snapshotFile);
  return loaded;
}

std::string generate(const std::string& to) {
  InMemoryDrovik engine(snapshot().discovered, to);
  SimInfoDumpCPP(engine).Generate("Bench", {});
  if (!engine.files().failure().empty()) throw std::runtime_error(engine.files().failure());
  return engine.files().path();
}

const std::string& text() {
  static const std::string generated = [] {
    std::ifstream file(generate(directory), std::ios_base::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }();
  return generated;
}

const PlainEmitter& plain() {
  static const PlainEmitter emitter(text());
  return emitter;
}

/// A stream over memory that is written again and again: what any program may hand to a generator.
class AnyStream final : public std::ostream {
 public:
  explicit AnyStream(std::size_t size) : std::ostream(&buffer_), buffer_(size) {}
  void clearText() { buffer_.clear(); }
  std::string_view text() const { return buffer_.text(); }

 private:
  class Buffer final : public std::streambuf {
   public:
    explicit Buffer(std::size_t size) : memory_(size) { clear(); }
    void clear() { setp(memory_.data(), memory_.data() + memory_.size()); }
    std::string_view text() const { return {pbase(), pptr()}; }

   private:
    std::vector<char> memory_;
  };
  Buffer buffer_;
};

template <class Stream>
void emitNodes(Stream& os) {
  InMemoryDrovik engine(snapshot().discovered, directory);
  const SimInfoDumpCPP generator(engine);
  for (const auto& [name, node] : snapshot().discovered.fabric.nodeByName) {
    os.clearText();
    for (const SimInfoDumpCPP::Frame& frame : SimInfoDumpCPP::Frames()) {
      (generator.*frame.generate)(os, *node);
      BlockEmitter(os) << "\n";
    }
    benchmark::DoNotOptimize(os.text().size());
  }
}

void countBytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}
void perOutput(benchmark::State& state) { countBytes(state, text().size()); }
void perInput(benchmark::State& state) { countBytes(state, std::filesystem::file_size(snapshotFile)); }

void emitOwnMemory(benchmark::State& state) {
  SectionStream os;
  while (state.KeepRunning()) emitNodes(os);
  perOutput(state);
}
void emitAnyMemory(benchmark::State& state) {
  AnyStream os(16UL << 20U);
  while (state.KeepRunning()) emitNodes(os);
  perOutput(state);
}
/// In pieces of a node's size, as the others.
void plainMemory(benchmark::State& state) {
  const std::size_t nodes = snapshot().discovered.fabric.nodeByName.size();
  AnyStream os(text().size() + 1);
  while (state.KeepRunning()) {
    os.clearText();
    plain().emit(os);
    benchmark::DoNotOptimize(nodes);
  }
  perOutput(state);
}
void emitFile(benchmark::State& state) {
  while (state.KeepRunning()) generate(directory);
  perOutput(state);
}
void plainFile(benchmark::State& state) {
  const std::string to = directory + "/plain.cpp";
  while (state.KeepRunning()) {
    std::ofstream file(to, std::ios_base::binary);
    plain().emit(file);
  }
  perOutput(state);
}
void copyFile(benchmark::State& state) {
  const std::string command = "cp '" + directory + "/bench_generated.cpp' '" + directory + "/copy.cpp'";
  text();
  while (state.KeepRunning()) {
    if (std::system(command.c_str()) != 0) state.SkipWithError("cp failed");
  }
  perOutput(state);
}

void loadOneCore(benchmark::State& state) {
  while (state.KeepRunning()) benchmark::DoNotOptimize(readSnapshotFile(snapshotFile));
  perInput(state);
}
void loadPlainSimdjson(benchmark::State& state) {
  while (state.KeepRunning()) benchmark::DoNotOptimize(loadWithSimdjson(snapshotFile));
  perInput(state);
}
void loadPlainNlohmann(benchmark::State& state) {
  while (state.KeepRunning()) benchmark::DoNotOptimize(loadWithNlohmann(snapshotFile));
  perInput(state);
}

#define SIMINFO_BENCHMARK(run, name) BENCHMARK(run)->Name(name)->Unit(benchmark::kMillisecond)->UseRealTime()
SIMINFO_BENCHMARK(emitOwnMemory, "memory/own");
SIMINFO_BENCHMARK(emitAnyMemory, "memory/any");
SIMINFO_BENCHMARK(plainMemory, "memory/plain");
SIMINFO_BENCHMARK(emitFile, "file/siminfo");
SIMINFO_BENCHMARK(plainFile, "file/plain");
SIMINFO_BENCHMARK(copyFile, "file/cp");
SIMINFO_BENCHMARK(loadOneCore, "load/siminfo");
SIMINFO_BENCHMARK(loadPlainSimdjson, "load/simdjson");
SIMINFO_BENCHMARK(loadPlainNlohmann, "load/nlohmann");

/// The yardsticks must do the same work, or the ratios mean nothing.
bool yardsticksAgree() {
  std::ostringstream os;
  plain().emit(os);
  if (os.view() != text()) {
    std::cerr << "the plain emitter writes another text\n";
    return false;
  }
  if (!(loadWithSimdjson(snapshotFile) == loadWithNlohmann(snapshotFile))) {
    std::cerr << "the plain loaders read different records\n";
    return false;
  }
  return true;
}

}  // namespace
}  // namespace siminfo

int main(int argc, char** argv) {
  using namespace siminfo;
  benchmark::Initialize(&argc, argv);
  if (argc != 3) {
    std::cerr << "usage: siminfo_bench [--benchmark_...] SNAPSHOT DIRECTORY\n";
    return 2;
  }
  snapshotFile = argv[1];
  directory = argv[2];
  if (!yardsticksAgree()) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
