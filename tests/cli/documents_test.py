#!/usr/bin/env python3
"""Manual pages and completions: mandoc finds no fault, and shells complete what is typed."""

import os
import pathlib
import pty
import re
import select
import shlex
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

DOCUMENTS = pathlib.Path(sys.argv.pop(1))
# What is typed before a tab, and what the line is afterwards.
TYPED = [("siminfo gen", "generate "), ("siminfo generate --mis", "--missing "), ("siminfo generate --missing c", "comment "),
         ("siminfo help se", "serve"), ("siminfo inspect fab", r"fab.jsonl "), ("siminfo generate -o sub", "subfolder/")]
SHELLS = {
    "bash": (["bash", "--norc", "--noprofile", "-i"], "source {0}/siminfo.bash"),
    "zsh": (["zsh", "-f", "-i"], "fpath=({0} $fpath); autoload -U compinit; compinit -u -D; unsetopt prompt_cr prompt_sp"),
    "fish": (["fish", "--no-config", "-i"], "source {0}/siminfo.fish; function fish_prompt; echo '$ '; end"),
}
SKIPPED = []


class Terminal:
    """A shell on a terminal, as a user has it."""

    def __init__(self, command, folder):
        self.pid, self.screen = pty.fork()
        if self.pid == 0:
            os.chdir(folder)
            os.environ.update(TERM="dumb", HOME=folder, PS1="$ ", LC_ALL="C.UTF-8", XDG_CONFIG_HOME=folder)
            os.execvp(command[0], command)

    def type(self, keys, expected, seconds=10):
        """What the screen shows from then on, until it shows what is expected or the time is over."""
        os.write(self.screen, keys.encode())
        shown, end = "", time.monotonic() + seconds
        while time.monotonic() < end and expected not in shown:
            if select.select([self.screen], [], [], 0.1)[0]:
                shown += os.read(self.screen, 65536).decode(errors="replace")
        return shown

    def end(self):
        os.kill(self.pid, 9)
        os.close(self.screen)
        os.waitpid(self.pid, 0)


class Documents(unittest.TestCase):
    def test_manual_pages(self):
        pages = sorted([*DOCUMENTS.glob("*.1"), *DOCUMENTS.glob("*.5")])
        self.assertEqual(len(pages), 10)
        if shutil.which("mandoc") is None:
            SKIPPED.append("mandoc is missing: nobody looked at the manual pages")
            return
        lint = subprocess.run(["mandoc", "-T", "lint", "-W", "warning", *pages], text=True, capture_output=True, check=False)
        self.assertEqual((lint.returncode, lint.stdout), (0, ""))
        page = subprocess.run(["mandoc", "-T", "ascii", DOCUMENTS / "siminfo-generate.1"], text=True, capture_output=True,
                              check=True).stdout
        self.assertIn("--missing comment|error", re.sub(".\b", "", page))

    def test_shells_complete_what_is_typed(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "fab.jsonl").touch()
            (pathlib.Path(folder) / "subfolder").mkdir()
            for name, (command, setup) in SHELLS.items():
                if shutil.which(name) is None:
                    SKIPPED.append(f"{name} is missing: its completion was not tried")
                    continue
                shell = Terminal(command, folder)
                self.addCleanup(shell.end)
                shell.type(setup.format(shlex.quote(str(DOCUMENTS))) + "; echo re''ady\n", "ready\r\n")
                for typed, expected in TYPED:
                    with self.subTest(shell=name, typed=typed):
                        self.assertIn(expected.strip(), shell.type(typed + "\t", expected))
                        shell.type("\x15", "nothing", 0.3)  # takes the line back


if __name__ == "__main__":
    ran = unittest.main(exit=False).result
    for reason in SKIPPED:
        print("SKIPPED:", reason)
    sys.exit(1 if not ran.wasSuccessful() else 77 if SKIPPED else 0)
