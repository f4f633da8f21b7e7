#!/usr/bin/env python3
"""Runs the commands that README.md and docs/ show, each document's in a scratch folder of its own, and compares the
output where they show it. What they cannot run here is checked against the program's help.

In a block `sh` each line is a command; in a block `console` the lines after `$ `, with their output. "# exit status N"
behind a command announces another status than 0, and a line "..." of the output stands for any lines."""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SIMINFO, SOURCE = (pathlib.Path(path).resolve() for path in sys.argv[1:3])
DOCUMENTS = [SOURCE / "README.md", *sorted((SOURCE / "docs").glob("*.md"))]
LANGUAGES = {"sh", "console", "text", "cpp", "cmake", "make", "sql"}
NEEDED = ("bash", "cmake", "make", "c++", "ibnetdiscover", "smpquery", "opensm")
# Options of other programs than siminfo that the documents speak of.
FOREIGN = {"--all", "--cache", "--clean-first", "--distinct", "--dump", "--fix", "--links", "--once", "--quick",
           "--refresh-golden", "--seconds"}
BLOCK = re.compile(r"((?:^<!--.*?-->\n)*)^```(\w*)\n(.*?)^```$", re.M | re.S)
NOT_RUN = re.compile(r"<!-- (?:(.+?) is )?not run: (.+?) -->")
OPTION = re.compile(r"(?<![\w-])(--?[A-Za-z][\w-]*)")


def siminfo(*arguments):
    return subprocess.run([SIMINFO, *arguments], text=True, capture_output=True, check=True, timeout=60).stdout


COMMANDS = re.findall(r"^  (\w+) {3,}", siminfo("help").split("Subcommands:")[1], re.M)
OPTIONS = {command: set(OPTION.findall(re.sub(r" (Excludes|Needs): .*", "", "\n".join(
    line for line in siminfo("help", command).splitlines() if line.startswith("  -"))))) for command in COMMANDS}


class Command:
    """A command that a document shows, with the output that it shows, or None."""

    def __init__(self, text, output=None):
        self.text, self.output = text, output
        announced = re.search(r"# exit status (\d+)", text)
        self.status = int(announced[1]) if announced else 0

    def is_answered_by(self, printed):
        shown = re.escape("\n".join(self.output)).replace(r"\.\.\.", r"(?s:.*?)")
        return re.fullmatch(shown, printed.rstrip("\n")) is not None


def commands_of(language, body):
    """A line ends with its command, unless a backslash, an operator or an open quotation goes on."""
    found = []
    for line in body.splitlines():
        if language == "console" and not line.startswith("$ "):
            found[-1].output.append(line)
        elif line.strip() and not line.startswith("#"):
            found.append(Command(line.removeprefix("$ "), [] if language == "console" else None))
    return found


def faults_of(text):
    """What the program's help does not have: of calls of siminfo in a text that is code."""
    for call in re.finditer(r"(?:^|[\s/(|])(?:siminfo|\$\(SIMINFO\)) +([a-z]+)\b((?:[^|;&>`\n]|\n +\[|(?<=\w)\|(?=\w))*)", text):
        command, rest = call.groups()
        if command not in OPTIONS:
            yield f"there is no command {command}"
            continue
        words = re.split(r"(?:^|[\s\[])-- ", rest.split("#")[0])[0]
        yield from (f"{command} has no option {option}" for option in set(OPTION.findall(words)) - OPTIONS[command])


class Documents(unittest.TestCase):
    ran, checked = 0, []

    def test_name_what_the_program_has(self):
        known = set().union(*OPTIONS.values(), FOREIGN, {"-V", "--version"})
        for document in DOCUMENTS:
            with self.subTest(document.name):
                text = document.read_text()
                code = [body for _, _, body in BLOCK.findall(text)]
                spans = re.findall(r"`([^`\n]+)`", BLOCK.sub("", text))
                faults = [fault for each in code + spans for fault in faults_of(each)]
                faults += [f"nothing has the option {span.split()[0]}" for span in spans
                           if span.startswith("--") and re.split(r"[ =]", span)[0] not in known]
                self.assertEqual(faults, [])

    def test_license_is_the_one_that_generated_files_name(self):
        with tempfile.TemporaryDirectory() as folder:
            siminfo("generate", SOURCE / "examples" / "small_fabric.json", "--name", "X", "--output-dir", folder)
            written = (pathlib.Path(folder) / "x_generated.cpp").read_text()
        years = re.compile(r"2024-\d{4}")
        named = [line.removeprefix("* ") for line in written.splitlines() if line.startswith("* SPDX-")]
        license_text = (SOURCE / "LICENSE").read_text()
        self.assertEqual(years.sub("", "\n".join(named)), years.sub("", license_text.split("\n\n")[0]))

    def test_show_what_is_printed(self):
        self.try_blocks("console")
        self.assertGreater(Documents.ran, 8)

    def test_run(self):
        self.try_blocks("sh")

    def try_blocks(self, wanted):
        for document in DOCUMENTS:
            blocks = BLOCK.findall(document.read_text())
            self.assertLessEqual({language for _, language, _ in blocks}, LANGUAGES, document.name)
            with tempfile.TemporaryDirectory() as folder:
                self.furnish(pathlib.Path(folder))
                for marks, language, body in blocks:
                    if language == wanted:
                        self.try_block(document.name, NOT_RUN.findall(marks), commands_of(language, body), folder)

    def try_block(self, name, marks, commands, folder):
        for prefix, _ in marks:
            self.assertTrue(any(command.text.startswith(prefix) for command in commands), f"{name}: no {prefix}")
        for command in commands:
            reasons = [reason for prefix, reason in marks if command.text.startswith(prefix)]
            if reasons:
                Documents.checked.append(f"{name}: {command.text.strip()} ({reasons[0]})")
                continue
            with self.subTest(f"{name}: {command.text}"):
                self.run_command(command, folder)
            Documents.ran += 1

    def run_command(self, command, folder):
        environment = {**os.environ, "PATH": f"{folder}/bin:{os.environ['PATH']}:/usr/sbin:/sbin", "COLUMNS": "100",
                       "XDG_CACHE_HOME": f"{folder}/cache", "OSM_CACHE_DIR": folder, "OSM_TMP_DIR": folder}
        done = subprocess.run(["bash", "-o", "pipefail", "-c", command.text], cwd=folder, env=environment, text=True,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=300,
                              check=False)
        self.assertEqual(done.returncode, command.status, done.stdout)
        if command.output is not None:
            self.assertTrue(command.is_answered_by(done.stdout), f"it prints\n{done.stdout}")

    def furnish(self, folder):
        """With the program and the project's folders where the documents have them, and the files that they name."""
        for place in ("siminfo", "bin/siminfo", "build/release/siminfo"):
            (folder / place).parent.mkdir(parents=True, exist_ok=True)
            (folder / place).symlink_to(SIMINFO)
        for place in ("examples", "cmake"):
            (folder / place).symlink_to(SOURCE / place)
        collected = (SOURCE / "examples/ibsim_fabric.jsonl").read_text()
        for name in ("fabric.jsonl", "monday.jsonl"):
            (folder / name).write_text(collected)
        (folder / "tuesday.jsonl").write_text(collected.replace("leaf-2", "leaf-two"))


if __name__ == "__main__":
    chosen = sys.argv[3:]
    missing = [program for program in NEEDED if not shutil.which(program, path=os.environ["PATH"] + ":/usr/sbin")]
    if missing and "Documents.test_run" in chosen:
        print("SKIPPED, nothing was tried: install what has", ", ".join(missing))
        sys.exit(77)
    result = unittest.main(argv=[sys.argv[0], *chosen], exit=False).result
    print(f"{Documents.ran} commands were run; {len(Documents.checked)} were only checked against the help:")
    print("\n".join("  " + each for each in Documents.checked))
    sys.exit(not result.wasSuccessful())
