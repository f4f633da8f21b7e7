#pragma once

#include <array>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

#include "siminfo/core/in_memory/temporary_file.h"

namespace siminfo {

/// A header as it was when siminfo was built: an installed siminfo needs no folder of headers beside it.
struct SimulatorHeader {
  std::string_view path;  ///< from the folder of its kind
  std::string_view text;
};
extern const std::span<const SimulatorHeader> kSimulatorHeaders;  ///< of simulator/include
extern const std::span<const SimulatorHeader> kProbeHeaders;      ///< of verify/probe

/// The classes of nodes inside the class of a dump.
inline constexpr std::array<std::string_view, 5> kNodeClasses{"SW", "RTR", "AN", "HCA", "Unknown"};

/// The text of infiniband/drovik/drovik_records.h: every record, its image and its functions, written from
/// the field tables.
std::string recordsHeader();

/// Whether a dump of that name would clash with a name of the reference simulator.
bool isSimulatorName(std::string_view name);

/// The text of "<lower name>.h": the class of a dump with its device classes, whose member functions the
/// generated source defines.
std::string dumpHeader(const std::string& name);

/// Puts the complete simulator under `root`: everything that generated source includes but the dump's own
/// header. Throws like writeFile, as does the next one.
void writeSimulator(const std::filesystem::path& root, Durability durability = Durability::kScratch);

/// Puts the server's headers beside it, in server/.
void writeServer(const std::filesystem::path& root);

/// Makes the file hold the text, whole or not at all, and does not touch one that does. Makes the
/// folders on the way. Throws std::runtime_error with the path and the cause.
void writeFile(const std::filesystem::path& path, std::string_view text,
               Durability durability = Durability::kScratch);

}  // namespace siminfo
