#pragma once

#include <span>

#include "siminfo/core/records/field.h"
#include "siminfo/snapshot/json_line.h"

namespace siminfo {

/// Adds the record as an object, with every field in the order of the table.
void writeRecord(JsonLine& line, std::span<const Field> fields, const void* record);

}  // namespace siminfo
