#pragma once

#include <string_view>

namespace siminfo {

// The readers of whatever comes from outside, one target each.

void fuzzSnapshot(std::string_view input);
void fuzzDiscoveryCache(std::string_view input);
void fuzzNodeNameMap(std::string_view input);
void fuzzAttributeLayouts(std::string_view input);
void fuzzGuidFile(std::string_view input);
/// A generated file after edits that the input says, as verify reads it.
void fuzzGeneratedFile(std::string_view input);
/// What a compiled unit prints, which may be anything when the file is not our own.
void fuzzProbeOutput(std::string_view input);
void fuzzCompilerMessages(std::string_view input);
/// Messages to the fabric server.
void fuzzDatagrams(std::string_view input);

}  // namespace siminfo
