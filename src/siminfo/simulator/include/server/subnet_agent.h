#pragma once

// Answers for a node's subnet management agent.

#include <algorithm>
#include <cstring>

#include "agent_request.h"
#include "link_states.h"
#include "shortest_paths.h"

namespace drovik {

class SubnetAgent {
 public:
  SubnetAgent(Fabric& fabric, LinkStates& links) : fabric_(fabric), links_(links) {}

  Status answer(Request& request) {
    const ServedNode& node = *request.node;
    if (fabric_.routerInfoAttribute != 0 && request.attribute == fabric_.routerInfoAttribute)
      return node.type == kRouter ? answerWith(&SubnetAgent::getRouterInfo, nullptr, request) : kBadAttribute;
    switch (request.attribute) {
      case kNodeDescription:
        return answerWith(&SubnetAgent::getDescription, nullptr, request);
      case kNodeInfo:
        return answerWith(&SubnetAgent::getNodeInfo, nullptr, request);
      case kGuidInfo:
        return answerWith(&SubnetAgent::getGuids, &SubnetAgent::setGuids, request);
      case kPortInfo:
        return answerWith(&SubnetAgent::getPortInfo, &SubnetAgent::setPortInfo, request);
      case kPortInfoExtended:
        return answerWith(&SubnetAgent::getExtended, nullptr, request);
      case kPartitionKeys:
        return answerWith(&SubnetAgent::getKeys, &SubnetAgent::setKeys, request);
      case kServiceToLane:
        return answerWith(&SubnetAgent::getLanes, &SubnetAgent::setLanes, request);
      case kLaneArbitration:
        return answerWith(&SubnetAgent::getArbitration, &SubnetAgent::setArbitration, request);
      default:
        break;
    }
    if (!node.isSwitch()) return kBadAttribute;
    switch (request.attribute) {
      case kSwitchInfo:
        return answerWith(&SubnetAgent::getSwitchInfo, &SubnetAgent::setSwitchInfo, request);
      case kLinearTable:
        return answerWith(&SubnetAgent::getLinear, &SubnetAgent::setLinear, request);
      case kMulticastTable:
        return answerWith(&SubnetAgent::getMulticast, &SubnetAgent::setMulticast, request);
      default:
        return kBadAttribute;
    }
  }

 private:
  using Answer = Status (SubnetAgent::*)(Request&);

  /// A Set is answered with what a Get finds behind it.
  Status answerWith(Answer getIt, Answer setIt, Request& request) {
    if (request.method != kGet && request.method != kSet) return kBadMethod;
    if (request.method == kSet) {
      if (setIt == nullptr) return kBadAttribute;
      if (const Status status = (this->*setIt)(request); status != kDone) return status;
    }
    return (this->*getIt)(request);
  }

  static Status give(Request& request, const u_int8_t* bytes) {
    std::memcpy(request.data, bytes, sizeof(AttributeBytes));
    return kDone;
  }

  /// The attribute with its fields where whoever asks expects them.
  static void move(Request& request, const u_int8_t* image, const std::vector<MovedField>& fields) {
    for (const MovedField& field : fields) put(request.data, field.from, 0);
    for (const MovedField& field : fields) put(request.data, field.to, get(image, field.from));
  }

  Status getDescription(Request& request) { return give(request, request.node->description.data()); }

  Status getNodeInfo(Request& request) {
    const ServedNode& node = *request.node;
    if (node.nodeInfo != kDone) return node.nodeInfo;
    give(request, &node.images.nodeInfo.bytes[0]);
    const unsigned addressed = node.isSwitch() ? 0 : request.arrival;
    put(request.data, node_info::kPortGuid, node.ports[addressed].guid);
    put(request.data, node_info::kLocalPort, request.arrival);
    return kDone;
  }

  Status getRouterInfo(Request& request) {
    const ServedNode& node = *request.node;
    if (node.routerInfo != kDone) return node.routerInfo;
    std::memset(request.data, 0, sizeof(AttributeBytes));
    move(request, &node.images.routerInfo.bytes[0], fabric_.routerInfoFields);
    return kDone;
  }

  Status getSwitchInfo(Request& request) {
    if (request.node->switchInfo != kDone) return request.node->switchInfo;
    return give(request, &request.node->images.switchInfo.bytes[0]);
  }
  Status setSwitchInfo(Request& request) {
    ServedNode& node = *request.node;
    if (node.switchInfo != kDone) return node.switchInfo;
    u_int8_t* info = &node.images.switchInfo.bytes[0];
    if (get(request.data, switch_info::kLinearTop) >= std::max<unsigned>(1, node.switchRecord().LinearFDBCap))
      return kBadValue;
    for (const Place place : switch_info::kSettable) copyFields(info, request.data, place);
    // Writing a one takes the note of a change away.
    if (get(request.data, switch_info::kStateChange) == 1) put(info, switch_info::kStateChange, 0);
    return kDone;
  }

  /// The port that the modifier names, or that the request came through; nothing when there is none such.
  static std::optional<unsigned> portOf(const Request& request) {
    const unsigned port = request.modifier & 0xffU;  // the top bit only says what the asker knows of speeds
    if (port == 0 && !request.node->isSwitch()) return request.arrival;
    if (port > request.node->lastPort()) return std::nullopt;
    return port;
  }

  Status getPortInfo(Request& request) {
    const auto port = portOf(request);
    if (!port) return kBadValue;
    const ServedNode& node = *request.node;
    if (node.ports[*port].info != kDone) return node.ports[*port].info;
    give(request, node.portInfo(*port));
    move(request, node.portInfo(*port), fabric_.portInfoFields);
    put(request.data, port_info::kLocalPort, request.arrival);
    return kDone;
  }
  Status setPortInfo(Request& request) {
    const auto port = portOf(request);
    if (!port) return kBadValue;
    ServedNode& node = *request.node;
    if (node.ports[*port].info != kDone) return node.ports[*port].info;
    const PortAt at{request.at.node, static_cast<u_int8_t>(*port)};
    const Status status = links_.set(at, static_cast<unsigned>(get(request.data, port_info::kState)),
                                     static_cast<unsigned>(get(request.data, port_info::kPhysicalState)));
    if (status != kDone) return status;
    setAnyPort(node, *port, request.data);
    if (!node.hasAddress(*port)) return kDone;
    for (const Place place : port_info::kAddressSettable)
      copyFields(node.portInfo(*port), request.data, place);
    return kDone;
  }

  static void setAnyPort(ServedNode& node, unsigned port, const u_int8_t* data) {
    u_int8_t* info = node.portInfo(port);
    for (const Place place : port_info::kSettable) copyFields(info, data, place);
    for (const Place place : port_info::kSettableUnlessZero) {
      if (get(data, place) != 0) copyFields(info, data, place);
    }
    const SMP_PortInfo record = node.portRecord(port);
    enable(info, data, port_info::kWidthEnabled, record.LinkWidthSup);
    enable(info, data, port_info::kSpeedEnabled, record.LinkSpeedSup);
    enable(info, data, port_info::kExtendedEnabled, record.LinkSpeedExtSup);
  }
  static void enable(u_int8_t* info, const u_int8_t* data, Place place, u_int64_t supported) {
    const u_int64_t asked = get(data, place);
    const u_int64_t all = (1U << place.bits) - 1;
    if (asked != 0) put(info, place, asked == all ? supported : asked);
  }

  Status getExtended(Request& request) {
    const auto port = portOf(request);
    if (!port) return kBadValue;
    const ServedNode& node = *request.node;
    if (node.ports[*port].extended != kDone) return node.ports[*port].extended;
    return give(request, &node.images.nodePortsInfoExt[*port].bytes[0]);
  }

  /// A block of a table as it was set, or else the one given.
  static Status giveBlock(Request& request, const AttributeBytes& unset) {
    const auto found = request.node->blocks.find({request.attribute, request.modifier});
    return give(request, found != request.node->blocks.end() ? found->second.data() : unset.data());
  }
  static Status keepBlock(Request& request) {
    std::memcpy(request.node->blocks[{request.attribute, request.modifier}].data(), request.data,
                sizeof(AttributeBytes));
    return kDone;
  }

  Status getGuids(Request& request) {
    constexpr std::size_t kInBlock = 8;
    const ServedNode& node = *request.node;
    const unsigned port = node.isSwitch() ? 0 : request.arrival;
    if (request.modifier * kInBlock >= std::max<u_int64_t>(1, get(node.portInfo(port), port_info::kGuidCap)))
      return kBadValue;
    giveBlock(request, {});
    // The first is the port's own, and nobody sets it.
    if (request.modifier == 0) put(request.data, {0, 64}, node.ports[port].guid);
    return kDone;
  }
  Status setGuids(Request& request) {
    AttributeBytes asked{};
    std::memcpy(asked.data(), request.data, asked.size());
    if (const Status status = getGuids(request); status != kDone) return status;
    std::memcpy(request.data, asked.data(), asked.size());
    return keepBlock(request);
  }

  static constexpr std::size_t kKeysInBlock = 32;

  /// The table that the modifier names, with the first entry of its block; null when there is none such.
  static std::pair<std::vector<u_int16_t>*, std::size_t> keysOf(Request& request) {
    const unsigned named = request.modifier >> 16U;
    const unsigned port = request.node->isSwitch() ? named : request.arrival;
    const std::size_t first = (request.modifier & 0xffffU) * kKeysInBlock;
    auto& tables = request.node->images.portPkeyTables;
    if (port >= tables.size() || first >= tables[port].size()) return {nullptr, 0};
    return {&tables[port], first};
  }
  Status getKeys(Request& request) {
    const auto [keys, first] = keysOf(request);
    if (keys == nullptr) return kBadValue;
    for (u_int16_t i = 0; i < kKeysInBlock; ++i)
      put(request.data, {static_cast<u_int16_t>(16 * i), 16},
          first + i < keys->size() ? (*keys)[first + i] : 0);
    return kDone;
  }
  Status setKeys(Request& request) {
    const auto [keys, first] = keysOf(request);
    if (keys == nullptr) return kBadValue;
    for (u_int16_t i = 0; i < kKeysInBlock && first + i < keys->size(); ++i)
      (*keys)[first + i] = static_cast<u_int16_t>(get(request.data, {static_cast<u_int16_t>(16 * i), 16}));
    return kDone;
  }

  /// Of a switch by the ports in and out, each in a byte of the modifier.
  static bool isLaneTable(const Request& request) {
    if (!request.node->isSwitch()) return true;
    return request.modifier >> 16U == 0 && (request.modifier & 0xffU) <= request.node->lastPort() &&
           request.modifier >> 8U <= request.node->lastPort();
  }
  Status getLanes(Request& request) {
    if (!isLaneTable(request)) return kBadValue;
    return giveBlock(request, {0x01, 0x23, 0x45, 0x67, 0x01, 0x23, 0x45, 0x67});
  }
  Status setLanes(Request& request) { return isLaneTable(request) ? keepBlock(request) : kBadValue; }

  /// Four blocks, two of low and two of high priority.
  static bool isArbitrationTable(const Request& request) {
    const unsigned block = request.modifier >> 16U;
    return block >= 1 && block <= 4 && (request.modifier & 0xffffU) <= request.node->lastPort();
  }
  Status getArbitration(Request& request) {
    return isArbitrationTable(request) ? giveBlock(request, {}) : kBadValue;
  }
  Status setArbitration(Request& request) {
    return isArbitrationTable(request) ? keepBlock(request) : kBadValue;
  }

  static constexpr std::size_t kLidsInBlock = 64;
  static bool isLinearBlock(const Request& request) {
    return request.modifier * kLidsInBlock < request.node->switchRecord().LinearFDBCap &&
           request.modifier < 0x300;
  }
  Status getLinear(Request& request) {
    if (!isLinearBlock(request)) return kBadValue;
    const auto& table = request.node->linearTable;
    const std::size_t first = request.modifier * kLidsInBlock;
    for (std::size_t i = 0; i < kLidsInBlock; ++i)
      request.data[i] = first + i < table.size() ? table[first + i] : ShortestPaths::kNoPort;
    return kDone;
  }
  Status setLinear(Request& request) {
    if (!isLinearBlock(request)) return kBadValue;
    auto& table = request.node->linearTable;
    const std::size_t first = request.modifier * kLidsInBlock;
    const std::size_t end =
        std::min<std::size_t>(first + kLidsInBlock, request.node->switchRecord().LinearFDBCap);
    if (table.size() < end) table.resize(end, ShortestPaths::kNoPort);
    std::copy(request.data, request.data + (end - first), table.begin() + static_cast<std::ptrdiff_t>(first));
    return kDone;
  }

  /// The modifier has the block in its low nine bits, and sixteen ports further on for each step of the top
  /// four.
  static bool isMulticastBlock(const Request& request) {
    constexpr u_int32_t kInBlock = 32;
    const u_int32_t block = request.modifier & 0x1ffU;
    return (request.modifier & 0x0ffffe00U) == 0 &&
           block * kInBlock < request.node->switchRecord().MCastFDBCap &&
           request.modifier >> 28U <= request.node->lastPort() / 16;
  }
  Status getMulticast(Request& request) {
    return isMulticastBlock(request) ? giveBlock(request, {}) : kBadValue;
  }
  Status setMulticast(Request& request) { return isMulticastBlock(request) ? keepBlock(request) : kBadValue; }

  Fabric& fabric_;
  LinkStates& links_;
};

}  // namespace drovik
