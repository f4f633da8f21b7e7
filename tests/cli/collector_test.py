#!/usr/bin/env python3
"""How siminfo comes to siminfo-collect, the program that does the work of `siminfo collect`."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAM = os.path.abspath(sys.argv[1])
# Stands in for the collector: tells who it is and what it was given.
ECHO = '#!/bin/sh\necho "$0"\nprintf "<%s>\\n" "$@"\nexit 5\n'


class Collector(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="siminfo collector ")
        self.addCleanup(folder.cleanup)
        self.bin, self.path = pathlib.Path(folder.name, "bin"), pathlib.Path(folder.name, "path")
        for made in (self.bin, self.path):
            made.mkdir()
        shutil.copy(PROGRAM, self.bin / "siminfo")

    def collect(self, *arguments):
        return subprocess.run([self.bin / "siminfo", "collect", *arguments], text=True, capture_output=True, check=False,
                              env={"PATH": f"{self.path}:/usr/bin:/bin"}, timeout=60)

    def put(self, folder):
        (folder / "siminfo-collect").write_text(ECHO)
        (folder / "siminfo-collect").chmod(0o755)

    @unittest.skipIf(shutil.which("siminfo-collect", path="/usr/bin:/bin"), "SKIPPED: siminfo-collect is installed here")
    def test_says_what_to_install(self):
        done = self.collect()
        self.assertEqual((done.returncode, done.stdout), (4, ""))
        self.assertIn("is missing; install its package", done.stderr)

    def test_starts_the_one_beside_it_or_that_of_the_path(self):
        words = ["-q", "--fabric", "my fabric", "-C", "", "--output=a b"]
        for folder in (self.path, self.bin):  # each is preferred to the one before
            self.put(folder)
            done = self.collect(*words)
            self.assertEqual((done.returncode, done.stdout.splitlines()),
                             (5, [str(folder / "siminfo-collect"), *(f"<{word}>" for word in words)]), done.stderr)

    def test_judges_the_words_itself(self):
        self.put(self.bin)
        self.assertIn("--load-cache", self.collect("--help").stdout)
        done = self.collect("--max-hops", "64")
        self.assertEqual((done.returncode, done.stdout), (2, ""), done.stderr)

    def test_needs_no_library_of_the_collector(self):
        sections = subprocess.run(["readelf", "--dynamic", PROGRAM], text=True, capture_output=True, check=True).stdout
        self.assertIn("NEEDED", sections)
        self.assertNotRegex(sections, "libib(netdisc|mad|umad)")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
