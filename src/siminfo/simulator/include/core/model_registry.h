#pragma once

// The models of a dump at run time: finds one by its name, makes a node for it and restores the node.

#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "node.h"

namespace drovik {

/// One of a model's functions: restores one attribute of a node.
using SetFunction = void (*)(Node* node);

/// A distinct device of a dump.
struct Model {
  const char* nodeClass;
  unsigned ports;                                       ///< the highest port number
  std::vector<SetFunction> functions;                   ///< in the order in which they are called
  std::vector<std::pair<unsigned, unsigned>> pushKeys;  ///< header fields of its push counters
};
using Models = std::map<std::string, Model>;

/// Calls one set function of a model's class, for tables of them.
template <class Device, void (Device::*Set)()>
void callSet(Node* node) {
  (Device(node).*Set)();
}

/// Makes the push counters that the model's functions store into: they leave out what the node does not have.
inline void preparePushCounters(const Model& model, Node& node) {
  for (const auto& key : model.pushKeys) node.pushCounters[key] = {};
}

/// Gives a node, made with the model's number of ports, everything that the model's device answered with.
inline void restore(const Model& model, Node& node) {
  preparePushCounters(model, node);
  for (const SetFunction set : model.functions) set(&node);
}

/// Whether the function does anything to a node all of whose stored bytes are `byte`.
inline bool changes(const Model& model, SetFunction set, unsigned char byte) {
  Node node(static_cast<phys_port_t>(model.ports));
  preparePushCounters(model, node);
  node.visitImages(
      [byte](const std::string&, u_int8_t* bytes, std::size_t size) { std::memset(bytes, byte, size); });
  set(&node);
  bool isChanged = !node.portPkeyTables.front().empty();
  node.visitImages([&](const std::string&, const u_int8_t* bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) isChanged = isChanged || bytes[i] != byte;
  });
  return isChanged;
}

/// How many of the model's functions restore something: an attribute that was not discovered is left alone.
inline unsigned restoredAttributes(const Model& model) {
  unsigned count = 0;
  for (const SetFunction set : model.functions)
    count += changes(model, set, 0x00) || changes(model, set, 0xff) ? 1U : 0U;
  return count;
}

}  // namespace drovik
