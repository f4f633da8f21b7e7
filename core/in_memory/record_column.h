#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace siminfo {

/// All records of one type, one behind the other, found by a key that numbers nodes or ports from 0. Records
/// stay where they are for as long as the column lives.
template <class Record>
class RecordColumn {
 public:
  /// Null when no record was added under the key.
  const Record* find(std::uint32_t key) const {
    if (key >= places_.size() || places_[key] == kNone) return nullptr;
    return &records_[places_[key]];
  }

  /// Adds the record under the key, or replaces the one that is there.
  void set(std::uint32_t key, const Record& record) {
    if (key >= places_.size()) places_.resize(key + std::size_t{1}, kNone);
    if (places_[key] == kNone) {
      places_[key] = static_cast<std::uint32_t>(records_.size());
      records_.push_back(record);
    } else {
      records_[places_[key]] = record;
    }
  }

 private:
  static constexpr std::uint32_t kNone = ~std::uint32_t{0};

  std::vector<std::uint32_t> places_;  // by key
  std::deque<Record> records_;
};

}  // namespace siminfo
