#pragma once

namespace siminfo {

/// How long to wait for an answer, and how often to ask again.
struct SmpTiming {
  unsigned timeoutMs = 1000;  ///< for the answer to one packet
  unsigned retries = 3;
  /// Beyond the timeout. The kernel reports a time-out itself; only where no kernel is behind the port does
  /// this bound the wait.
  unsigned graceMs = 100;
};

/// How far and how fast to walk. The defaults are those of the InfiniBand diagnostic tools.
struct WalkLimits {
  SmpTiming timing;
  unsigned outstanding = 2;  ///< packets that are under way at a time
  unsigned maxHops = 0;      ///< 0: no limit
};

}  // namespace siminfo
