#!/usr/bin/env python3
"""Where outputs land, with which modes, through which links, and who can get in between."""

import os
import pathlib
import stat
import subprocess
import sys
import tempfile
import unittest

PROGRAM, SOURCE = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
SMALL = SOURCE / "examples" / "small_fabric.json"
NAME = "fab1_generated.cpp"
NOBODY = 65534


class Outputs(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.dir = pathlib.Path(scratch.name)
        self.out = self.dir / "out"
        self.out.mkdir()
        self.file = self.out / NAME

    def generate(self, *arguments, **options):
        return subprocess.run([PROGRAM, "generate", SMALL, "--name", "Fab1", "--output-dir", "out", *arguments],
                              cwd=self.dir, text=True, capture_output=True, timeout=60, check=False, **options)

    def assert_written(self, done, path, mode):
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertTrue(path.read_text().endswith("End of file, siminfo 0.1.0\n"))
        self.assertEqual(oct(stat.S_IMODE(path.lstat().st_mode)), oct(mode))

    def assert_refused(self, done, words, there):
        self.assertEqual(done.returncode, 3, done.stderr)
        self.assertIn(words, done.stderr)
        self.assertEqual(sorted(os.listdir(self.out)), there)

    def test_modes(self):
        for mask, mode in ((0o022, 0o644), (0o077, 0o600), (0, 0o666)):
            self.file.unlink(missing_ok=True)
            self.assert_written(self.generate(umask=mask), self.file, mode)
        for old, new in ((0o600, 0o600), (0o444, 0o444), (0o6755, 0o755), (0o1666, 0o666), (0o2640, 0o640)):
            self.file.chmod(old)
            self.assert_written(self.generate(umask=0o022), self.file, new)

    def test_links(self):
        """One's own are followed, also where they lead to nothing yet; others are faults."""
        target = self.dir / "target"
        self.file.symlink_to("../target")
        for _ in range(2):  # dangling, and then not
            self.assert_written(self.generate(umask=0o022), target, 0o644)
            self.assertTrue(self.file.is_symlink())
        (self.dir / "other").symlink_to("target")
        self.file.unlink()
        self.file.symlink_to(self.dir / "other")
        target.write_text("old")
        self.assert_written(self.generate(), target, 0o644)
        for leads_to, words in ((NAME, "Too many levels of symbolic links"), ("../missing/x", "No such file or directory"),
                                ("/dev/null", "not a regular file"), (".", "not a regular file")):
            self.file.unlink()
            self.file.symlink_to(leads_to)
            self.assert_refused(self.generate(), f"out/{NAME}: ", [NAME])
            self.assertIn(words, self.generate().stderr)
        self.file.unlink()
        os.mkfifo(self.file)
        self.assert_refused(self.generate(), "exists and is not a regular file", [NAME])

    @unittest.skipIf(os.geteuid() != 0, "SKIPPED: only root can make a link of another user")
    def test_refuses_a_link_that_another_user_planted(self):
        self.out.chmod(0o1777)
        victim = self.dir / "victim"
        for leads_to in ("../victim", "../not there"):
            victim.write_text("mine")
            self.file.symlink_to(leads_to)
            os.lchown(self.file, NOBODY, NOBODY)
            words = "is a symbolic link that belongs to another user (UID 65534); expected a file, or a link of your own"
            self.assert_refused(self.generate(), words, [NAME])
            self.assertIn(words, self.generate("--models", "--depfile", f"out/{NAME}").stderr)
            self.assertEqual(victim.read_text(), "mine")
            for path in self.out.iterdir():
                path.unlink()
        self.assertFalse((self.dir / "not there").exists())
        # And so does another user with a link of root's, which is trusted.
        self.dir.chmod(0o777)
        self.file.symlink_to("../new")
        done = self.generate(user=NOBODY, group=NOBODY, extra_groups=[], umask=0o022)
        self.assert_written(done, self.dir / "new", 0o644)

    def test_writes_exactly_what_is_selected_where_nodes_share_a_guid(self):
        snapshot = self.dir / "twins.jsonl"
        kinds = ("switch", "switch", "ca")
        snapshot.write_text('{"fabric_snapshot":1}\n' + "".join(
            f'{{"name":"n{i}","guid":5,"type":"{kind}","num_ports":0}}\n' for i, kind in enumerate(kinds)))
        for arguments, names in ((["--one-per-class"], ["n0", "n2"]), (["--name-match", "n1"], ["n1"]),
                                 (["--type", "SW"], ["n0", "n1"]), (["--guid", "5"], ["n0", "n1", "n2"])):
            done = subprocess.run([PROGRAM, "generate", snapshot, "--name", "Fab1", "--output-dir", "out", *arguments],
                                  cwd=self.dir, text=True, capture_output=True, timeout=60, check=False)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual([line.split("'")[1] for line in self.file.read_text().splitlines()
                              if line.startswith("// Name: ")], names)
            self.assertEqual("defined more than once" in done.stderr, {"n0", "n1"} <= set(names))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
