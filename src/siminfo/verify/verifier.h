#pragma once

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "siminfo/generators/drovik_sim_info_dump.h"
#include "siminfo/snapshot/snapshot.h"
#include "siminfo/verify/own_text.h"
#include "siminfo/verify/results.h"

namespace siminfo {

/// What to verify, and with what.
struct VerifyRequest {
  std::string name;             ///< of the dump's class, a C++ identifier
  NodeFileForm form;            ///< of the nodes' file
  bool exactPorts = false;      ///< models whose ports have values of their own; then there is no nodes' file
  unsigned jobs = 1;            ///< programs compiled at a time
  std::string compiler;         ///< in the manner of g++ and clang++
  unsigned timeLimit = 600;     ///< seconds, for a run of a compiler or of a compiled program
  unsigned memoryLimit = 4096;  ///< MiB, for each process of these
  std::filesystem::path keep;   ///< the folder to work in and leave behind; empty: none is left
  std::filesystem::path use;  ///< the folder of a nodes' file that is there already; empty: all is generated
};

struct VerifyWatch {
  std::function<bool()> isInterrupted;  ///< called by any thread; once it says true, the work ends
  std::function<void(std::size_t done, std::size_t of)> progress;  ///< programs
};

/// Nothing could be verified: what is wrong, and what would be right.
class VerifyError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Verifies the nodes, which are in the order of their names. Generates their models and the file of the
/// nodes, or takes a file that is there, and judges everything in it: its text by the rules, and what its
/// functions do to simulated nodes. After an interrupt the result is worth nothing. Throws VerifyError and
/// std::system_error. To be called while siminfo has one thread.
Verification verify(Snapshot& snapshot, const std::vector<const IBNode*>& nodes, const VerifyRequest& request,
                    const VerifyWatch& watch);

}  // namespace siminfo
