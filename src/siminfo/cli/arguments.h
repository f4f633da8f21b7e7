#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace siminfo {

/// A GUID as InfiniBand tools print it: hexadecimal, "0x" optional, also as S-0002c9..., H-... and R-..., and
/// in groups between colons. Empty when the text is none.
std::optional<std::uint64_t> parseGuid(std::string_view text);

/// "0x" and sixteen digits.
std::string formatGuid(std::uint64_t guid);

/// The GUIDs of the --guid options and of the file of --guid-file, whose name may be empty. Throws a
/// CommandError.
std::set<std::uint64_t> readGuids(const std::vector<std::string>& options, const std::string& fileName);

/// Whether a C++ class can be named so.
bool isCppIdentifier(std::string_view text);
/// Throws a CommandError unless the value of --name can name the class of a dump; the reference simulator has
/// names that it cannot take.
void checkName(const std::string& name, bool forReferenceSimulator);

}  // namespace siminfo
