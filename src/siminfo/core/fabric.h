#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace siminfo {

/// A discovered port. Plain data, owned by whoever discovered it.
class IBPort {
 public:
  std::uint8_t num = 0;
  int portState = 0;              ///< InfiniBand PortState: 0 unknown, 1 Down, 4 Active; has a sign
  std::uint32_t recordIndex = 0;  ///< the port's key into KvormExtendedInfo

  bool inSubFabric = true;  ///< the port takes part in this run
  // Kinds of ports that are not like the ordinary ones. The words are the devices' own, and what such a port
  // is for is not known here: in generated source a port of any of the three kinds has its own values, where
  // all ordinary ports share those of one of them.
  bool special = false;
  bool fnm = false;
  bool fnm1 = false;

  bool getInSubFabric() const { return inSubFabric; }
  bool isSpecialPort() const { return special; }
  bool isFNMPort() const { return fnm; }
  bool isFNM1Port() const { return fnm1; }
};

/// InfiniBand NodeType values, as IBNode::type holds them. Any other value is an unknown kind of node.
enum NodeType : int { kChannelAdapter = 1, kSwitch = 2, kRouter = 3 };

/// A discovered node. Plain data, owned by whoever discovered it.
class IBNode {
 public:
  std::uint64_t guid = 0;         ///< NodeInfo's NodeGUID
  std::string name;               ///< unique in the fabric; generated source names the node by it
  int type = 0;                   ///< a NodeType, or any other value that the device gave
  std::uint8_t numPorts = 0;      ///< without port 0
  std::vector<IBPort*> ports;     ///< by port number, 0 included; an entry may be null. Borrowed.
  bool inSubFabric = true;        ///< the node takes part in this run
  std::uint32_t recordIndex = 0;  ///< the node's key into KvormExtendedInfo

  std::string alternativeName;         ///< for the reader of generated source; may be empty
  std::optional<int> specialNodeType;  ///< of a special (non-standard) node alone; 1 is called AN
  bool orbelSwitch = false;

  bool isSpecialNode() const { return specialNodeType.has_value(); }
  int getSpecialNodeType() const { return specialNodeType.value_or(0); }
  const std::string& getAlternativeName() const { return alternativeName; }
  /// The switch belongs to the family whose ordinary ports keep the link width that the simulator gave them.
  bool isOrbelSwitch() const { return orbelSwitch; }
};

/// The discovered fabric.
class IBFabric {
 public:
  IBFabric() = default;
  IBFabric(IBFabric&&) = default;  // nodes are borrowed by pointer: a copy would share them
  IBFabric& operator=(IBFabric&&) = default;
  virtual ~IBFabric() = default;

  /// Every node by its name, in the order of the names' bytes. An entry may be null. Borrowed.
  std::map<std::string, IBNode*> nodeByName;

  /// Writes the tool's standard file header, every line of it beginning with `commentPrefix`.
  virtual void WriteFileHeader(std::ostream& out, const char* commentPrefix) const = 0;
};

}  // namespace siminfo
