#pragma once

#include <vector>

#include "siminfo/inspect/frame_outcomes.h"
#include "siminfo/report/interned.h"
#include "siminfo/snapshot/json_line.h"

namespace siminfo {

/// Bodies of blocks as a page holds them: each line once, each body once as the numbers of its lines, each
/// model once as the numbers of its bodies.
class BodyTable {
 public:
  /// JSON for the table may take so many bytes.
  explicit BodyTable(std::size_t bytes) : bytesLeft_(bytes) {}

  /// Takes the blocks of a model's outcomes if they fit. Whether they did.
  bool add(std::size_t model, const NodeOutcomes& outcomes);

  /// Adds "lines", "bodies", and "model_bodies" with an entry for each of so many models, empty where there
  /// is none.
  void writeTo(JsonLine& json, std::size_t models) const;

 private:
  std::size_t cost(const std::string& body) const;

  std::size_t bytesLeft_;
  Interned lines_;
  Interned bodies_;
  std::vector<std::vector<std::size_t>> linesOf_;                       // by body
  std::unordered_map<std::size_t, std::vector<std::size_t>> bodiesOf_;  // by model
};

}  // namespace siminfo
