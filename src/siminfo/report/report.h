#pragma once

#include <cstddef>
#include <string>

#include "siminfo/inspect/inspection.h"

namespace siminfo {

/// Bytes that a page does not exceed on account of the bodies of blocks.
inline constexpr std::size_t kPageBytes = 10'000'000;

/// A page that shows an inspection, and what is to be said of it.
struct Report {
  std::string page;            ///< HTML that needs nothing else
  std::size_t bodilessModels;  ///< models whose bodies did not fit the page
};

/// Makes the page. Bodies stand in it once; those of the models with the most nodes come first.
Report makeReport(const Snapshot& snapshot, const Inspection& inspection, std::size_t bytes = kPageBytes);

}  // namespace siminfo
