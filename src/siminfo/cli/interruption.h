#pragma once

namespace siminfo {

/// While it lives, the first SIGINT, SIGTERM or SIGHUP asks the work for an orderly end, and the second one
/// is the end of the program. There is one at a time.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  /// May be called by any thread.
  bool isAsked() const;
};

}  // namespace siminfo
