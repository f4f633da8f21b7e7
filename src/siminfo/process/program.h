#pragma once

#include <chrono>
#include <functional>

#include "siminfo/process/launch.h"

namespace siminfo {

/// How a program ended.
struct ProgramEnd {
  enum How { kExited, kSignalled, kTimedOut, kStopped };
  How how = kExited;
  int status = 0;  ///< what it exited with, or the signal

  bool isDone() const { return how == kExited && status == 0; }
};

/// Runs a program to its end, and for no longer than `time` or until `isStopped` says true; 0 is without a
/// limit. Nothing that it started outlives it, nor does any of it outlive siminfo, however that ends: a
/// process of its own watches over them. Throws std::system_error when it cannot be started. `isStopped` is
/// called often. To be called by a thread that lives as long.
ProgramEnd runProgram(const ProgramSetup& setup, std::chrono::seconds time,
                      const std::function<bool()>& isStopped);

}  // namespace siminfo
