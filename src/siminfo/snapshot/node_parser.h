#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "siminfo/snapshot/json.h"
#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// Whose a record is: the position of a port in NodeDraft::ports, or the node's.
using Owner = std::uint32_t;
inline constexpr Owner kNodeItself = ~Owner{0};

struct PortDraft {
  IBPort port;        ///< without its recordIndex
  const char* numAt;  ///< its number in the document's text
};
struct RecordDraft {
  Owner owner;
  std::uint32_t kind;  ///< in kNodeRecordKinds or kPortRecordKinds
  std::size_t offset;  ///< of its bytes, in NodeDraft::bytes
};
struct CountersDraft {
  Owner owner;
  std::uint32_t set;
  std::size_t offset;  ///< as above
};
struct MonitorDraft {
  Owner owner;
  std::uint8_t monitor;
};
struct AbsentDraft {
  Owner owner;
  std::string record;
  std::string reason;
};

struct PortIdentityDraft {
  Owner owner;
  PortIdentity identity;
  const char* linkAt;  ///< its link in the document's text, if it has one
};

/// A node document that was read and judged, and has not yet become part of a fabric. Everything lies flat,
/// so that a draft that is used again needs no new memory.
struct NodeDraft {
  IBNode node;                   ///< without its ports and recordIndex
  const char* nameAt = nullptr;  ///< in the document's text
  std::optional<CapabilityAnswer> smp;
  std::optional<CapabilityAnswer> gmp;
  std::vector<PortDraft> ports;
  std::vector<RecordDraft> records;
  std::vector<CountersDraft> counters;
  std::vector<MonitorDraft> monitors;
  std::vector<AbsentDraft> absent;
  NodeIdentity identity;
  std::vector<PortIdentityDraft> portIdentities;  ///< of the ports that have one
  std::vector<std::uint64_t> bytes;               ///< the records' memory, suitably aligned for all of them

  void clear();
};

/// Reads a node document into the draft, in place of what was there. Throws a Refusal.
void parseNode(json::object document, const char* text, NodeDraft& draft);

/// Makes the node part of the fabric. Null when there is a node of that name already.
const IBNode* addToSnapshot(const NodeDraft& draft, Snapshot& snapshot);

}  // namespace siminfo
