#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "snapshot/json.h"
#include "snapshot/snapshot.h"

namespace siminfo {

/// A record of a document, not yet in the store.
struct RecordDraft {
  std::size_t kind;    ///< in kNodeRecordKinds or kPortRecordKinds
  std::size_t offset;  ///< of its bytes, in NodeDraft::bytes
};

/// What a node and a port have in common: records, and reasons for those that they lack.
struct RecordsDraft {
  std::vector<RecordDraft> records;
  std::uint64_t present = 0;  ///< record names given, as bits
  AbsentRecords absent;
};

struct PortDraft {
  IBPort port;  ///< without its recordIndex
  RecordsDraft records;
  std::vector<std::pair<std::uint32_t, std::size_t>> counters;  ///< set index, and offset of its bytes
  std::vector<std::uint8_t> monitors;
  std::size_t index = 0;     ///< in the document's array
  const char* at = nullptr;  ///< in the document's text
};

/// A node document that was read and judged, and has not yet become part of a fabric.
struct NodeDraft {
  IBNode node;  ///< without its ports and recordIndex
  RecordsDraft records;
  bool hasSmp = false;  ///< the document says how the query for the mask ended
  bool hasGmp = false;
  CapabilityAnswer smp;
  CapabilityAnswer gmp;
  std::vector<PortDraft> ports;
  std::vector<std::uint64_t> bytes;  ///< the records' memory, suitably aligned for all of them
  const char* nameAt = nullptr;      ///< in the document's text
};

/// Reads a node document. Throws a Refusal.
NodeDraft parseNode(json::object document, const char* text);

/// Makes the node part of the fabric. False when there is a node of that name already.
bool addToSnapshot(const NodeDraft& draft, Snapshot& snapshot);

}  // namespace siminfo
