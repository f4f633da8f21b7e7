#!/usr/bin/env -S python3 -B
"""Measures siminfo beside its yardsticks and prints the results as a table. Run by ./bench.sh."""

import argparse
import json
import os
import pathlib
import platform
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
import typing

import callgrind

ROOT = pathlib.Path(__file__).resolve().parent.parent

# What is compared in one interleaved run: name, the slower or reference side, the side that is judged, goal and floor.
# A ratio is the time of the first over that of the second.
RATIOS = [
    ("emit into memory, the stream of the driver: speed over the plain way", "memory/plain", "memory/own", "6", "4"),
    ("emit into memory, any other stream: speed over the plain way", "memory/plain", "memory/any", "6", "4"),
    ("emit to a file: speed over cp of it", "file/cp", "file/siminfo", "0.65", "0.45"),
    ("emit to a file: speed over the plain way on an ofstream", "file/plain", "file/siminfo", "25", "15"),
    ("load on one core: speed over plain simdjson On-Demand", "load/simdjson", "load/siminfo", "1.5", "1"),
    ("load on one core: speed over nlohmann's DOM", "load/nlohmann", "load/siminfo", "15", "10"),
]


def row(what, values, goal="", floor=""):
    spread = f"{min(values):.2f} to {max(values):.2f}" if len(values) > 1 else ""
    print(f"| {what} | {statistics.median(values):.2f} | {spread} | {goal} | {floor} |", flush=True)


def make_fabric(folder, leaves, *options):
    path = folder / "_".join(["fat_tree", str(leaves), *options, ".jsonl"])
    with open(path, "w", encoding="utf-8") as out:
        subprocess.run([sys.executable, ROOT / "examples" / "make_fat_tree.py", "--leaves", str(leaves), *options],
                       stdout=out, check=True)
    return path


def compare_in_process(build, snapshot, folder, rounds):
    command = [build / "bench" / "siminfo_bench", "--benchmark_format=json", f"--benchmark_repetitions={rounds}",
               "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.2", snapshot, folder]
    runs = json.loads(subprocess.run(command, capture_output=True, check=True).stdout)["benchmarks"]
    times = {}
    for run in runs:
        if run["run_type"] == "iteration":
            times.setdefault(run["run_name"].removesuffix("/real_time"), []).append(run["real_time"])
    for what, reference, judged, goal, floor in RATIOS:
        row(what, [a / b for a, b in zip(times[reference], times[judged])], goal, floor)


class Run(typing.NamedTuple):
    seconds: float
    memory: float  # peak, in MiB
    processor: float  # seconds, with those of all that the command started


def timed(command):
    start = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise subprocess.CalledProcessError(process.returncode, command)
    return Run(time.perf_counter() - start, usage.ru_maxrss / 1024, usage.ru_utime + usage.ru_stime)


def generate(build, snapshot, folder, jobs):
    return timed([build / "siminfo", "generate", snapshot, "--name", "Whole", "--output-dir", folder,
                  "--jobs", str(jobs)])


def compare_whole_program(build, snapshot, folder, rounds):
    output = folder / "whole_generated.cpp"
    generate(build, snapshot, folder, 2)
    ratios = {1: [], 2: []}
    for _ in range(rounds):
        reference = timed(["cat", snapshot])[0] + timed(["cp", output, folder / "copy.cpp"])[0]
        for jobs, values in ratios.items():
            values.append(generate(build, snapshot, folder, jobs)[0] / reference)
    row("`siminfo generate` on two cores: time over read of the input plus cp of the output", ratios[2], "2", "3")
    row("the same on one core", ratios[1])


def write_project(build, snapshot, folder, *options):
    """Generates and configures a project; returns its build folder."""
    shutil.rmtree(folder, ignore_errors=True)
    timed([build / "siminfo", "generate", snapshot, "--name", "Whole", "--models", "--project", "--output-dir", folder,
           *options])
    subprocess.run(["cmake", "-S", folder, "-B", folder / "build", "-DCMAKE_CXX_COMPILER=g++", "-DCMAKE_CXX_FLAGS=-O0"],
                   stdout=subprocess.DEVNULL, check=True)
    return folder / "build"


def build_project(folder):
    subprocess.run(["cmake", "--build", folder, "--target", "clean"], stdout=subprocess.DEVNULL, check=True)
    return timed(["cmake", "--build", folder, "-j", "2"])[0]


def compare_models(build, snapshot, folder, rounds):
    models = [build / "siminfo", "generate", snapshot, "--name", "Whole", "--models", "--shards", "8", "--output-dir",
              folder / "models"]
    runs = [(generate(build, snapshot, folder, 2), timed([*models, "--jobs", "2"])) for _ in range(rounds)]
    row("`generate --models` of the largest fabric: time over that of `generate`", [b[0] / a[0] for a, b in runs], "", "1.2")
    row("the same: peak memory", [b[1] / a[1] for a, b in runs], "", "1.2")
    with open(snapshot, encoding="utf-8") as text:
        adapter = next(json.loads(line)["guid"] for line in text if '"type":"ca"' in line)
    one = write_project(build, snapshot, folder / "one", "--guid", adapter)
    whole = write_project(build, snapshot, folder / "whole", "--shards", "2")
    builds = [(build_project(one), build_project(whole)) for _ in range(min(rounds, 5))]
    row("building its project with g++ -O0 on two cores: time over that of one adapter", [b / a for a, b in builds], "5", "20")


def verify(build, snapshot):
    return timed([build / "siminfo", "verify", snapshot, "--compiler", "g++"])


def compare_verify(build, snapshot, folder, rounds):
    """Every node is verified in the time that its models take by themselves."""
    project = write_project(build, snapshot, folder / "whole", "--shards", "2")
    ratios = []
    for _ in range(min(rounds, 5)):
        models = build_project(project) + timed([project / "whole_nodes"]).seconds
        ratios.append(verify(build, snapshot).seconds / models)
    row("`siminfo verify` of the largest fabric: time over building its project and running it", ratios, "", "1.5")
    distinct = make_fabric(folder, 60, "--distinct")
    nodes = 60 * 33 + 30
    runs = [verify(build, distinct) for _ in range(min(rounds, 3))]
    row(f"`siminfo verify` of {nodes} nodes of which no two are alike: processor time a node, ms",
        [1000 * run.processor / nodes for run in runs], "", "40")
    runs = [verify(build, make_fabric(folder, 16)) for _ in range(min(rounds, 3))]
    row("`siminfo verify` of 536 nodes: seconds", [run.seconds for run in runs], "10", "60")


def show_projects(build, folder, sizes):
    print("\n| leaves | nodes | models | source MB | generate s | build s | restore s | nodes restored |")
    print("|--:|--:|--:|--:|--:|--:|--:|--:|")
    for leaves in sizes:
        snapshot = make_fabric(folder, leaves)
        generated = timed([build / "siminfo", "generate", snapshot, "--name", "Whole", "--models", "--shards", "2",
                           "--output-dir", folder / "models"])[0]
        project = write_project(build, snapshot, folder / "whole", "--shards", "2")
        sources = list((folder / "whole/dumps/whole").glob("whole_models_*.cpp"))
        built = timed(["cmake", "--build", project, "-j", "2"])[0]
        start = time.perf_counter()
        restored = subprocess.run([project / "whole_nodes"], capture_output=True, text=True, check=True).stdout
        seconds = time.perf_counter() - start
        models = len((folder / "whole/dumps/whole/whole_models.def").read_text().splitlines())
        print(f"| {leaves} | {leaves * 33 + (leaves + 1) // 2} | {models} |"
              f" {sum(source.stat().st_size for source in sources) / 1e6:.1f} | {generated:.3f} | {built:.1f} |"
              f" {seconds:.2f} | {len(restored.splitlines())} |", flush=True)
        snapshot.unlink()


def show_growth(build, folder, sizes):
    print("\n| leaves | nodes | snapshot MB | output MB | seconds | us a node | peak MiB | records MiB | peak less 64 MiB, over records |")
    print("|--:|--:|--:|--:|--:|--:|--:|--:|--:|")
    for leaves in sizes:
        snapshot = make_fabric(folder, leaves)
        runs = [generate(build, snapshot, folder, 2) for _ in range(3)]
        seconds, peak, _ = (statistics.median(values) for values in zip(*runs))
        nodes = leaves * 33 + (leaves + 1) // 2
        records = int(subprocess.run([build / "siminfo_repeat", "size", snapshot, "1"], capture_output=True,
                                     text=True, check=True).stdout) / 2**20
        output = (folder / "whole_generated.cpp").stat().st_size / 1e6
        print(f"| {leaves} | {nodes} | {snapshot.stat().st_size / 1e6:.1f} | {output:.1f} | {seconds:.3f} |"
              f" {seconds / nodes * 1e6:.1f} | {peak:.0f} | {records:.1f} | {max(peak - 64, 0) / records:.2f} |",
              flush=True)
        snapshot.unlink()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true")
    options = parser.parse_args()
    rounds = 3 if options.quick else 9
    processor = next(line for line in open("/proc/cpuinfo", encoding="utf-8") if line.startswith("model name"))
    print(f"{os.cpu_count()} cores, {processor.split(':')[1].strip()}, {platform.system()}; "
          f"{rounds} interleaved rounds\n")
    with tempfile.TemporaryDirectory(prefix="siminfo-bench-") as name:
        folder = pathlib.Path(name)
        snapshot = make_fabric(folder, 16 if options.quick else 64)
        print("| what | median | spread | goal | floor |\n|---|--:|--:|--:|--:|")
        compare_in_process(options.build, snapshot, folder, rounds)
        compare_whole_program(options.build, make_fabric(folder, 64 if options.quick else 256), folder, rounds)
        small = make_fabric(folder, 2)
        repeat = options.build / "siminfo_repeat"
        row("instructions a line, the stream of the driver", [callgrind.per_unit(repeat, "emit", small)], "160", "")
        row("instructions a line, any other stream", [callgrind.per_unit(repeat, "emit-stream", small)], "160", "")
        row("instructions a loaded field", [callgrind.per_unit(repeat, "load", small)], "", "")
        largest = make_fabric(folder, 64 if options.quick else 992)
        compare_models(options.build, largest, folder, rounds)
        compare_verify(options.build, largest, folder, rounds)
        sizes = [1, 4, 16, 64] if options.quick else [1, 2, 4, 8, 16, 31, 62, 124, 248, 496, 992]
        show_projects(options.build, folder, sizes)
        show_growth(options.build, folder, sizes)


if __name__ == "__main__":
    main()
