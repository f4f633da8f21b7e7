#!/usr/bin/env python3
"""siminfo verify and serve under faults of the system and under signals: exit status 0 with the right result, or 3 with
words that say what was short; no process, folder or socket is left, and what is left of a cache can be used.

    programs_test.py SIMINFO SOURCE LIBRARY [KILLS [SEED]]
"""

import contextlib
import os
import pathlib
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import unittest.mock

from faults import Faults, KINDS, WORDS

PROGRAM, SOURCE = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
FAULTS = Faults(pathlib.Path(sys.argv[3]).resolve(), PROGRAM)
KILLS = int(sys.argv[4]) if len(sys.argv) > 4 else 10
SEED = int(sys.argv[5]) if len(sys.argv) > 5 else random.randrange(10**6)
FABRIC = SOURCE / "examples" / "small_fabric.json"
SKIPPED = []

sys.path.insert(0, str(SOURCE / "tests" / "serve"))
from serving import new_name, open_sockets


def names_in(folder):
    return frozenset(str(path.relative_to(folder)) for path in folder.rglob("*"))


class Programs(unittest.TestCase):
    def setUp(self):
        self.dir = pathlib.Path(tempfile.mkdtemp(prefix="siminfo-faults-"))
        self.addCleanup(shutil.rmtree, self.dir)
        self.temporary, self.cache = self.dir / "tmp", self.dir / "cache"
        self.temporary.mkdir()
        self.socket = new_name()
        environment = {"TMPDIR": str(self.temporary), "XDG_CACHE_HOME": str(self.cache)}
        if shutil.which("ccache"):  # what is built anew was built before
            environment.update(CXX="ccache c++", CCACHE_DIR=str(self.dir / "ccache"))
        changed = unittest.mock.patch.dict(os.environ, environment)
        changed.start()
        self.addCleanup(changed.stop)

    def run_undisturbed(self, arguments):
        return subprocess.run([PROGRAM, *map(str, arguments)], cwd=self.dir, capture_output=True, text=True, check=False,
                              timeout=300)

    def verification(self):
        """With a compiler that has compiled all of it before."""
        verify = ["verify", FABRIC, "--guid", "0x2c90000000071", "--jobs", "2"]
        done = self.run_undisturbed([*verify, "--keep", self.dir / "kept"])
        self.assertEqual(done.returncode, 0, done.stderr)
        compiler = self.dir / "compiler"
        compiler.write_text("#!/bin/sh\nwhile [ $# -gt 0 ]; do\n"
                            f"  if [ \"$1\" = -o ]; then exec cp '{self.dir}/kept/'\"$2\" \"$2\"; fi\n  shift\ndone\n")
        compiler.chmod(0o755)
        return [*verify, "--compiler", compiler]

    def service(self):
        """With a server that has been built before."""
        serve = ["serve", FABRIC, "--socket", self.socket, "--", "smpquery", "-D", "nodedesc", "0"]
        done = self.run_undisturbed(serve)
        if "install the package" in done.stderr or "libumad2sim.so" in done.stderr:
            print("SKIPPED:", done.stderr, file=sys.stderr)
            SKIPPED.append(serve)
            self.skipTest(done.stderr)
        self.assertIn("Node Description", done.stdout, done.stderr)
        self.seen = {names_in(self.cache)}
        self.built = self.dir / "built"
        shutil.copytree(self.cache, self.built)
        for path in self.built.rglob("*.tsv"):  # each run has these to write, and nothing to build
            path.unlink()
        return serve

    def left(self):
        found = [str(path) for path in self.temporary.iterdir()] + open_sockets(self.socket)
        for path in pathlib.Path("/proc").glob("[0-9]*/environ"):
            with contextlib.suppress(OSError):
                if bytes(self.temporary) in path.read_bytes():
                    found.append((path.parent / "cmdline").read_text())
        return found

    def judge_left(self, arguments, what, was_killed=False):
        end = time.monotonic() + 10
        while left := self.left():
            self.assertLess(time.monotonic(), end, f"{left} are left behind {what}")
            time.sleep(0.01)
            for path in self.temporary.iterdir() if was_killed else ():
                with contextlib.suppress(OSError):
                    path.rmdir()  # killed before it had what removes its folder, which has nothing in it then
        if self.cache.exists() and names_in(self.cache) not in self.seen:
            self.seen.add(names_in(self.cache))
            done = self.run_undisturbed(arguments)
            self.assertEqual((done.returncode, done.stdout), (0, self.told), f"{done.stderr} behind {what}")

    def restore(self):
        """What a fault left of the cache is no matter of the next one."""
        if self.cache.exists() and names_in(self.cache) != names_in(self.built):
            shutil.rmtree(self.cache)
            shutil.copytree(self.built, self.cache)

    def tries(self, arguments, growth):
        self.told = self.run_undisturbed(arguments).stdout
        self.assertTrue(self.told)

        def judge(done, what):
            self.assertIn(done.returncode, (0, 3), what + done.stdout)
            if done.returncode == 0:
                self.assertEqual(done.stdout, self.told, what)
            else:
                self.assertRegex(done.stderr, "(?m)^siminfo: error: ", what)
                self.assertRegex(done.stderr, WORDS, what)
            self.judge_left(arguments, what)

        tried = {kind: FAULTS.walk(arguments, kind, self.restore, judge, growth=growth.get(kind, growth[""]), cwd=self.dir)
                 for kind in KINDS}
        print(arguments[0], tried, file=sys.stderr)
        return {kind for kind, count in tried.items() if count == 0}

    def ends(self, arguments):
        start = time.monotonic()
        self.told = self.run_undisturbed(arguments).stdout
        whole = time.monotonic() - start
        draw = random.Random(SEED)
        for _ in range(KILLS // 2):
            self.restore()
            ending = draw.choice((signal.SIGKILL, signal.SIGINT))
            status = FAULTS.kill(arguments, ending, draw.uniform(0, 1.2 * whole), cwd=self.dir)
            what = f"{arguments[0]}: {ending!r}, status {status}, seed {SEED}"
            # The command that serve was to run ends by SIGTERM, and its status is that of serve.
            expected = (-ending, 0) if ending == signal.SIGKILL else (-ending, 0, 3, 128 + signal.SIGTERM)
            self.assertIn(status, expected, what)
            self.judge_left(arguments, what, was_killed=ending == signal.SIGKILL)

    def test_verify(self):
        verify = self.verification()
        self.assertEqual(self.tries(verify, {"": 1.2, "memory": 1.4}), {"mmap"})
        self.ends(verify)

    def test_serve(self):
        serve = self.service()
        self.assertEqual(self.tries(serve, {"": 1.3, "memory": 1.6}), {"fsync", "mmap"})
        self.ends(serve)


if __name__ == "__main__":
    print(f"{KILLS} kills, seed {SEED}", file=sys.stderr)
    RESULT = unittest.main(argv=sys.argv[:1], exit=False).result
    sys.exit(1 if not RESULT.wasSuccessful() else 77 if SKIPPED else 0)
