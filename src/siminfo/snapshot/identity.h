#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace siminfo {

// What is known of nodes and ports beside their records: who they are, and what they are connected to. The
// generator never sees it. What is empty was not told.

struct NodeIdentity {
  std::optional<std::uint64_t> systemGuid;  ///< SystemImageGUID of NodeInfo
  std::optional<std::string> description;   ///< NodeDescription, made safe for a line of source
  bool operator==(const NodeIdentity&) const = default;
};

/// The other end of a port's cable, and how the link runs: the active codes of PortInfo.
struct Link {
  std::string node;                      ///< by name; it need not be in the snapshot
  std::uint8_t port = 0;                 ///< of that node, from 1
  std::optional<std::uint8_t> width;     ///< LinkWidthActive
  std::optional<std::uint8_t> speed;     ///< LinkSpeedActive
  std::optional<std::uint8_t> speedExt;  ///< LinkSpeedExtActive
  bool operator==(const Link&) const = default;
};

struct PortIdentity {
  std::optional<std::uint64_t> guid;
  std::optional<std::uint16_t> lid;
  std::optional<std::uint8_t> lmc;        ///< LID mask control: the port has 2^lmc LIDs from `lid` on
  std::optional<std::uint8_t> physState;  ///< PortPhysicalState of PortInfo
  std::optional<Link> link;
  bool operator==(const PortIdentity&) const = default;
};

}  // namespace siminfo
