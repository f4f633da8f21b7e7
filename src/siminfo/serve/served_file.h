#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "siminfo/models/model.h"
#include "siminfo/snapshot/snapshot.h"

namespace siminfo {

/// Where attributes hold fields whose place is not the reference simulator's: what the user knows from the
/// manuals of the devices.
struct ToldPlaces {
  struct Place {
    std::string_view record;
    std::string_view field;
    std::size_t firstBit;  ///< bit 0 is the top bit of the attribute's first byte
  };
  std::optional<std::uint16_t> routerInfo;  ///< the number by which routers are asked for RouterInfo
  std::vector<Place> places;
};

/// The text of the file in which the server is told who the nodes of the set are, what they are linked to,
/// and which requests they refuse. Its lines are described in simulator/include/server/fabric_file.h.
std::string servedFileText(const Snapshot& snapshot, const ModelSet& set, const ToldPlaces& told);

/// How a record that was not collected is answered, by the reason that the snapshot has for it: "silent", or
/// the status to refuse it with.
std::string answerFor(std::string_view reason);

}  // namespace siminfo
