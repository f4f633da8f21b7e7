#!/usr/bin/env -S python3 -B
"""Plants faults in the generators, one at a time, and tells which of them siminfo verify sees by itself.

    scripts/seen_by_verify.py --seed 11 [--count 33] [--snapshot examples/small_fabric.json] [--preset release]

A fault in each generator of a frame, and the others in turn in the driver and in the files that generators share, chosen
by the seed. One that changes nothing in what is generated for the snapshot does not count. The work tree must be clean, and is clean
again afterwards.
"""
import argparse
import itertools
import pathlib
import random
import re
import subprocess
import sys
import tempfile

import mutants

ROOT = mutants.ROOT
GENERATORS = ROOT / "src/siminfo/generators"


def places():
    """Line numbers by what they belong to: the member that generates a frame, or a file that several use."""
    found = {}
    frames = set(re.findall(r"&SimInfoDumpCPP::(Generate\w+)", (GENERATORS / "drovik_sim_info_dump.cpp").read_text()))
    for path in sorted(GENERATORS.rglob("*.cpp")) + sorted(GENERATORS.rglob("*.h")):
        owner = path.stem
        for number, line in enumerate(path.read_text().splitlines()):
            member = re.match(r"\S.*\bSimInfoDumpCPP::(\w+)\(", line)
            if member:
                owner = member[1] if member[1] in frames else path.stem
            found.setdefault(owner, []).append((path, number, line))
    return [lines for owner, lines in found.items() if owner in frames], \
        [lines for owner, lines in found.items() if owner not in frames]


def is_code(line):
    text = line.strip()
    return text and not text.startswith(("//", "#", "static_assert", "namespace", "using ", "template", "}"))


class Trial:
    def __init__(self, options):
        self.options = options
        self.program = str(ROOT / "build" / options.preset / "siminfo")
        self.original = self.generated()

    def generated(self):
        """Everything that is generated of the snapshot, in every form; nothing when a run fails."""
        text = b""
        for form in ([], ["--buildable"], ["--missing", "comment"], ["--models"]):
            with tempfile.TemporaryDirectory() as folder:
                run = subprocess.run([self.program, "generate", self.options.snapshot, "--name", "Fab1", "--output-dir",
                                      folder, *form], capture_output=True, timeout=60)
                if run.returncode != 0:
                    return b"failed"
                for path in sorted(pathlib.Path(folder).iterdir()):
                    text += re.sub(rb"0x0x\w+", b"", path.read_bytes())
        return text

    def outcome(self, path, number, changed):
        """None for a fault that does not compile or changes nothing; else whether verify sees it."""
        original = path.read_text()
        lines = original.split("\n")
        try:
            path.write_text("\n".join(lines[:number] + [changed] + lines[number + 1:]))
            build = subprocess.run(["cmake", "--build", "--preset", self.options.preset, "--target", "siminfo"], cwd=ROOT,
                                   capture_output=True)
            if build.returncode != 0 or self.generated() == self.original:
                return None
            return any(subprocess.run([self.program, "verify", self.options.snapshot, *form], capture_output=True,
                                      timeout=600).returncode != 0 for form in ([], ["--buildable", "--missing", "comment"]))
        except subprocess.TimeoutExpired:
            return True
        finally:
            path.write_text(original)


def main():
    options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    options.add_argument("--seed", type=int, required=True)
    options.add_argument("--count", type=int, default=33)
    options.add_argument("--snapshot", default=str(ROOT / "examples/small_fabric.json"))
    options.add_argument("--preset", default="release")
    options = options.parse_args()
    if subprocess.run(["git", "diff", "--quiet"], cwd=ROOT).returncode != 0:
        sys.exit("seen_by_verify.py: the work tree has changes; commit them first")
    chooser = random.Random(options.seed)
    trial = Trial(options)
    frames, shared = places()
    planted = set()
    seen = valid = 0
    for lines in itertools.chain(frames, itertools.cycle(shared)):
        if valid == options.count:
            break
        for path, number, line in chooser.sample(lines, len(lines)):
            changed = mutants.mutate(line, chooser) if is_code(line) else None
            if not changed or (path, number) in planted:
                continue
            outcome = trial.outcome(path, number, changed)
            if outcome is not None:
                break
        else:
            continue
        planted.add((path, number))
        valid += 1
        seen += outcome
        print(f"{'seen  ' if outcome else 'UNSEEN'} {path.relative_to(ROOT)}:{number + 1}\n  - {line.strip()}\n"
              f"  + {changed.strip()}", flush=True)
    print(f"{seen} of {valid} seen")


if __name__ == "__main__":
    main()
