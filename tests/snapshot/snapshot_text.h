#pragma once

#include <algorithm>
#include <sstream>
#include <string>

#include "siminfo/snapshot/reader.h"
#include "siminfo/snapshot/writer.h"

namespace siminfo {

inline const std::string kHeader = "{\"fabric_snapshot\": 1}\n";

/// Hands out a text in pieces of at most `piece` bytes.
inline DocumentStream::ReadBytes pieces(const std::string& text, std::size_t piece = ~std::size_t{0}) {
  return [text, piece, at = std::size_t{0}](char* to, std::size_t size) mutable {
    const std::size_t count = std::min({size, piece, text.size() - at});
    std::copy_n(text.begin() + static_cast<std::ptrdiff_t>(at), count, to);
    at += count;
    return count;
  };
}

inline Snapshot read(const std::string& text, unsigned jobs = 1) {
  return readSnapshot(pieces(text), "f", jobs);
}

/// What is said to the text; "none" when it is taken.
inline std::string refusal(const std::string& text, unsigned jobs = 1) {
  try {
    read(text, jobs);
    return "none";
  } catch (const SnapshotError& error) {
    return error.what();
  }
}

inline std::string written(const Snapshot& snapshot) {
  std::ostringstream out;
  writeSnapshot(snapshot, out);
  return out.str();
}

}  // namespace siminfo
