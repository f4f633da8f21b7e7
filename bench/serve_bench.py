#!/usr/bin/env -S python3 -B
"""Times tools on served fabrics: beside ibsim on the same fabric of about 500 nodes, in turns, and on fat trees up to
the largest subnet there can be.

    serve_bench.py SIMINFO [ROUNDS]

On a machine with other work, `chrt -r 1 bench/serve_bench.py ...` gives the times of a quiet one: all processes of the
measurement go before all others.
"""
import glob
import os
import re
import resource
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests", "serve"))
import serving
import fat_tree
import ibsim


def timed(run):
    start = time.perf_counter()
    status, out, err = run()
    seconds = time.perf_counter() - start
    assert status in (0, 5), err
    return seconds, out


def costs(run, server):
    """Milliseconds of a run, of processor time of its program, and of that of the server's process."""
    def used():
        children = resource.getrusage(resource.RUSAGE_CHILDREN)
        with open(f"/proc/{server}/schedstat", encoding="ascii") as status:
            return children.ru_utime + children.ru_stime, int(status.read().split()[0]) / 1e9
    before = used()
    seconds, _ = timed(run)
    return [1000 * value for value in (seconds, *(now - then for now, then in zip(used(), before)))]


def beside_ibsim(siminfo, cache, rounds):
    with tempfile.TemporaryDirectory() as folder:
        net, path = os.path.join(folder, "net"), os.path.join(folder, "tree.jsonl")
        with open(net, "w", encoding="ascii") as file:
            file.write(fat_tree.fat_tree(leaves=24, spines=12, hosts=19))
        with ibsim.Ibsim(net) as simulator:
            simulator.environment.update(OSM_CACHE_DIR=folder, OSM_TMP_DIR=folder)
            timed(lambda: simulator.run(["opensm", "--once", "-f", os.path.join(folder, "log")]))
            with open(path, "w", encoding="utf-8") as file:
                file.write(simulator.run([siminfo, "collect"])[1])
            with serving.Serving(siminfo, cache, path) as served:
                server = process_of(served.name)
                for command in (["ibnetdiscover"], [siminfo, "collect"]):
                    pairs = [(costs(lambda: simulator.run(command), simulator.process.pid),
                              costs(lambda: served.run(*command), server)) for _ in range(rounds)]
                    print(os.path.basename(command[0]) + ":")
                    for name, runs in zip(("ibsim", "serve"), zip(*pairs)):
                        told = [statistics.median(column) for column in zip(*runs)]
                        print("  {}: {:.1f} ms; processor: program {:.1f} ms, server {:.1f} ms".format(name, *told))
                    ratio = statistics.median(mine[0] / other[0] for other, mine in pairs)
                    print(f"  median ratio {ratio:.2f} of {rounds} rounds", flush=True)


def process_of(name):
    """The process that has the sockets of the name."""
    for folder in glob.glob("/proc/[0-9]*"):
        try:
            with open(f"{folder}/cmdline", "rb") as line:
                words = line.read().split(b"\0")
        except OSError:
            continue
        if words[0].endswith(b"/fabric_server") and name.encode() in words:
            return os.path.basename(folder)
    raise RuntimeError("no server")


def memory(process):
    """Resident kB."""
    with open(f"/proc/{process}/status", encoding="ascii") as status:
        return int(re.search(r"VmRSS:\s*(\d+)", status.read())[1])


def of_size(siminfo, cache, leaves):
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "tree.jsonl")
        with open(path, "w", encoding="ascii") as file:
            subprocess.run([sys.executable, os.path.join(HERE, "../examples/make_fat_tree.py"), "--links", "--leaves",
                            str(leaves)], stdout=file, check=True)
        with serving.Serving(siminfo, cache, path) as served:
            seconds = [timed(lambda: served.run("ibnetdiscover")) for _ in range(3)]
            found = len(re.findall(r"^(?:Switch|Ca)\s", seconds[0][1], re.M))
            used = memory(process_of(served.name))
        begun = float(re.search(r"ready after ([\d.]+) s", served.errors)[1])
        root, = [root for root in glob.glob(f"{cache}/siminfo/serve/*") if tree_of(root) == found]
        subprocess.run(["cmake", "--build", f"{root}/build", "--target", "fabric_nodes"], check=True,
                       capture_output=True)
        start = time.perf_counter()
        subprocess.run([f"{root}/build/models/fabric_nodes"], stdout=subprocess.DEVNULL, check=True)
        restored = time.perf_counter() - start
    best = min(taken for taken, _ in seconds)
    print(f"| {found} | {begun:.2f} | {restored:.2f} | {used / found:.1f} | {best:.2f} | {best / found * 1000:.3f} |",
          flush=True)


def tree_of(root):
    with open(f"{root}/dumps/fabric/fabric_nodes.tsv", encoding="utf-8") as table:
        return sum(1 for _ in table) - 1


def main(siminfo, rounds):
    with tempfile.TemporaryDirectory(prefix="siminfo-serve-cache-") as cache:
        beside_ibsim(siminfo, cache, rounds)
        print("| nodes | start s | restoring s | kB a node | ibnetdiscover s | ms a node |\n|--:|--:|--:|--:|--:|--:|")
        for leaves in (15, 62, 248, 992):
            of_size(siminfo, cache, leaves)


if __name__ == "__main__":
    main(os.path.abspath(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else 15)
