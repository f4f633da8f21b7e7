#!/usr/bin/env -S python3 -B
"""Keeps siminfo at work for a long time, and watches its memory and its results.

  scripts/soak.py SIMINFO [--seconds N] [--collections N]     600 seconds each and 100 by default

  generate   the largest subnet there can be, again and again: the same bytes, the same peak of memory
  serve      a fat tree of 402 nodes under collect, smpquery and opensm: every answer right, memory flat
  collect    that fabric from ibsim and from serve: the same snapshot each time

Ends with 1 when anything differs or grows."""

import argparse
import hashlib
import itertools
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path[:0] = [str(ROOT / "tests/serve"), str(ROOT / "tests/collect")]
import fat_tree
import ibsim
import serving

GROWTH = 1.05  # of memory, beyond which it counts as growing


def require(holds, what):
    if not holds:
        sys.exit(f"soak: FAILED: {what}")


def make_tree(path, leaves):
    with open(path, "wb") as file:
        subprocess.run([ROOT / "examples/make_fat_tree.py", "--leaves", str(leaves), "--links"], stdout=file, check=True)


def peak_of(command):
    """Runs it, and returns its peak of memory in kB."""
    pid = os.posix_spawn(command[0], command, os.environ,
                         file_actions=[(os.POSIX_SPAWN_OPEN, fd, os.devnull, os.O_WRONLY, 0) for fd in (1, 2)])
    _, status, usage = os.wait4(pid, 0)
    require(status == 0, f"{command} ended with {status}")
    return usage.ru_maxrss


def digest(path):
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


def soak_generate(siminfo, folder, seconds):
    tree, out = folder / "largest.jsonl", folder / "out"
    make_tree(tree, 992)
    command = [siminfo, "generate", str(tree), "--name", "Soak", "--buildable", "--output-dir", str(out)]
    peaks, first, end = [], None, time.monotonic() + seconds
    while time.monotonic() < end:
        peaks.append(peak_of(command))
        now = digest(out / "soak_generated.cpp")
        first = first or now
        require(now == first, "generate wrote other bytes")
        require(len(list(out.iterdir())) == 1, "generate left something behind")
    tree.unlink()
    shutil.rmtree(out)
    print(f"generate   {len(peaks)} runs, the same bytes, peak {min(peaks) / 1024:.0f} to {max(peaks) / 1024:.0f} MiB")
    require(max(peaks) <= min(peaks) * GROWTH + 2048, "generate's peak of memory differs")


def resident(name):
    """Resident kB of the server that has the sockets of the name."""
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            words = (process / "cmdline").read_bytes().split(b"\0")
            if words[0].endswith(b"/fabric_server") and name.encode() in words:
                return int(re.search(r"VmRSS:\s*(\d+)", (process / "status").read_text())[1])
        except OSError:
            continue
    sys.exit("soak: FAILED: the server is gone")


def behind_header(snapshot):
    return snapshot[snapshot.index("\n"):]


def soak_serve(siminfo, folder, seconds):
    tree = folder / "tree.jsonl"
    make_tree(tree, 12)
    with serving.Serving(siminfo, str(folder / "cache"), str(tree)) as served:
        expected = behind_header(served.run(siminfo, "collect")[1])
        opensm = ["opensm", "--once", "-f", str(folder / "opensm.log")]
        asked = [["smpquery", what, "-D", "0,1"] for what in ("nodeinfo", "portinfo", "switchinfo")]
        memory, rounds, end = [], 0, time.monotonic() + seconds
        for rounds in itertools.count(1):
            if time.monotonic() > end:
                break
            for command in asked + ([opensm] if rounds % 10 == 0 else []):
                status, out, err = served.run(*command)
                require(status == 0, f"{command}: {out}{err}")
            found = behind_header(served.run(siminfo, "collect")[1])
            if rounds == 10:  # from here on, the LIDs and states are the subnet manager's
                expected = found
            require(found == expected, "what is served was collected otherwise")
            memory.append(resident(served.name))
    warm = memory[min(20, len(memory) // 2):]
    print(f"serve      {rounds} rounds, memory {warm[0] / 1024:.1f} MiB when warm, {warm[-1] / 1024:.1f} at the end")
    print(f"           {served.errors.strip().splitlines()[-1]}")
    require(served.status == 0, "the server ended with a failure")
    require(warm[-1] <= warm[0] * GROWTH + 512, "the server's memory grows")


def soak_collect(siminfo, folder, times):
    net = folder / "net"
    # The ports of an adapter share what the first has, so they have one.
    net.write_text(fat_tree.fat_tree(leaves=24, spines=12, hosts=19).replace("Hca 2", "Hca 1"))
    with ibsim.Ibsim(str(net)) as simulator:
        simulator.environment.update(OSM_CACHE_DIR=str(folder), OSM_TMP_DIR=str(folder))
        simulator.run(["opensm", "--once", "-f", str(folder / "opensm.log")])
        text = simulator.run([siminfo, "collect"])[1]
        (folder / "collected.jsonl").write_text(text)
        with serving.Serving(siminfo, str(folder / "cache"), str(folder / "collected.jsonl")) as served:
            for _ in range(times):
                for source in (simulator.run([siminfo, "collect"])[1], served.run(siminfo, "collect")[1]):
                    require(behind_header(source) == behind_header(text), "a collection differs")
    print(f"collect    {times} times from ibsim and from serve, the same snapshot")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("siminfo")
    parser.add_argument("--seconds", type=int, default=600, help="for generate, and for serve")
    parser.add_argument("--collections", type=int, default=100)
    arguments = parser.parse_args()
    siminfo = os.path.abspath(arguments.siminfo)
    with tempfile.TemporaryDirectory(prefix="siminfo-soak-") as name:
        folder = pathlib.Path(name)
        soak_collect(siminfo, folder, arguments.collections)
        soak_serve(siminfo, folder, arguments.seconds)
        soak_generate(siminfo, folder, arguments.seconds)


if __name__ == "__main__":
    main()
