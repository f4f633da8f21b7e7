#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace siminfo {

/// Where each key's record lies, whatever its type. Keys without a record cost next to nothing.
class RecordPages {
 public:
  /// Null when the key has no record.
  const void* find(std::uint32_t key) const {
    const std::size_t page = key / kPage;
    return page < pages_.size() && pages_[page] != nullptr ? (*pages_[page])[key % kPage] : nullptr;
  }
  /// The key's own place, which holds null until it is given a record.
  void*& at(std::uint32_t key) {
    const std::size_t page = key / kPage;
    if (page >= pages_.size()) pages_.resize(page + 1);
    if (pages_[page] == nullptr) pages_[page] = std::make_unique<Page>();
    return (*pages_[page])[key % kPage];
  }

 private:
  static constexpr std::size_t kPage = 64;
  using Page = std::array<void*, kPage>;

  std::vector<std::unique_ptr<Page>> pages_;
};

/// All records of one type, one behind the other, found by a key that numbers nodes or ports from 0. Records
/// stay where they are for as long as the column lives.
template <class Record>
class RecordColumn {
 public:
  /// Null when no record was added under the key.
  const Record* find(std::uint32_t key) const { return static_cast<const Record*>(pages_.find(key)); }

  /// Adds the record under the key, or replaces the one that is there.
  void set(std::uint32_t key, const Record& record) {
    void*& place = pages_.at(key);
    if (place == nullptr) place = next();
    *static_cast<Record*>(place) = record;
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

  RecordPages pages_;
  std::vector<std::unique_ptr<Record[]>> chunks_;
  std::size_t used_ = kChunk;  // of the last chunk
};

}  // namespace siminfo
