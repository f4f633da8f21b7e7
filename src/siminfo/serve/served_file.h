#pragma once

#include <string>
#include <string_view>

#include "siminfo/core/section_stream.h"
#include "siminfo/models/model.h"
#include "siminfo/snapshot/attribute_layouts.h"
#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// Prints the file in which the server is told who the nodes of the set are, what they are linked to, and
/// which requests they refuse. Its lines are described in simulator/include/server/fabric_file.h.
void printServedFile(SectionStream& out, const Snapshot& snapshot, const ModelSet& set,
                     const AttributeLayouts& told);

/// How a record that was not collected is answered, by the reason that the snapshot has for it: "silent", or
/// the status to refuse it with.
std::string answerFor(std::string_view reason);

}  // namespace siminfo
