#pragma once

#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "siminfo/snapshot/document_stream.h"

namespace siminfo {

/// What a file holds is not what its first bytes promise. The words go behind the file's name.
class EncodingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The UTF-8 text that the bytes are: as they stand, or compressed by gzip or zstd, in one piece or several.
/// A byte order mark is no part of it. Throws an EncodingError, or what `readBytes` throws.
DocumentStream::ReadBytes textOf(DocumentStream::ReadBytes readBytes);

/// The stream into which a file of that name is to be written: one that compresses, for names that end in .gz
/// and .zst, or none. It is complete once it is gone; what it writes to is borrowed and marked bad when
/// something is wrong.
std::unique_ptr<std::ostream> compressorFor(std::string_view fileName, std::ostream& to);

}  // namespace siminfo
