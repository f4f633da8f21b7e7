#pragma once

#include <string>
#include <string_view>

#include "siminfo/models/model.h"
#include "siminfo/snapshot/attribute_layouts.h"
#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// The text of the file in which the server is told who the nodes of the set are, what they are linked to,
/// and which requests they refuse. Its lines are described in simulator/include/server/fabric_file.h.
std::string servedFileText(const Snapshot& snapshot, const ModelSet& set, const AttributeLayouts& told);

/// How a record that was not collected is answered, by the reason that the snapshot has for it: "silent", or
/// the status to refuse it with.
std::string answerFor(std::string_view reason);

}  // namespace siminfo
