#pragma once

// How the probe says that the machine and not the generated source is at fault: by its exit status, since
// what it prints may have no room left.

#include <cerrno>

/// The exit status for an errno value.
inline int machineFaultStatus(int error) { return 128 | error; }

/// The errno value of an exit status; 0 when it is none.
inline int machineFaultOf(int status) {
  for (const int error : {ENOSPC, EDQUOT, EIO, ENOMEM, EBADF}) {
    if (status == machineFaultStatus(error)) return error;
  }
  return 0;
}
