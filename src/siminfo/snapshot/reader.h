#pragma once

#include <functional>
#include <stdexcept>
#include <string>

#include "siminfo/snapshot/document_stream.h"
#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// A snapshot that is refused: "file:line: path: what is wrong".
class SnapshotError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Called now and then while a snapshot is read, with the nodes and bytes read so far.
using ReadProgress = std::function<void(std::size_t nodes, std::size_t bytes)>;

/// Reads a whole snapshot and judges all of it. `label` is what messages call the input. With more than one
/// job, documents that are one a line are parsed on as many threads; the result is the same. Throws
/// SnapshotError, or what `readBytes` throws.
Snapshot readSnapshot(DocumentStream::ReadBytes readBytes, const std::string& label, unsigned jobs = 1,
                      const ReadProgress& progress = {});

/// Reads the file, or standard input when it is "-". Throws std::system_error as well.
Snapshot readSnapshotFile(const std::string& fileName, unsigned jobs = 1, const ReadProgress& progress = {});

}  // namespace siminfo
