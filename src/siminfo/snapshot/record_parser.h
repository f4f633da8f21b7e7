#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "siminfo/core/records/field.h"
#include "siminfo/snapshot/json.h"
#include "siminfo/snapshot/written_record.h"

namespace siminfo {

/// Reads one kind of record by its field table.
class RecordParser {
 public:
  RecordParser(const std::string& name, std::span<const Field> fields);

  /// Fills the record at `to` from the object, which must give every field once.
  void parse(const Place& place, json::value value, void* to) const;

 private:
  void parseField(const Place& place, json::value value, std::size_t index, void* to) const;

  std::span<const Field> fields_;
  KeyTable keys_;
  WrittenRecord written_;
  std::vector<RecordParser> inner_;  // by field; empty parsers for fields that are no records
};

}  // namespace siminfo
