#include "siminfo/models/exact_ports.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "siminfo/core/records/records.h"
#include "siminfo/generators/port/port_selection.h"

namespace siminfo {
namespace {

/// What a frame writes of a port's record, field by field; empty when the port has none.
using Values = std::vector<std::uint64_t>;

template <class Record>
Values valuesOf(const Record* record) {
  Values values;
  if (record == nullptr) return values;
  for (const Field& field : kFields<Record>) {
    for (std::size_t i = 0; i < field.count; ++i) values.push_back(field.get(record, i));
  }
  return values;
}

Values portInfo(const KvormExtendedInfo& records, const IBNode& node, const IBPort& port) {
  const SMP_PortInfo* found = records.getSMPPortInfo(port.recordIndex);
  if (found == nullptr) return {};
  SMP_PortInfo written = *found;
  written.CapMsk &= ~std::uint32_t{2};                 // IsSM is never written
  if (node.isOrbelSwitch()) written.LinkWidthSup = 0;  // nor this, of an ordinary port
  return valuesOf(&written);
}
Values extendedPortInfo(const KvormExtendedInfo& records, const IBNode&, const IBPort& port) {
  return valuesOf(records.getSMPKrelExtPortInfo(port.recordIndex));
}
Values portInfoExtended(const KvormExtendedInfo& records, const IBNode&, const IBPort& port) {
  return valuesOf(records.getSMPPortInfoExtended(port.recordIndex));
}
Values reductionPortInfo(const KvormExtendedInfo& records, const IBNode&, const IBPort& port) {
  return valuesOf(records.getZYRReductionPortInfo(port.recordIndex));
}
/// The frame names the port that it writes for. So no port's sets are another one's, and its number is a
/// value.
Values reductionCounters(const KvormExtendedInfo& records, const IBNode&, const IBPort& port) {
  Values values;
  if (records.getZYRReductionConfigureMLIDMonitors(port.recordIndex, 0) == nullptr) return values;
  for (std::uint32_t set = 0; set < 8; ++set) {
    if (records.getZYRReductionCounters(port.recordIndex, set) != nullptr) values = {port.num};
  }
  return values;
}
Values pushCounters(const KvormExtendedInfo& records, const IBNode&, const IBPort& port) {
  if (records.getZYRReductionConfigureMLIDMonitors(port.recordIndex, 1) == nullptr) return {};
  return valuesOf(records.getZYRPushReductionCounters(port.recordIndex));
}

bool isAnyNode(const Drovik&, const IBNode&) { return true; }
bool hasExtendedPortInfo(const Drovik& engine, const IBNode& node) {
  return engine.capabilityModule().IsSupportedSMPCapability(&node, kIsExtendedPortInfoSupported);
}
bool hasReduction(const Drovik& engine, const IBNode& node) {
  return node.type == kSwitch &&
         engine.capabilityModule().IsSupportedSMPCapability(&node, kIsZYRReductionManagementSupported) &&
         engine.extendedInfo().getZYRClassPortInfo(node.recordIndex) != nullptr;
}

/// A frame that is written by port.
struct PortFrame {
  std::string_view method;
  std::span<const Field> fields;  ///< of what `values` returns; empty for the port's number
  bool (*applies)(const Drovik& engine, const IBNode& node);
  Values (*values)(const KvormExtendedInfo& records, const IBNode& node, const IBPort& port);
  bool (*hasBranches)(const IBNode& node);  ///< or one record for all ports
};

bool always(const IBNode&) { return true; }
bool never(const IBNode&) { return false; }
bool onSwitches(const IBNode& node) { return node.type == kSwitch; }

constexpr std::array kPortFrames{
    PortFrame{"setPortInfo", kFields<SMP_PortInfo>, isAnyNode, portInfo, onSwitches},
    PortFrame{"setExtendedPortInfo", kFields<SMP_KrelExtPortInfo>, hasExtendedPortInfo, extendedPortInfo,
              always},
    PortFrame{"setPortInfoExtended", kFields<SMP_PortInfoExtended>, isAnyNode, portInfoExtended, never},
    PortFrame{"setZYRReductionPortInfo", kFields<ZYRReductionPortInfo>, hasReduction, reductionPortInfo,
              always},
    PortFrame{"setZYRReductionCounters", {}, hasReduction, reductionCounters, always},
    PortFrame{"setZYRPushReductionCounters", kFields<ZYRPushReductionCounters>, hasReduction, pushCounters,
              always},
};

/// Calls `visit(port, values)` with every port behind port 0 that has a record, in ascending order.
template <class Visit>
void visitPorts(const Drovik& engine, const IBNode& node, const PortFrame& frame, Visit visit) {
  if (!frame.applies(engine, node)) return;
  for (std::size_t num = 1; num < node.ports.size() && num <= node.numPorts; ++num) {
    const IBPort* port = node.ports[num];
    if (port == nullptr || !port->getInSubFabric()) continue;
    if (Values values = frame.values(engine.extendedInfo(), node, *port); !values.empty())
      visit(*port, values);
  }
}

/// The port that stands for all ordinary ones.
struct Standing {
  const IBPort* port = nullptr;  // null when there is none
  Values values;
};

Standing findStanding(const Drovik& engine, const IBNode& node, const PortFrame& frame) {
  Standing standing;
  visitPorts(engine, node, frame, [&](const IBPort& port, const Values& values) {
    const bool canStand = TakesPart(port) && (!IsSpecial(port) || !frame.hasBranches(node));
    if (standing.port == nullptr && canStand) standing = {&port, values};
  });
  return standing;
}

bool hasBranch(const IBNode& node, const PortFrame& frame, const IBPort& port) {
  return frame.hasBranches(node) && TakesPart(port) && IsSpecial(port);
}

void addDifferences(const PortFrame& frame, const IBPort& port, const Values& values, const Values& standing,
                    std::vector<PortShares::Difference>& differences) {
  if (frame.fields.empty()) {
    if (values == standing) return;
    differences.push_back({&port, "port", values[0], standing[0]});
    return;
  }
  std::size_t at = 0;
  for (const Field& field : frame.fields) {
    for (std::size_t i = 0; i < field.count; ++i, ++at) {
      if (values[at] != standing[at]) differences.push_back({&port, field.name, values[at], standing[at]});
    }
  }
}

}  // namespace

void countStandIns(const Drovik& engine, const IBNode& node, bool exactPorts, StandIns& counts) {
  for (const PortFrame& frame : kPortFrames) {
    if (exactPorts && frame.hasBranches(node)) continue;
    const Standing standing = findStanding(engine, node, frame);
    if (standing.port == nullptr) continue;
    visitPorts(engine, node, frame, [&](const IBPort& port, const Values& values) {
      if (!hasBranch(node, frame, port) && values != standing.values) ++counts[frame.method];
    });
  }
}

std::vector<PortShares> portSharesOf(const Drovik& engine, const IBNode& node) {
  std::vector<PortShares> all;
  for (const PortFrame& frame : kPortFrames) {
    const Standing standing = findStanding(engine, node, frame);
    if (standing.port == nullptr) continue;
    PortShares& shares = all.emplace_back(PortShares{frame.method, standing.port, {}, {}});
    visitPorts(engine, node, frame, [&](const IBPort& port, const Values& values) {
      if (hasBranch(node, frame, port))
        shares.special.push_back(&port);
      else
        addDifferences(frame, port, values, standing.values, shares.differences);
    });
  }
  return all;
}

PushKeys pushKeysOf(const Drovik& engine, const IBNode& node, bool exactPorts) {
  constexpr std::string_view kMethod = "setZYRPushReductionCounters";
  const auto& frame = *std::ranges::find(kPortFrames, kMethod, &PortFrame::method);
  const ExactNode exact(engine, node, kMethod);
  PushKeys keys;
  bool hasStanding = false;
  visitPorts(engine, exactPorts ? exact.node() : node, frame, [&](const IBPort& port, const Values&) {
    if (!TakesPart(port) || (!IsSpecial(port) && hasStanding)) return;
    hasStanding = hasStanding || !IsSpecial(port);
    const auto* record = engine.extendedInfo().getZYRPushReductionCounters(port.recordIndex);
    keys.emplace(record->header0, record->header1);
  });
  return keys;
}

ExactNode::ExactNode(const Drovik& engine, const IBNode& node, std::string_view method) : node_(node) {
  const auto* frame = std::ranges::find(kPortFrames, method, &PortFrame::method);
  if (frame == kPortFrames.end() || !frame->hasBranches(node)) return;
  const Values standing = findStanding(engine, node, *frame).values;
  visitPorts(engine, node, *frame, [&](const IBPort& port, const Values& values) {
    if (TakesPart(port) && (IsSpecial(port) || values == standing)) return;
    IBPort& own = ports_.emplace_back(port);
    own.special = true;
    own.portState = 4;  // Active: the frames leave out what is Down
    node_.ports[port.num] = &own;
  });
}

}  // namespace siminfo
