#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace siminfo {

/// All records of one type, one behind the other, found by a key that numbers nodes or ports from 0. Records
/// stay where they are for as long as the column lives. Keys without a record cost next to nothing.
template <class Record>
class RecordColumn {
 public:
  /// Null when no record was added under the key.
  const Record* find(std::uint32_t key) const {
    const std::size_t page = key / kPage;
    return page < pages_.size() && pages_[page] != nullptr ? (*pages_[page])[key % kPage] : nullptr;
  }

  /// Adds the record under the key, or replaces the one that is there.
  void set(std::uint32_t key, const Record& record) {
    const std::size_t page = key / kPage;
    if (page >= pages_.size()) pages_.resize(page + 1);
    if (pages_[page] == nullptr) pages_[page] = std::make_unique<Page>();
    Record*& place = (*pages_[page])[key % kPage];
    if (place == nullptr) place = next();
    *place = record;
  }

 private:
  static constexpr std::size_t kPage = 64;
  static constexpr std::size_t kChunk = 256;
  using Page = std::array<Record*, kPage>;

  Record* next() {
    if (used_ == kChunk) {
      chunks_.push_back(std::make_unique_for_overwrite<Record[]>(kChunk));
      used_ = 0;
    }
    return &chunks_.back()[used_++];
  }

  std::vector<std::unique_ptr<Page>> pages_;
  std::vector<std::unique_ptr<Record[]>> chunks_;
  std::size_t used_ = kChunk;  // of the last chunk
};

}  // namespace siminfo
