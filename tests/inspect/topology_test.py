#!/usr/bin/env python3
"""What inspect --topology prints is what ibsim loads, and what ibnetdiscover then says of that fabric."""

import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAM, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])
sys.path.insert(0, str(SOURCE / "tests" / "collect"))
import ibsim  # noqa: E402  (a neighbour's)


def nodes_of(topology):
    """The nodes of a topology: what is said of each, and its cables, by its GUID."""
    nodes = {}
    for block in topology.split("\n\n")[1:]:
        head = re.search(r'^(Switch|Ca|Rt)\t(\d+) "(\S+)"\s+# "(.*?)"', block, re.M)
        told = dict(re.findall(r"^(vendid|devid|sysimgguid|\w+guid)=(0x\w+)", block, re.M))
        cables = {int(port): (remote, int(far)) for port, remote, far in
                  re.findall(r'^\[(\d+)\](?:\(\w+\))?\s+"(\S+)"\[(\d+)\]', block, re.M)}
        nodes[head[3]] = {"kind": head[1], "ports": int(head[2]), "name": head[4], "cables": cables, **told}
    return nodes


class Topology(unittest.TestCase):
    def print_topology(self, snapshot):
        return subprocess.run([PROGRAM, "inspect", "-", "--topology"], input=snapshot, text=True, check=True,
                              capture_output=True, timeout=60).stdout

    def discovered(self, topology):
        with tempfile.NamedTemporaryFile("w", suffix=".net") as net:
            net.write(topology)
            net.flush()
            with ibsim.Ibsim(net.name) as fabric:
                status, out, err = fabric.run(["ibnetdiscover"])
        self.assertEqual(status, 0, err)
        return nodes_of(out)

    def test_a_fat_tree(self):
        snapshot = subprocess.run([sys.executable, SOURCE / "examples" / "make_fat_tree.py", "--leaves", "3", "--links"],
                                  text=True, check=True, capture_output=True).stdout
        expected = nodes_of(self.print_topology(snapshot))
        self.assertEqual((len(expected), sum(len(node["cables"]) for node in expected.values())), (101, 384))
        found = self.discovered(self.print_topology(snapshot))
        for node in (*expected.values(), *found.values()):
            node["cables"] = dict(sorted(node["cables"].items()))
        self.assertEqual(found, expected)

    def test_names_routers_and_links_of_one_end(self):
        """A name is no part of the form: none may end its line, its quotation or the file."""
        def node(name, guid, kind, ports, **links):
            return {"name": name, "guid": guid, "type": kind, "num_ports": ports, "ports": [
                {"num": int(num[1:]), "link": {"node": far, "port": port}} for num, (far, port) in links.items()]}
        nodes = [node('s"1] # x', 0x20, "switch", 4, p1=("h [1]", 1), p3=("gone", 1), p4=("rt'er", 2)),
                 node("h [1]", 0x10, "ca", 1), node("rt'er", 0x30, "router", 2, p2=('s"1] # x', 4))]
        snapshot = "".join(json.dumps(each) + "\n" for each in [{"fabric_snapshot": 1}, *nodes])
        topology = self.print_topology(snapshot)
        self.assertIn('# [3] to port 1 of "gone", which is not in this file\n', topology)
        found = self.discovered(topology)
        ends = sorted((found[far]["kind"], port) for each in found.values() for far, port in each["cables"].values())
        self.assertEqual(ends, [("Ca", 1), ("Rt", 2), ("Switch", 1), ("Switch", 4)])
        self.assertEqual(sorted(each["kind"] for each in found.values()), ["Ca", "Rt", "Switch"])


if __name__ == "__main__":
    if ibsim.missing():
        print("SKIPPED: missing", ibsim.missing())
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
