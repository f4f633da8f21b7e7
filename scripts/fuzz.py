#!/usr/bin/env python3
"""Builds the fuzzer and runs its targets, one after the other.

  scripts/fuzz.py [--seconds N] [TARGET]...     60 seconds each by default

Prints for each: executions, the edges of code that were covered, and how many inputs broke a promise. Those stay in
build/fuzz/found/, and belong in fuzz/seeds/TARGET/ once they are understood. Ends with 1 when there are any."""

import argparse
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
FUZZER = ROOT / "build/fuzz/fuzz/siminfo_fuzz"
SEEDS = ROOT / "fuzz/seeds"


def examples(target, folder):
    """Seeds that are parts of the examples."""
    if target != "snapshot":
        return
    header, *nodes = (ROOT / "examples/ibsim_fabric.jsonl").read_text().splitlines(keepends=True)
    for number, node in enumerate(nodes):
        (folder / f"node{number}").write_text(header + node)


def words(text, pattern):
    found = re.findall(pattern, text)
    return found[-1] if found else "?"


def run(target, seconds):
    """Returns whether anything was found."""
    found = ROOT / "build/fuzz/found" / target
    found.mkdir(parents=True, exist_ok=True)
    before = set(found.iterdir())
    with tempfile.TemporaryDirectory(prefix="siminfo-fuzz-") as corpus:
        examples(target, pathlib.Path(corpus))
        dictionary = [f"-dict={file}" for file in (ROOT / "fuzz").glob(f"{target}.dict")]
        done = subprocess.run(
            [FUZZER, corpus, SEEDS / target, f"-max_total_time={seconds}", "-timeout=20", "-rss_limit_mb=4096",
             "-print_final_stats=1", f"-artifact_prefix={found}/", *dictionary],
            env={**os.environ, "SIMINFO_FUZZ_TARGET": target}, stderr=subprocess.PIPE, text=True, errors="replace")
    news = set(found.iterdir()) - before
    runs, edges = words(done.stderr, r"number_of_executed_units: *(\d+)"), words(done.stderr, r"cov: (\d+)")
    print(f"{target:18} {runs:>12} executions, {edges:>6} edges, {len(news)} found", flush=True)
    for file in sorted(news):
        print(f"  {file}")
    if news or done.returncode != 0:
        print("\n".join(done.stderr.splitlines()[-40:]))
    return done.returncode != 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=int, default=60, help="for each target")
    parser.add_argument("targets", nargs="*", metavar="TARGET")
    arguments = parser.parse_args()
    names = sorted(folder.name for folder in SEEDS.iterdir())
    unknown = set(arguments.targets) - set(names)
    if unknown:
        parser.error(f"there is no target {', '.join(sorted(unknown))}; expected one of {', '.join(names)}")
    subprocess.run(["cmake", "--preset", "fuzz"], cwd=ROOT, check=True, stdout=sys.stderr)
    subprocess.run(["cmake", "--build", "--preset", "fuzz"], cwd=ROOT, check=True, stdout=sys.stderr)
    return 1 if any([run(target, arguments.seconds) for target in arguments.targets or names]) else 0


if __name__ == "__main__":
    sys.exit(main())
