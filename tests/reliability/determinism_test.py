#!/usr/bin/env python3
"""The same snapshot gives the same bytes, whatever surrounds the run and in whatever order the snapshot stands. The one
exception is the address that the exact form of the class port info has in place of the GID."""

import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAM, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])
WAYS = {"plain": [], "buildable": ["--buildable", "--missing", "comment"], "models": ["--models", "--project"]}


class Determinism(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.dir = pathlib.Path(scratch.name)
        tree = subprocess.run([SOURCE / "examples/make_fat_tree.py", "--leaves", "2", "--links"], text=True,
                              capture_output=True, check=True).stdout
        cls.snapshot = cls.dir / "fabric.jsonl"
        cls.snapshot.write_text(tree)
        cls.expected = {way: cls.files(way) for way in WAYS}

    @classmethod
    def files(cls, way, *more, command=(), snapshot=None, **options):
        """What a run writes, by path, without addresses of its memory."""
        options.setdefault("cwd", cls.dir)
        out = tempfile.mkdtemp(dir=cls.dir)
        subprocess.run([*command, PROGRAM, "generate", snapshot or cls.snapshot, "--name", "Fab1", "--output-dir", out,
                        *WAYS[way], *more], check=True, capture_output=True, timeout=120, **options)
        found = {path.relative_to(out): re.sub(b"0x0x[0-9a-f]+", b"", path.read_bytes())
                 for path in pathlib.Path(out).rglob("*") if path.is_file()}
        shutil.rmtree(out)
        return found

    def assert_same(self, what, **surroundings):
        for way, expected in self.expected.items():
            self.assertTrue(self.files(way, **surroundings) == expected, f"{what}: {way}")

    def test_in_any_surroundings(self):
        self.assertGreater(len(self.expected["models"]), 10)
        for variable, values in {"LC_ALL": ["C", "C.utf8", "de_DE.UTF-8"], "TZ": ["UTC0", "XYZ-3"],
                                 "COLUMNS": ["20"], "LANG": [""]}.items():
            for value in values:
                self.assert_same(f"{variable}={value}", env={**os.environ, variable: value})
        self.assert_same("an empty environment", env={})
        self.assert_same("another folder", cwd="/")
        self.assert_same("a strict umask", umask=0o077)
        if shutil.which("setarch"):
            self.assert_same("fixed addresses", command=["setarch", "-R"])

    def test_in_any_order_and_with_any_number_of_threads(self):
        header, *nodes = self.snapshot.read_text().splitlines(keepends=True)
        for seed in range(3):
            random.Random(seed).shuffle(nodes)
            shuffled = self.dir / "shuffled.jsonl"
            shuffled.write_text(header + "".join(nodes))
            for jobs in ("1", "2", "7"):
                for way in ("plain", "models"):
                    found = self.files(way, "--jobs", jobs, snapshot=shuffled)
                    self.assertTrue(found == self.expected[way], (way, seed, jobs))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
