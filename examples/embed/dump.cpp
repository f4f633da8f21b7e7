#include <array>
#include <iostream>
#include <string>

#include "siminfo/core/in_memory/host_name_check.h"
#include "siminfo/core/in_memory/in_memory_capabilities.h"
#include "siminfo/core/in_memory/in_memory_fabric.h"
#include "siminfo/core/in_memory/output_directory.h"
#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/text/text_rules.h"

namespace {

using namespace siminfo;

// What this tool knows of its devices. The name of the second would turn the line behind it into code.
struct Device {
  std::uint64_t guid;
  std::string name;
  SMP_NodeInfo info;
};
const std::array kDevices{Device{0x2c9000000001, "host-1", {1, 1, 128, 0x1017, 0, 0x2c9}},
                          Device{0x2c9000000002, "host-2\\", {1, 1, 64, 0x1003, 1, 0x2c9}}};

// A store without any record; one that has some overrides their getters.
struct EmptyStore : KvormExtendedInfo {
#define NO_RECORD(Record, getter) \
  const Record* getter(std::uint32_t) const override { return nullptr; }
  SIMINFO_NODE_RECORDS(NO_RECORD)
  SIMINFO_PORT_RECORDS(NO_RECORD)
#undef NO_RECORD
  using Counters = ZYRReductionCounters;
  using Monitors = ZYRReductionConfigureMLIDMonitors;
  const Counters* getZYRReductionCounters(std::uint32_t, std::uint32_t) const override { return nullptr; }
  const Monitors* getZYRReductionConfigureMLIDMonitors(std::uint32_t, std::uint8_t) const override {
    return nullptr;
  }
};

struct Store final : EmptyStore {
  const SMP_NodeInfo* getSMPNodeInfo(std::uint32_t node) const override { return &kDevices.at(node).info; }
};

struct Engine final : Drovik {
  explicit Engine(const char* folder) : files_(folder) {}
  const IBFabric& fabric() const override { return fabric_; }
  const KvormExtendedInfo& extendedInfo() const override { return store_; }
  CapabilityModule& capabilityModule() const override { return capabilities_; }
  using File = OutputControl::Identity;
  int OpenFile(const std::string&, const File& file, std::ofstream& out, bool, const char*) override {
    const std::string fault = hostNameFault();
    return fault.empty() ? files_.open(file.fileName(), out) : files_.refuse(fault);
  }
  int CloseFile(std::ofstream& out, const char*) override { return files_.close(out); }

  InMemoryFabric fabric_;
  Store store_;
  mutable InMemoryCapabilities capabilities_;  // nobody knows any of these devices
  OutputDirectory files_;
};

}  // namespace

int dumpFabric(const char* folder) {
  Engine engine(folder);
  for (const Device& device : kDevices) {
    if (const std::string fault = nameFault(device.name); !fault.empty()) {
      std::cerr << "left out: a name that " << fault << '\n';
      continue;
    }
    IBNode* node = engine.fabric_.addNode(device.name, 1);
    node->guid = device.guid;
    node->type = kChannelAdapter;
    node->recordIndex = static_cast<std::uint32_t>(&device - kDevices.data());
  }
  SimInfoDumpCPP(engine).Generate("Fab1", {});
  if (engine.files_.failure().empty()) return 0;
  std::cerr << "error: " << engine.files_.failure() << '\n';
  return 1;
}
