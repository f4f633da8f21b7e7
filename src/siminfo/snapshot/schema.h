#pragma once

#include <string>

namespace siminfo {

/// The JSON schema (draft 2020-12) of one document of a snapshot, a header or a node, made from the tables by
/// which snapshots are read and written. What it refuses the reader refuses as well; the reader asks for
/// more, which no schema can say.
std::string snapshotSchema();

}  // namespace siminfo
