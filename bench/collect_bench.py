#!/usr/bin/env -S python3 -B
"""Times `siminfo collect` against ibnetdiscover on the same simulated fabric of about 500 nodes, in turns.

    collect_bench.py SIMINFO [ROUNDS]
"""
import os
import re
import statistics
import sys
import tempfile
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "collect"))
import fat_tree
import ibsim


def main(siminfo, rounds):
    with tempfile.NamedTemporaryFile("w", suffix=".net") as net:
        net.write(fat_tree.fat_tree(leaves=24, spines=12, hosts=19))
        net.flush()
        with ibsim.Ibsim(net.name) as fabric:
            times = {"ibnetdiscover": [], "siminfo collect": []}
            bodies = set()
            for _ in range(rounds):
                for name, arguments in (("ibnetdiscover", ["ibnetdiscover"]),
                                        ("siminfo collect", [os.path.abspath(siminfo), "collect"])):
                    start = time.perf_counter()
                    status, out, err = fabric.run(arguments)
                    times[name].append(time.perf_counter() - start)
                    assert status == 0, err
                bodies.add(out.split("\n", 1)[1])
    for name, seconds in times.items():
        print(f"{name:16} median {statistics.median(seconds) * 1000:6.1f} ms, "
              f"from {min(seconds) * 1000:.1f} to {max(seconds) * 1000:.1f} ms, {rounds} rounds")
    print(re.search(r"\d+ nodes.*SMPs", err)[0] + f"; {len(bodies)} different snapshots but for the header")


if __name__ == "__main__":
    main(sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 15)
