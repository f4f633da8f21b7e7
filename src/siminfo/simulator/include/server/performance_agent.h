#pragma once

// Answers for a node's performance management agent. Nothing is counted: counters are 0 until somebody sets
// them.

#include <algorithm>
#include <cstring>

#include "agent_request.h"

namespace drovik {

class PerformanceAgent {
 public:
  Status answer(Request& request) const {
    if (request.method != kGet && request.method != kSet) return kBadMethod;
    if (request.attribute == kClassPortInfo)
      return request.method == kGet ? getClass(request) : kBadAttribute;
    if (request.attribute != kPortCounters && request.attribute != kExtendedCounters) return kBadAttribute;
    const u_int8_t port = request.data[kSelectedPort];
    const ServedNode& node = *request.node;
    if (port != kAllPorts && (port > node.lastPort() || (port == 0 && !node.isSwitch()))) return kBadValue;
    return request.method == kSet ? set(request, port) : read(request, port);
  }

 private:
  enum : unsigned { kPortCounters = 0x12, kExtendedCounters = 0x1d };
  static constexpr std::size_t kSelectedPort = 1;  // the byte
  static constexpr u_int8_t kAllPorts = 0xff;
  static constexpr Place kSelection{16, 16};
  static constexpr Place kCapabilities{16, 16}, kResponseTime{59, 5};

  struct Counter {
    unsigned selector;  // its bit of CounterSelect
    Place place;
  };
  using Counters = std::vector<Counter>;

  static const Counters& countersOf(unsigned attribute) {
    static const Counters kShort{{0, {32, 16}},   {1, {48, 8}},    {2, {56, 8}},    {3, {64, 16}},
                                 {4, {80, 16}},   {5, {96, 16}},   {6, {112, 16}},  {7, {128, 8}},
                                 {8, {136, 8}},   {9, {152, 4}},   {10, {156, 4}},  {11, {176, 16}},
                                 {12, {192, 32}}, {13, {224, 32}}, {14, {256, 32}}, {15, {288, 32}}};
    static const Counters kExtended{{0, {64, 64}},  {1, {128, 64}}, {2, {192, 64}}, {3, {256, 64}},
                                    {4, {320, 64}}, {5, {384, 64}}, {6, {448, 64}}};
    return attribute == kPortCounters ? kShort : kExtended;
  }

  static Status getClass(Request& request) {
    constexpr unsigned kAllPortsSelectable = 0x0100;
    constexpr unsigned kExtendedWidth = 0x0200;
    std::memset(request.data, 0, sizeof(AttributeBytes));
    request.data[0] = request.data[1] = 1;  // the versions
    put(request.data, kCapabilities, kAllPortsSelectable | kExtendedWidth);
    put(request.data, kResponseTime, 18);
    return kDone;
  }

  /// The sums over all ports, where all are selected.
  static Status read(Request& request, u_int8_t selected) {
    AttributeBytes sums{};
    sums[kSelectedPort] = selected;
    copyFields(sums.data(), request.data, kSelection);
    for (const Counter& counter : countersOf(request.attribute)) {
      u_int64_t sum = 0;
      for (unsigned port = 0; port <= request.node->lastPort(); ++port) {
        const auto found = request.node->blocks.find(key(request, port));
        if ((selected == kAllPorts || selected == port) && found != request.node->blocks.end())
          sum += get(found->second.data(), counter.place);
      }
      const u_int64_t most = ~0ULL >> (64U - counter.place.bits);
      put(sums.data(), counter.place, std::min(sum, most));
    }
    std::memcpy(request.data, sums.data(), sums.size());
    return kDone;
  }

  static Status set(Request& request, u_int8_t selected) {
    const u_int64_t selection = get(request.data, kSelection);
    for (unsigned port = 0; port <= request.node->lastPort(); ++port) {
      if (selected != kAllPorts && selected != port) continue;
      AttributeBytes& counters = request.node->blocks[key(request, port)];
      for (const Counter& counter : countersOf(request.attribute)) {
        if ((selection >> counter.selector & 1U) != 0)
          copyFields(counters.data(), request.data, counter.place);
      }
    }
    return read(request, selected);
  }

  /// Apart from the blocks of subnet management.
  static std::pair<unsigned, u_int32_t> key(const Request& request, unsigned port) {
    return {kPerformance << 16U | request.attribute, port};
  }
};

}  // namespace drovik
