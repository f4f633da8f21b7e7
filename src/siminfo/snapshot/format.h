#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "siminfo/core/fabric.h"
#include "siminfo/core/in_memory/in_memory_extended_info.h"
#include "siminfo/text/number_text.h"

namespace siminfo {

/// Version of the snapshot format, the value of the header's first key.
inline constexpr std::uint64_t kFormatVersion = 1;
inline constexpr std::uint64_t kMostPorts = 254;  ///< the highest port number there is

inline constexpr std::array kNodeTypes{
    Word{"ca", kChannelAdapter},
    Word{"switch", kSwitch},
    Word{"router", kRouter},
};
inline constexpr std::array kPortStates{
    Word{"unknown", 0}, Word{"down", 1}, Word{"initialize", 2}, Word{"armed", 3}, Word{"active", 4},
};
inline constexpr int kDefaultPortState = 4;
inline constexpr IntegerForm kNodeTypeForm{0, 255, kNodeTypes};
inline constexpr IntegerForm kPortStateForm{kIntForm.lowest, kIntForm.highest, kPortStates};

/// A flag of a port, as the array "kinds" names it.
struct PortKind {
  std::string_view word;
  bool IBPort::*flag;
};
inline constexpr std::array kPortKinds{
    PortKind{"special", &IBPort::special},
    PortKind{"fnm", &IBPort::fnm},
    PortKind{"fnm1", &IBPort::fnm1},
};

/// A record that nodes or ports carry, for readers and writers that go by its name and table.
struct RecordKind {
  std::string_view name;
  std::span<const Field> fields;
  std::size_t size;
  const void* (*find)(const InMemoryExtendedInfo& store, std::uint32_t index);
  void (*set)(InMemoryExtendedInfo& store, std::uint32_t index, const void* record);
};

extern const std::span<const RecordKind> kNodeRecordKinds;
extern const std::span<const RecordKind> kPortRecordKinds;

// Two things that a port carries and that are no single record: counter sets by index, and found monitors.
inline constexpr std::string_view kCountersName = kRecordName<ZYRReductionCounters>;
inline constexpr std::string_view kMonitorsName = "ZYRReductionConfigureMLIDMonitors";

}  // namespace siminfo
