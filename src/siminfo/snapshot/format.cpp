#include "siminfo/snapshot/format.h"

namespace siminfo {
namespace {

template <class Record>
constexpr RecordKind recordKind() {
  return {kRecordName<Record>, kFields<Record>, sizeof(Record),
          [](const InMemoryExtendedInfo& store, std::uint32_t index) -> const void* {
            return store.find<Record>(index);
          },
          [](InMemoryExtendedInfo& store, std::uint32_t index, const void* record) {
            store.set(index, *static_cast<const Record*>(record));
          }};
}

#define SIMINFO_KIND(Record, getter) recordKind<Record>(),
constexpr std::array kNodeKindTable{SIMINFO_NODE_RECORDS(SIMINFO_KIND)};
constexpr std::array kPortKindTable{SIMINFO_PORT_RECORDS(SIMINFO_KIND)};
#undef SIMINFO_KIND

}  // namespace

// Known before any other constant is made, which may ask for them.
constinit const std::span<const RecordKind> kNodeRecordKinds = kNodeKindTable;
constinit const std::span<const RecordKind> kPortRecordKinds = kPortKindTable;

}  // namespace siminfo
