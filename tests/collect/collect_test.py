#!/usr/bin/env python3
"""Tries `siminfo collect` on simulated fabrics.

    collect_test.py SIMINFO ALTERED_ANSWERS [unittest's arguments]

Exits with 77 where the simulator is missing.
"""
import collections
import gzip
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import fat_tree
import ibsim

SIMINFO, ALTERED_ANSWERS = "", ""
EXAMPLES = ["net", "net.1", "net.2sw2path", "net.2sw2path4hca", "net.2sw2path4hca2port"]
LARGE = (24, 12, 19)  # leaves, spines, and hosts of each leaf
LARGE_NODES = 24 * 19 + 24 + 12


def check_generates(fabric, snapshot):
    """`siminfo generate` takes the snapshot, without need of the fabric."""
    arguments = [SIMINFO, "generate", "-", "--name", "Fab", "--one-per-class", "--output-dir", fabric.folder]
    program = subprocess.run(arguments, input=snapshot, text=True, check=False, capture_output=True)
    if program.returncode != 0:
        raise AssertionError(program.stderr)


def is_caught(process, number):
    """Whether the process has a handler for the signal."""
    with open(f"/proc/{process}/status", encoding="ascii") as status:
        return int(re.search(r"SigCgt:\s*(\w+)", status.read())[1], 16) >> number - 1 & 1 == 1


def links_of(nodes):
    """Every link, by the GUIDs that ibnetdiscover has for its ends: a switch has one for all of its ports."""
    guids = {(node["name"], port["num"]): node["guid"] if node["type"] == "switch" else port.get("guid")
             for node in nodes.values() for port in node["ports"]}
    return [(int(guids[near], 16), near[1], int(guids[far], 16), far[1])
            for node in nodes.values() for port in node["ports"] if "link" in port
            for near, far in [((node["name"], port["num"]), (port["link"]["node"], port["link"]["port"]))]]


def without_links(nodes):
    return {guid: {**node, "ports": [{key: value for key, value in port.items() if key != "link"}
                                     for port in node["ports"]]} for guid, node in nodes.items()}


class Collected:
    """What one run of `siminfo collect` gave, whose snapshot is always one to generate from."""

    def __init__(self, fabric, *arguments, status=0, **options):
        preload = ALTERED_ANSWERS if options.get("alter") else None
        found, self.text, self.err = fabric.run([SIMINFO, "collect", *arguments], preload=preload, **options)
        if found != status:
            raise AssertionError(f"exit status {found}, expected {status}: {self.err}")
        if not self.text:
            return
        check_generates(fabric, self.text)
        self.packets = int(re.search(r"(\d+) SMPs", self.err)[1])
        header, self.body = self.text.split("\n", 1)
        self.header = json.loads(header)
        self.nodes = {int(node["guid"], 0): node for node in map(json.loads, self.body.splitlines())}

    def names(self):
        return [node["name"] for node in self.nodes.values()]

    def records(self):
        """The records of every node and port that carries any."""
        found = {guid: node["records"] for guid, node in self.nodes.items()}
        return found | {(guid, port["num"]): port["records"] for guid, node in self.nodes.items()
                        for port in node["ports"] if "records" in port}


class CollectTest(unittest.TestCase):
    maxDiff = 4000

    def run_fabric(self, net=ibsim.EXAMPLES + "/net.2sw2path4hca"):
        """Simulates the fabric of the file until the end of the test."""
        fabric = ibsim.Ibsim(net)
        self.addCleanup(fabric.__exit__)
        return fabric.__enter__()

    def run_fat_tree(self, *sizes):
        with tempfile.NamedTemporaryFile("w", suffix=".net") as net:
            net.write(fat_tree.fat_tree(*sizes))
            net.flush()
            return self.run_fabric(net.name)

    def assert_line(self, text, *parts):
        """Some line of the text has all of these."""
        self.assertTrue(any(all(part in line for part in parts) for line in text.splitlines()), text)

    def assert_as_ibnetdiscover_says(self, fabric, nodes):
        """Type, port count, GUID and description of every node, and every link; other ports are down."""
        _, topology, _ = fabric.run(["ibnetdiscover"])
        told = re.findall(r'^(Switch|Ca)\s+(\d+) "[SH]-(\w+)"\s+# "([^"]*)"', topology, re.MULTILINE)
        self.assertEqual(
            {(kind.lower(), int(ports), int(guid, 16), name) for kind, ports, guid, name in told},
            {(node["type"], node["num_ports"], guid, node["name"]) for guid, node in nodes.items()})
        _, ports, _ = fabric.run(["ibnetdiscover", "-p"])
        end = r"(?:CA|SW|RT)\s+\d+\s+(\d+) 0x(\w+)"
        links = re.findall(rf"^{end} (?:\S+ \S+) - {end} ", ports, re.MULTILINE)
        self.assertEqual(sorted((int(guid, 16), int(num), int(far, 16), int(far_num))
                                for num, guid, far_num, far in links), sorted(links_of(nodes)))
        for node in nodes.values():
            for port in node["ports"]:
                self.assertEqual(port["state"] == "down", port["num"] > 0 and "link" not in port, node["name"])

    def test_every_device_is_found_whatever_the_paths(self):
        for name in EXAMPLES:
            with self.subTest(name):
                fabric = self.run_fabric(os.path.join(ibsim.EXAMPLES, name))
                nodes = Collected(fabric).nodes
                self.assertGreater(len(nodes), 2)
                self.assert_as_ibnetdiscover_says(fabric, nodes)

    def test_a_large_fabric_is_collected_whole_and_the_same_twice(self):
        fabric = self.run_fat_tree(*LARGE)
        first = Collected(fabric)
        self.assertEqual(first.body, Collected(fabric, "--outstanding-smps", "8").body)
        self.assertEqual(len(first.nodes), LARGE_NODES)
        self.assert_as_ibnetdiscover_says(fabric, first.nodes)
        self.assertEqual(first.names(), sorted(first.names()))

    def test_a_saved_discovery_gives_what_the_live_fabric_gave(self):
        fabric = self.run_fabric()
        live = Collected(fabric)
        cache = os.path.join(fabric.folder, "fabric.cache")
        self.assertEqual(fabric.run(["ibnetdiscover", "--cache", cache])[0], 0)
        fabric.stop()
        saved = Collected(fabric, "--load-cache", cache, "--fabric", "hall 2")
        self.assertEqual((saved.header["source"], saved.header["fabric"]), ("fabric.cache", "hall 2"))
        Collected(fabric, "--load-cache", cache, "--fabric", "a\\", status=2)
        self.assertEqual(links_of(saved.nodes), links_of(live.nodes))
        # A discovery knows of an adapter only the ports that it came through.
        unknown = {(guid, port["num"]) for guid, node in saved.nodes.items() for port in node["ports"]
                   if "records" not in port}
        self.assertEqual(unknown, {(guid, 2) for guid, node in live.nodes.items() if node["type"] == "ca"})
        self.assertEqual(saved.records(), {at: records for at, records in live.records().items()
                                           if at not in unknown})
        small = os.path.join(fabric.folder, "small.jsonl.gz")
        subprocess.run([SIMINFO, "collect", "--load-cache", cache, "--output", small], check=True, capture_output=True)
        with gzip.open(small, "rt") as small:
            self.assertEqual([json.loads(line) for line in small][1:], list(saved.nodes.values()))
        os.truncate(cache, os.path.getsize(cache) - 1)
        broken = Collected(fabric, "--load-cache", cache, "--output", "kept.jsonl", status=3)
        self.assertEqual(broken.text, "")
        self.assert_line(broken.err, "fabric.cache", f"byte {os.path.getsize(cache)}")
        self.assertFalse(os.path.exists(os.path.join(fabric.folder, "kept.jsonl")))

    def test_a_port_count_beyond_the_format_is_cut_and_said(self):
        collected = Collected(self.run_fabric(), "-t", "50", alter="greedy", status=5)
        self.assertEqual({node["num_ports"] for node in collected.nodes.values()}, {2, 254})

    def test_adapters_at_ports_that_they_do_not_have(self):
        fabric = self.run_fabric()
        switches = {guid: node for guid, node in Collected(fabric).nodes.items() if node["type"] == "switch"}
        misplaced = Collected(fabric, alter="places", status=5)
        self.assertEqual(without_links(misplaced.nodes), without_links(switches))
        self.assertEqual(len(links_of(misplaced.nodes)), 4, "those between the two switches")
        self.assert_line(misplaced.err, "Switch1 (0x0000000000200000)", "port 1, 2", "255")

    def test_node_names_from_a_map(self):
        fabric = self.run_fabric()
        path = os.path.join(fabric.folder, "names")
        with open(path, "w", encoding="utf-8") as names:
            names.write('# by hand\n0x200000 "spine \\"\n0x0000000000100003\t"node 2" # rack 4\n')
        nodes = Collected(fabric, "--node-name-map", path).nodes
        told = {guid: node["alternative_name"] for guid, node in nodes.items() if "alternative_name" in node}
        self.assertEqual(told, {0x200000: "spine \\u{005c}", 0x100003: "node 2"})
        with open(path, "a", encoding="utf-8") as names:
            names.write("0008f100 Bare\n")
        refused = Collected(fabric, "--node-name-map", path, status=3)
        self.assertEqual(refused.text, "")
        self.assert_line(refused.err, "names:4: ", '0x0002c90300000001 "name"')

    def test_hops_are_limited(self):
        near = Collected(self.run_fat_tree(4, 2, 2), "--max-hops", "1")
        self.assertEqual(near.names(), ["host-000-00", "leaf-000"])

    def test_a_silent_device_costs_one_device(self):
        fabric = self.run_fat_tree(4, 2, 2)
        whole = Collected(fabric)
        fabric.command('Error "leaf-003" 100 21')
        partial = Collected(fabric, "-t", "100", status=5)
        # Two of its ports in discovery and two more afterwards, each of them four times.
        self.assertLessEqual(partial.packets, whole.packets + 4 * 4)
        leaf = next(node for node in partial.nodes.values() if node["name"] == "leaf-003")
        reasons = {port["absent"]["SMP_PortInfo"] for port in leaf["ports"]}
        self.assertEqual(reasons, {"timed out", "not asked: the device had stopped answering"})
        self.assertEqual({port["state"] for port in leaf["ports"]}, {"unknown"})
        self.assertIn("SMP_SwitchInfo", leaf["records"])
        self.assertEqual({*whole.names()} - {*partial.names()}, {"host-003-00", "host-003-01"})
        others = {at: records for at, records in partial.records().items() if at != int(leaf["guid"], 0)}
        self.assertEqual(others, {at: whole.records()[at] for at in others})

        fabric.command('Error "leaf-003" 100')
        without = Collected(fabric, "-t", "100", status=5)
        self.assert_line(without.err, "spine-001 (0x0000000000200005)", "port 4", "timed out")

    def test_one_interrupt_gives_what_there_is_and_two_end_it(self):
        fabric = self.run_fat_tree(*LARGE)
        path = os.path.join(fabric.folder, "part.jsonl")

        def interrupt(alter, number, *more):
            program = fabric.start_program([SIMINFO, "collect", "-t", "20000", "--output", path, *more],
                                           alter=alter, preload=ALTERED_ANSWERS)
            while "stalled" not in program.stderr.readline():
                self.assertIsNone(program.poll())
            program.send_signal(number)
            return program

        program = interrupt("hang", signal.SIGINT)
        # A second one of the same kind would be lost while the first one waits to be dealt with.
        for _ in range(100):
            if is_caught(program.pid, signal.SIGINT):
                time.sleep(0.01)
        self.assertIsNone(program.poll())
        program.send_signal(signal.SIGINT)
        program.communicate(timeout=10)
        self.assertEqual(program.returncode, -signal.SIGINT)
        self.assertEqual([name for name in os.listdir(fabric.folder) if "part" in name], [])

        for end in (signal.SIGINT, signal.SIGTERM):
            program = interrupt("stall", end)
            _, err = program.communicate(timeout=10)
            self.assertEqual(program.returncode, 5, err)
            self.assert_line(err, "warning: interrupted")
            with open(path, encoding="utf-8") as file:
                text = file.read()
            self.assertIn('"not asked: interrupted"', text)
            check_generates(fabric, text)
            os.remove(path)

        # A file that is there stays, unless it is told to go.
        for more, replaced in ([], False), (["--partial"], True):
            with open(path, "w", encoding="utf-8") as file:
                file.write("whole")
            _, err = interrupt("stall", signal.SIGINT, *more).communicate(timeout=10)
            with open(path, encoding="utf-8") as file:
                self.assertEqual(file.read() != "whole", replaced, err)
            self.assertEqual(os.path.exists(path + ".partial"), not replaced)
            self.assertEqual("part.jsonl.partial" in err, not replaced)
            if not replaced:
                os.remove(path + ".partial")

    def test_walks_no_fabric_for_a_file_that_cannot_be_written(self):
        fabric = self.run_fat_tree(1, 1, 1)
        for path in (os.path.join(fabric.folder, "no", "such", "folder"), fabric.folder):
            status, _, err = fabric.run([SIMINFO, "collect", "--output", path])
            self.assertEqual(status, 3, err)
            self.assertNotIn("SMPs", err)

    def test_a_fabric_that_falls_silent_is_given_up(self):
        # As many at a time as are unanswered when it is given up.
        partial = Collected(self.run_fat_tree(*LARGE), "-t", "10", "--outstanding-smps", "8", alter="stall", status=5)
        self.assertGreater(len(partial.nodes), 20)
        # 300 were answered. Then, in discovery and afterwards: those under way, a look at the nearest device
        # and those that came up meanwhile, each of them four times; and as much again for a busy machine.
        self.assertLess(partial.packets, 300 + 2 * 2 * (8 + 1 + 8) * 4)
        silent = "not asked: the fabric had stopped answering"
        said = re.findall(rf"(\d+) nodes or ports: (SMP_\w+): {silent}$", partial.err, re.MULTILINE)
        holders = [holder for node in partial.nodes.values() for holder in (node, *node["ports"])]
        counts = collections.Counter(record for holder in holders
                                     for record, reason in holder.get("absent", {}).items() if reason == silent)
        self.assertEqual([(int(count), record) for count, record in said],
                         [(count, record) for record, count in sorted(counts.items())])
        self.assertGreater(counts["SMP_PortInfo"], 100)


if __name__ == "__main__":
    SIMINFO, ALTERED_ANSWERS = sys.argv[1], sys.argv[2]
    if ibsim.missing():
        print("SKIPPED, nothing was tried: missing " + ibsim.missing())
        sys.exit(77)
    unittest.main(argv=[sys.argv[0]] + sys.argv[3:])
