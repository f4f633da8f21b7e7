#pragma once

#include <filesystem>

#include "siminfo/core/drovik.h"
#include "siminfo/core/in_memory/in_memory_capabilities.h"
#include "siminfo/core/in_memory/in_memory_extended_info.h"
#include "siminfo/core/in_memory/in_memory_fabric.h"
#include "siminfo/core/in_memory/output_directory.h"

namespace siminfo {

/// A discovered fabric with everything that is known of its nodes and ports.
struct DiscoveredFabric {
  InMemoryFabric fabric;
  InMemoryExtendedInfo records;
  InMemoryCapabilities capabilities;
};

/// The engine over a fabric in memory, with its files in a directory. Failures of its file services are kept
/// in files().failure(), for the caller to report.
class InMemoryDrovik final : public Drovik {
 public:
  /// The fabric is borrowed.
  InMemoryDrovik(DiscoveredFabric& discovered, const std::filesystem::path& outputDirectory)
      : discovered_(discovered), files_(outputDirectory) {}

  const IBFabric& fabric() const override { return discovered_.fabric; }
  const KvormExtendedInfo& extendedInfo() const override { return discovered_.records; }
  CapabilityModule& capabilityModule() const override { return discovered_.capabilities; }
  const OutputDirectory& files() const { return files_; }

  int OpenFile(const std::string&, const OutputControl::Identity& identity, std::ofstream& out, bool,
               const char*) override;
  int CloseFile(std::ofstream& out, const char* commentPrefix) override;

 private:
  DiscoveredFabric& discovered_;
  OutputDirectory files_;
};

}  // namespace siminfo
