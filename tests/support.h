#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <locale>
#include <sstream>
#include <string>

#include "siminfo/core/in_memory/in_memory_drovik.h"
#include "siminfo/generators/drovik_sim_info_dump.h"

namespace siminfo {

/// A directory of a test's own, removed with everything in it.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "siminfo-test-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~ScratchDirectory() { std::filesystem::remove_all(path_); }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::size_t fileCount() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path_), {}));
  }

 private:
  std::filesystem::path path_;
};

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios_base::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// What a locale does to numbers that go through a stream: 1,2,3.
class GroupingLocale final : public std::numpunct<char> {
  char do_thousands_sep() const override { return ','; }
  std::string do_grouping() const override { return "\1"; }
};

/// The record with every field at the same small value, those of inner records apart.
template <class Record>
Record filled(std::uint64_t value) {
  Record record{};
  for (const Field& field : kFields<Record>) {
    for (std::size_t i = 0; field.form != FieldForm::kRecords && i < field.count; ++i)
      field.set(&record, value, i);
  }
  return record;
}

/// A fabric that a test builds by hand, with the generator over it.
class GeneratorTest : public testing::Test {
 protected:
  IBNode& addNode(const std::string& name, int type, std::uint8_t numPorts = 0) {
    IBNode& node = *discovered.fabric.addNode(name, numPorts);
    node.type = type;
    return node;
  }
  IBPort& addPort(IBNode& node, std::uint8_t num, int state = 4) {
    IBPort& port = *discovered.fabric.addPort(node, num);
    port.portState = state;
    return port;
  }
  void support(const IBNode& node, std::initializer_list<unsigned> smpBits) {
    CapabilityAnswer answer{0, {}};
    for (const unsigned bit : smpBits) answer.mask.words[bit / 32] |= 1U << bit % 32;
    discovered.capabilities.setAnswer(node.recordIndex, false, answer);
  }
  template <class Record>
  void give(const IBNode& node, const Record& record = filled<Record>(1)) {
    discovered.records.set(node.recordIndex, record);
  }
  template <class Record>
  void give(const IBPort& port, const Record& record = filled<Record>(1)) {
    discovered.records.set(port.recordIndex, record);
  }

  /// What the generator of the emitted method writes for the node.
  std::string frame(const std::string& method, const IBNode& node) const {
    for (const SimInfoDumpCPP::Frame& frame : SimInfoDumpCPP::Frames()) {
      if (frame.method != method) continue;
      std::ostringstream os;
      (generator.*frame.generate)(os, node);
      return os.str();
    }
    return "no frame is called " + method;
  }

  ScratchDirectory directory;
  DiscoveredFabric discovered;
  InMemoryDrovik engine{discovered, directory.path()};
  SimInfoDumpCPP generator{engine};
};

}  // namespace siminfo
