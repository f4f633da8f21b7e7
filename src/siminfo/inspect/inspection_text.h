#pragma once

#include <string>

#include "siminfo/inspect/inspection.h"
#include "siminfo/inspect/screen.h"

namespace siminfo {

// What an inspection shows to a person. Texts of devices are made safe for a terminal.

/// The snapshot, rows of nodes that are alike, and what attributes lack.
std::string overviewText(const Snapshot& snapshot, const Inspection& inspection, const Screen& screen);
/// A line for each node: GUID, class, ports, ports up, model, letters, name.
std::string nodesText(const Inspection& inspection, const Screen& screen);
/// Everything about the node; `member` is its place among the inspection's nodes.
std::string nodeText(Snapshot& snapshot, const Inspection& inspection, std::size_t member,
                     const Screen& screen);

// The same for programs: a JSON document each, of the nodes one a line.

std::string overviewJson(const Snapshot& snapshot, const Inspection& inspection);
std::string nodesJson(const Inspection& inspection);
std::string nodeJson(Snapshot& snapshot, const Inspection& inspection, std::size_t member);

/// "1, 3-5": port numbers that ascend.
std::string rangesOf(const std::vector<unsigned>& numbers);

}  // namespace siminfo
