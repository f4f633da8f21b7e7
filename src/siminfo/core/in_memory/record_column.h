#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace siminfo {

/// All records of one type, one behind the other, found by a key that numbers nodes or ports from 0. Records
/// stay where they are for as long as the column lives.
template <class Record>
class RecordColumn {
 public:
  /// Null when no record was added under the key.
  const Record* find(std::uint32_t key) const { return key < byKey_.size() ? byKey_[key] : nullptr; }

  /// Adds the record under the key, or replaces the one that is there.
  void set(std::uint32_t key, const Record& record) {
    if (key >= byKey_.size()) byKey_.resize(key + std::size_t{1});
    if (byKey_[key] == nullptr) byKey_[key] = next();
    *byKey_[key] = record;
  }

 private:
  static constexpr std::size_t kChunk = 256;

  Record* next() {
    if (used_ == kChunk) {
      chunks_.push_back(std::make_unique_for_overwrite<Record[]>(kChunk));
      used_ = 0;
    }
    return &chunks_.back()[used_++];
  }

  std::vector<Record*> byKey_;
  std::vector<std::unique_ptr<Record[]>> chunks_;
  std::size_t used_ = kChunk;  // of the last chunk
};

}  // namespace siminfo
