#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/models/exact_ports.h"

namespace siminfo {

/// A distinct device of a fabric: all nodes of one class and port count whose frames are the same, their
/// names apart. A fabric of thousands of nodes has few of them.
struct Model {
  std::string name;               ///< class, underscore, and the hash in sixteen hexadecimal digits
  std::string nodeClass;          ///< that its nodes have in a file of their own: "SW"
  std::uint8_t ports = 0;         ///< without port 0
  std::uint64_t hash = 0;         ///< of its text; see modelHash
  std::size_t nodes = 0;          ///< how many are of this model
  const IBNode* first = nullptr;  ///< of them, and the one that its source is made from; borrowed
};

/// The models of a selection, in the order of their names, and which model each node is of.
struct ModelSet {
  struct Member {
    const IBNode* node;
    std::size_t model;
  };
  std::vector<Model> models;
  std::vector<Member> nodes;  ///< in the order in which they were given
  GenerationSummary summary;  ///< of all nodes' frames
  StandIns standIns;          ///< of all nodes
};

/// A hash of a model's text that is the same on every machine and in every version.
std::uint64_t modelHash(std::string_view text);
using ModelHash = std::function<std::uint64_t(std::string_view text)>;

/// Writes the frames of models. Engine and hash are borrowed.
class ModelWriter {
 public:
  /// `exactPorts` gives every port with values of its own a branch of its own: see exact_ports.h.
  ModelWriter(Drovik& engine, bool exactPorts, const ModelHash& hash = modelHash);

  /// Finds the models of the nodes in one pass. What is held besides the result grows with the models and not
  /// with the nodes.
  ModelSet findModels(const std::vector<const IBNode*>& nodes) const;

  /// A model's banner and frames, as member functions of `<dump>::<model>`.
  void printModel(SectionStream& os, const std::string& dump, const Model& model) const;
  /// The header fields by which the model's frames store push counters.
  PushKeys pushKeys(const Model& model) const;

 private:
  class Collector;
  void printFrames(SectionStream& os, const std::string& className, const std::string& nodeName,
                   const IBNode& node, GenerationSummary& summary) const;

  Drovik& engine_;
  SimInfoDumpCPP generator_;
  bool exactPorts_;
  ModelHash hash_;
};

}  // namespace siminfo
