#pragma once

#include <algorithm>
#include <span>
#include <string>

#include "siminfo/core/records/field.h"
#include "siminfo/text/number_text.h"

namespace siminfo {

/// A field's element as a person reads it: a number in hexadecimal, text in quotes, bytes as digits. A field
/// of text or bytes is one value.
std::string fieldText(const Field& field, const void* record, std::size_t index);

/// The place's word for the value, or the value.
template <class Words>
std::string wordFor(const Words& words, int value) {
  const auto word = std::ranges::find(words, value, &Word::value);
  return word != words.end() ? std::string(word->word) : std::to_string(value);
}

}  // namespace siminfo
