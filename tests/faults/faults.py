"""Runs a program again and again, each time with another call of the system failing: see faults.cpp."""

import errno
import os
import pathlib
import re
import select
import signal
import subprocess
import sys
import time

# Each kind of call, and how it fails in life.
KINDS = {"open": errno.EMFILE, "write": errno.ENOSPC, "fsync": errno.EIO, "link": errno.ENOSPC, "rename": errno.EIO,
         "close": errno.EIO, "folder": errno.ENOSPC, "mmap": errno.ENOMEM, "thread": errno.EAGAIN, "fork": errno.EAGAIN,
         "memory": errno.ENOMEM}
# What says which of these it was.
WORDS = re.compile("not enough memory|Cannot allocate memory|" +
                   "|".join(re.escape(os.strerror(error)) for error in KINDS.values()))


class Faults:
    def __init__(self, library, program):
        """`library` is the shared object of faults.cpp, `program` the path of what is tried."""
        self.shim, self.program = library, str(program)
        if b"__asan_init" in pathlib.Path(program).read_bytes():
            print("SKIPPED: sanitizers have an allocator of their own, which the library cannot replace")
            sys.exit(77)

    def run(self, arguments, kind, at, signal_number=None, is_named=False, **options):
        """Returns the finished run, and whether the call was made at all."""
        told, tell = os.pipe()
        meant = "siminfo-collect" if arguments[0] == "collect" else os.path.basename(self.program)
        # By name: a path with blanks in it would be several.
        environment = {**os.environ, "LD_PRELOAD": os.path.basename(self.shim),
                       "LD_LIBRARY_PATH": os.path.dirname(self.shim),
                       "FAULT_PROGRAM": meant, "FAULT_CALL": kind, "FAULT_AT": str(at),
                       "FAULT_ERRNO": str(KINDS[kind]), "FAULT_TOLD": str(tell)}
        if signal_number is not None:
            environment["FAULT_SIGNAL"] = str(int(signal_number))
        if is_named:
            environment["FAULT_NAMED"] = "1"
        try:
            done = subprocess.run([self.program, *map(str, arguments)], env=environment, pass_fds=[tell], text=True,
                                  capture_output=True, timeout=120, check=False, **options)
            return done, bool(select.select([told], [], [], 0)[0])
        finally:
            os.close(told)
            os.close(tell)

    def walk(self, arguments, kind, before, judge, growth=1.0, **options):
        """Lets the first, the second ... call of that kind fail until none is left. `before()` comes before each
        run, `judge(done, what)` behind it. With `growth` above 1 the steps grow. Returns how many failed."""
        at, tried = 1, 0
        while True:
            before()
            done, was_made = self.run(arguments, kind, at, **options)
            if not was_made:
                return tried
            judge(done, f"{kind} {at}: status {done.returncode}: {done.stderr}")
            tried += 1
            at = max(at + 1, int(at * growth))

    def kill(self, arguments, signal_number, delay, **options):
        """Runs undisturbed, with the signal after so many seconds. Returns the status."""
        with subprocess.Popen([self.program, *map(str, arguments)], stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, **options) as process:
            time.sleep(delay)
            process.send_signal(signal_number)
            return process.wait(timeout=120)


ENDING = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGUSR1)
