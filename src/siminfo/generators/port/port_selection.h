#pragma once

#include <cstdint>
#include <map>

#include "siminfo/core/fabric.h"

namespace siminfo {

/// Special ports get values of their own; all other ports share those of one of them.
inline bool IsSpecial(const IBPort& port) {
  return port.isFNMPort() || port.isFNM1Port() || port.isSpecialPort();
}

/// Whether a port besides port 0 contributes: it is above Down and belongs to the sub-fabric of this run.
inline bool TakesPart(const IBPort& port) { return port.portState > 1 && port.getInSubFabric(); }

/// The port of that number, or null. Only a switch has a port 0, and one without any port list is a broken
/// model: the guarded index ends the process.
inline const IBPort* PortAt(const IBNode& node, std::uint8_t num) {
  if (num == 0) return node.type == kSwitch ? node.ports[0] : nullptr;
  return num < node.ports.size() ? node.ports[num] : nullptr;
}

/// Calls `visit` with every port from 1 to the node's port count that takes part, in ascending order, until
/// it returns false. The counter is as wide as the count: with 255 ports it wraps, and the scan never ends.
template <class Visit>
void VisitPorts(const IBNode& node, Visit visit) {
  if (node.numPorts == 0) return;
  for (std::uint8_t num = 1; num <= node.numPorts; ++num) {
    const IBPort* port = PortAt(node, num);
    if (port != nullptr && TakesPart(*port) && !visit(*port)) return;
  }
}

/// What the emitted loops choose from: the value of the lowest ordinary port that has one, and the values of
/// the special ports by port number.
template <class Value>
struct PortChoice {
  Value regular{};
  std::map<std::uint8_t, Value> special;

  void add(const IBPort& port, const Value& value) {
    if (IsSpecial(port))
      special[port.num] = value;
    else if (regular == Value{})
      regular = value;
  }
};

/// Sorts the records that `find` returns for the ports that take part. Ports without a record are left out.
template <class Record, class Find>
PortChoice<const Record*> ChoosePorts(const IBNode& node, Find find) {
  PortChoice<const Record*> choice;
  VisitPorts(node, [&](const IBPort& port) {
    if (const Record* record = find(port)) choice.add(port, record);
    return true;
  });
  return choice;
}

}  // namespace siminfo
