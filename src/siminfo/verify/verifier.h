#pragma once

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>

#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/snapshot/snapshot.h"
#include "siminfo/verify/results.h"
#include "siminfo/verify/selection.h"

namespace siminfo {

/// What to verify, and with what.
struct VerifyRequest {
  NodeSelection selection;
  std::string name;                   ///< of the dump's class, a C++ identifier
  bool isBuildable = false;           ///< generate the buildable form
  Missing missing = Missing::kError;  ///< generate this for data that a node must have
  unsigned jobs = 1;                  ///< nodes compiled at a time
  std::string compiler;               ///< in the manner of g++ and clang++
  std::filesystem::path keep;         ///< the folder to work in and leave behind; empty: none is left
  std::filesystem::path use;          ///< the folder of a file that is there already; empty: one is generated
};

struct VerifyWatch {
  std::function<bool()> isInterrupted;  ///< called by any thread; once it says true, the work ends
  std::function<void(std::size_t done, std::size_t of)> progress;  ///< nodes
};

/// Nothing could be verified: what is wrong, and what would be right.
class VerifyError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Generates the selected nodes, or takes a file that is there, and judges everything in it: its text by the
/// rules, and what its functions do to simulated nodes. After an interrupt the result is worth nothing.
/// Throws VerifyError and std::system_error. To be called while siminfo has one thread.
Verification verify(Snapshot& snapshot, const VerifyRequest& request, const VerifyWatch& watch);

}  // namespace siminfo
