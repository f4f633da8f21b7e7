"""Counts instructions with valgrind's callgrind: the same numbers on every run, whatever else the machine does.

callgrind.py SIMINFO_REPEAT SNAPSHOT WORK=LIMIT... [SNAPSHOT WORK=LIMIT...]... ends with 1 when a work costs more.
"""

import re
import subprocess
import sys


def instructions(command):
    done = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", *command],
                          capture_output=True, text=True, check=True)
    return int(re.search(r"Collected : (\d+)", done.stderr)[1]), int(done.stdout)


def per_unit(repeat, work, snapshot):
    """Instructions of one emitted line, or of one loaded field: what three rounds cost more than one."""
    once, units = instructions([repeat, work, str(snapshot), "1"])
    thrice, _ = instructions([repeat, work, str(snapshot), "3"])
    return (thrice - once) / (2 * units)


if __name__ == "__main__":
    program, *arguments = sys.argv[1:]
    failed = False
    for argument in arguments:
        limit = re.fullmatch(r"([a-z-]+)=(\d+)", argument)
        if not limit:
            snapshot = argument
            continue
        work, most = limit.groups()
        count = per_unit(program, work, snapshot)
        failed = failed or count > float(most)
        print(f"{work}: {count:.1f} instructions each, at most {most}")
    sys.exit(1 if failed else 0)
