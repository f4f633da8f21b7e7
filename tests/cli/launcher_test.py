#!/usr/bin/env python3
"""./siminfo before there is a program, with one that is up to date, and where none can be built. No program is built."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(sys.argv[1])


class Launcher(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.root = pathlib.Path(scratch.name) / "a 'quoted' (folder) & $HOME"
        (self.root / "scripts").mkdir(parents=True)
        (self.root / "src").mkdir()
        (self.root / "cmake").mkdir()
        for name in ("siminfo", "scripts/build.sh", "README.md", "CMakeLists.txt", "CMakePresets.json"):
            shutil.copy2(SOURCE / name, self.root / name)
        self.build = self.root / "build/release"

    def make_program(self):
        self.build.mkdir(parents=True)
        program = self.build / "siminfo"
        program.write_text('#!/bin/sh\necho "ran $1"\n')
        program.chmod(0o755)
        (self.build / "siminfo.built").touch()

    def launch(self, *arguments, **options):
        done = subprocess.run([self.root / "siminfo", *arguments], cwd="/", text=True, capture_output=True, timeout=60,
                              check=False, **options)
        return done.returncode, done.stdout, done.stderr

    def test_answers_at_once_before_there_is_a_program(self):
        for arguments in ([], ["--help"], ["generate", "-h"], ["help"]):
            status, out, err = self.launch(*arguments)
            self.assertEqual(status, 0, err)
            self.assertIn("\n  generate   writes the simulator's source\n", out)
            self.assertIn("not built yet", err)
        status, out, _ = self.launch("--version")
        self.assertEqual((status, out), (0, "siminfo 0.1.0\n"))
        self.assertFalse((self.root / "build").exists())

    def test_runs_what_is_up_to_date_from_anywhere(self):
        self.make_program()
        for path in sorted(self.root.rglob("*"), reverse=True):
            path.chmod(0o555)
        self.assertEqual(self.launch("x"), (0, "ran x\n", ""))

    def test_says_so_where_nothing_can_be_built(self):
        self.build.parent.mkdir()
        self.build.write_text("in the way")
        status, out, err = self.launch("x", env={**os.environ, "PATH": self.path_without_dpkg()})
        self.assertEqual((status, out), (3, ""))
        self.assertIn("build/release has to be built, but you cannot write to it", err)

    def test_names_what_cmake_cannot_build_in(self):
        self.root = self.root.rename(self.root.with_name("a;b"))
        status, out, err = self.launch("x", env={**os.environ, "PATH": self.path_without_dpkg()})
        self.assertEqual((status, out), (3, ""))
        self.assertIn('CMake cannot build in a folder with any of " \\ ; # < > [ ] in its path; move or rename /', err)

    def path_without_dpkg(self):
        """Where no package is looked for, so that the test installs none."""
        folder = self.root / "bin"
        folder.mkdir()
        for program in ("bash", "env", "readlink", "dirname", "find", "mkdir", "nproc", "sed"):
            (folder / program).symlink_to(shutil.which(program))
        return str(folder)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
