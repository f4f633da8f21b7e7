#!/usr/bin/env python3
"""Outputs under faults of the system and under signals: each file is the old one or the new one, whole; nothing else
is left behind; status and words say what happened.

    outputs_test.py SIMINFO SOURCE LIBRARY [KILLS [SEED]]
"""

import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

from faults import ENDING, Faults, KINDS, WORDS

PROGRAM, SOURCE = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
FAULTS = Faults(pathlib.Path(sys.argv[3]).resolve(), PROGRAM)
KILLS = int(sys.argv[4]) if len(sys.argv) > 4 else 40
SEED = int(sys.argv[5]) if len(sys.argv) > 5 else random.randrange(10**6)
SMALL = SOURCE / "examples" / "small_fabric.json"
CACHE = SOURCE / "tests" / "collect" / "two_nodes.cache"

GENERATE = ["generate", SMALL, "--name", "Fab1", "--output-dir", "out", "--depfile", "out/f.d"]
COMMANDS = {
    "plain": [*GENERATE, "--simulator-header"],
    "models": [*GENERATE, "--models", "--shards", "2"],
    "project": [*GENERATE, "--models", "--project"],
    "collect": ["collect", "--load-cache", CACHE, "--output", "out/fabric.jsonl"],
}
if subprocess.run([PROGRAM, "collect", "--load-cache", CACHE], capture_output=True, check=False).returncode == 4:
    print("SKIPPED: siminfo was built without a collector", file=sys.stderr)
    del COMMANDS["collect"]


def files(folder):
    return {str(path.relative_to(folder)): path for path in folder.rglob("*") if not path.is_dir()}


def text_of(path):
    """What an address in it apart is the same from run to run."""
    return re.sub("0x0x[0-9a-f]+", "", path.read_text())


class Outputs(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.dir = pathlib.Path(scratch.name)
        self.out = self.dir / "out"

    def prepare(self, arguments):
        """Learns what the command writes, and returns what puts old files in the place of all that."""
        self.out.mkdir()
        done = subprocess.run([PROGRAM, *map(str, arguments)], cwd=self.dir, check=False, capture_output=True, text=True)
        self.assertIn(done.returncode, (0, 5), done.stderr)  # 5 is a collection in which something is missing
        self.done = done.returncode
        self.new = {name: text_of(path) for name, path in files(self.out).items()}
        old = self.dir / "old"
        for name in self.new:
            (old / name).parent.mkdir(parents=True, exist_ok=True)
            (old / name).write_text(f"old {name}\n")

        def restore():
            shutil.rmtree(self.out)
            shutil.copytree(old, self.out)
        return restore

    def judge_files(self, what, is_done=False, may_leave=False):
        """Every file is there, old or new, and no other."""
        found = files(self.out)
        left = [name for name in found if re.fullmatch(r"(.*/)?\.siminfo-[0-9a-f]{16}\.tmp", name)]
        self.assertEqual(sorted(set(found) - (set(left) if may_leave else set())), sorted(self.new), what)
        for name, text in self.new.items():
            found_text = text_of(found[name])
            if found_text != text:
                self.assertFalse(is_done, f"{name} is old; {what}")
                self.assertEqual(found_text, f"old {name}\n", what)

    def judge(self, done, what):
        self.assertIn(done.returncode, (self.done, 3), what)
        self.judge_files(what, is_done=done.returncode != 3)
        if done.returncode == 3:
            self.assertRegex(done.stderr, "(?m)^siminfo: error: ", what)
            self.assertRegex(done.stderr, WORDS, what)

    def test_keeps_old_or_new_whichever_call_fails(self):
        for name, arguments in COMMANDS.items():
            restore = self.prepare(arguments)
            for is_named in (False, True):
                tried = {}
                for kind in KINDS:
                    growth = 1.5 if kind == "memory" else 1.3 if name == "project" else 1
                    tried[kind] = FAULTS.walk(arguments, kind, restore, self.judge, growth=growth, cwd=self.dir,
                                              is_named=is_named)
                # A kind of call that is never made would prove nothing.
                never = {kind for kind, count in tried.items() if count == 0} - {"folder", "mmap", "thread", "fork"}
                self.assertEqual(never, {"link"} if is_named else set(), name)
            shutil.rmtree(self.out)
            shutil.rmtree(self.dir / "old")

    def test_leaves_nothing_behind_when_a_signal_ends_it_at_any_call(self):
        """Also between the two calls that give a file its name and put it in place."""
        restore = self.prepare(COMMANDS["plain"])
        for is_named in (False, True):
            for number in (*ENDING, signal.SIGKILL):
                def judge(done, what, number=number):
                    self.assertEqual(done.returncode, -number, what)
                    self.judge_files(what, may_leave=number == signal.SIGKILL)
                    # What is not yet whole is nobody else's to read.
                    for path in self.out.glob(".siminfo-*") if what.startswith("write") else ():
                        self.assertEqual(oct(path.stat().st_mode & 0o777), oct(0o600))
                        self.left += 1
                self.left = 0
                for kind in ("write", "fsync", "rename") + (() if is_named else ("link",)):
                    self.assertGreater(FAULTS.walk(COMMANDS["plain"], kind, restore, judge, cwd=self.dir,
                                                   signal_number=number, is_named=is_named), 0, kind)
                self.assertEqual(self.left > 0, is_named and number == signal.SIGKILL)

    @unittest.skipIf("collect" not in COMMANDS, "there is no collector")
    def test_a_signal_while_a_collection_is_written_changes_nothing(self):
        restore = self.prepare(COMMANDS["collect"])
        for kind in ("write", "fsync", "rename"):
            def judge(done, what):
                self.assertEqual(done.returncode, self.done, what)
                self.judge_files(what, is_done=True)
            FAULTS.walk(COMMANDS["collect"], kind, restore, judge, cwd=self.dir, signal_number=signal.SIGINT)

    def test_keeps_old_or_new_when_killed_at_any_moment(self):
        draw = random.Random(SEED)
        print(f"{KILLS} kills, seed {SEED}", file=sys.stderr)
        for number, (name, arguments) in enumerate(COMMANDS.items()):
            restore = self.prepare(arguments)
            start = time.monotonic()
            subprocess.run([PROGRAM, *map(str, arguments)], cwd=self.dir, check=False, capture_output=True)
            whole = time.monotonic() - start
            for _ in range(number, KILLS, len(COMMANDS)):
                restore()
                ending = draw.choice((signal.SIGKILL, signal.SIGINT))
                status = FAULTS.kill(arguments, ending, draw.uniform(0, 1.2 * whole), cwd=self.dir)
                what = f"{name}: {ending!r}, status {status}, seed {SEED}"
                self.assertIn(status, (-ending, self.done, 5), what)
                (self.out / "fabric.jsonl.partial").unlink(missing_ok=True)  # of a collection that was cut short
                self.judge_files(what, is_done=status == self.done == 0, may_leave=ending == signal.SIGKILL)
            shutil.rmtree(self.out)
            shutil.rmtree(self.dir / "old")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
