#!/usr/bin/env -S python3 -B
"""Runs clang-tidy on everything that a build compiles. Its time goes into headers, so the sources that the build joins
are joined here as well, text and all: what clang-tidy only meets in an included file it does not look at as closely.
What it finds is told where it is written. Run by ./lint.

  scripts/tidy.py BUILD
"""

import concurrent.futures
import json
import os
import pathlib
import re
import subprocess
import sys

INCLUDE = re.compile(r'#include "(/.*\.cpp)"')
PLACE = re.compile(r"^(/[^:\n]*_cxx\.cxx):(\d+)", re.M)
# Compiled only after the build has made a header of it.
NEEDS_A_BUILD = re.compile(r"/fuzz/(datagrams\.cpp|project/)")


def join(unit):
    """Puts the text of the sources into the unit in place of their names. Returns where each line of it is from."""
    lines, places, included = [], [], set()
    for source in INCLUDE.findall(unit.read_text()):
        own = pathlib.Path(source).read_text().splitlines()
        # One that other sources of the unit have named is not named twice by this one.
        lines += ["" if line in included else line for line in own]
        places += [f"{source}:{number}" for number in range(1, len(own) + 1)]
        included.update(line for line in own if line.startswith("#include"))
    if lines:
        unit.write_text("\n".join(lines) + "\n")
    return places


def check(build, unit):
    places = join(unit)
    run = subprocess.run(["clang-tidy", "--quiet", "-p", build, unit], capture_output=True, text=True, check=False)
    found = run.stdout + re.sub(r"\d+ warnings? generated\.\n", "", run.stderr)
    return run.returncode, PLACE.sub(lambda at: places[int(at[2]) - 1] if at[1] == str(unit) else at[0], found)


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    commands = json.loads((build / "compile_commands.json").read_text())
    units = [pathlib.Path(command["file"]) for command in commands if not NEEDS_A_BUILD.search(command["file"])]
    units.sort(key=lambda unit: -len(INCLUDE.findall(unit.read_text())))  # so that a long one is not the last
    failed = False
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for status, found in pool.map(lambda unit: check(build, unit), units):
            print(found, end="", flush=True)
            failed |= status != 0
    return int(failed)


if __name__ == "__main__":
    sys.exit(main())
