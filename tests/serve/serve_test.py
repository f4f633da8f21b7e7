#!/usr/bin/env python3
"""Lets tools that nobody here wrote talk to served nodes, and clients that no tool would be.

    serve_test.py SIMINFO [unittest's arguments]

Exits with 77 where a tool is missing.
"""
import glob
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import client as raw
import serving
import fat_tree
import ibsim
from client import Client

SIMINFO, CACHE = "", ""
ROOT = os.path.join(serving.HERE, "..", "..")
STANDARD = ("SMP_NodeInfo", "SMP_SwitchInfo", "SMP_RouterInfo", "SMP_PortInfo", "SMP_PortInfoExtended")
LAYOUTS = """SMP_RouterInfo attribute 0xff11
SMP_RouterInfo.CapabilityMask bit 64
SMP_RouterInfo.NextHopTableCap bit 96
SMP_RouterInfo.AdjacentSiteLocalSubnetsTableCap bit 0
SMP_RouterInfo.ar_group_to_router_lid_table_cap bit 16
SMP_RouterInfo.cap_supported_subnets bit 32
SMP_RouterInfo.cap_router_lid bit 40
SMP_PortInfo.LinkSpeedExtSup2 bit 456
"""


def body(snapshot):
    return snapshot.split("\n", 1)[1]


def topology(text):
    """What ibnetdiscover printed, but for the time in its head."""
    return re.sub(r"# Topology file: generated on .*", "", text)


def fields(snapshot, records=STANDARD):
    """Every field of these records that a snapshot has, by node, port, record and field."""
    found = {}
    for node in map(json.loads, body(snapshot).splitlines()):
        holders = [(node["name"], node)]
        holders += [(f"{node['name']} port {port['num']}", port) for port in node.get("ports", [])]
        for holder, document in holders:
            for record, values in document.get("records", {}).items():
                if record in records:
                    found.update({f"{holder} {record}.{field}": value for field, value in values.items()})
    return found


def differences(left, right):
    return {key: (left.get(key), right.get(key)) for key in sorted(left.keys() | right.keys())
            if left.get(key) != right.get(key)}


def small_fabric():
    """The small example, its nodes linked, and the router with what a walk needs."""
    with open(os.path.join(ROOT, "examples/small_fabric.json"), encoding="utf-8") as file:
        text, decoder, documents = file.read().strip(), json.JSONDecoder(), []
    while text:
        document, end = decoder.raw_decode(text)
        documents.append(document)
        text = text[end:].strip()
    nodes = {node["name"]: node for node in documents[1:]}
    router = nodes["rtr-1"]
    del router["absent"]
    del router["ports"][0]["in_sub_fabric"]
    router["records"]["SMP_NodeInfo"] = nodes["an-1"]["records"]["SMP_NodeInfo"]
    lids = {"sw1-reduction": 1, "sw2-plain": 2, "sw3-partial": 3, "host-1 HCA-1": 4, "rtr-1": 6, "an-1": 7}
    for name, lid in lids.items():
        port = nodes[name]["ports"][0]
        port.update(lid=lid, guid=nodes[name]["guid"] + 0x1000 if isinstance(nodes[name]["guid"], int)
                    else hex(int(nodes[name]["guid"], 16) + 0x1000))
    for near, port, far, far_port in [("sw1-reduction", 2, "host-1 HCA-1", 1), ("sw2-plain", 1, "host-1 HCA-1", 2),
                                      ("sw1-reduction", 3, "sw2-plain", 2), ("sw1-reduction", 4, "sw3-partial", 1),
                                      ("sw1-reduction", 5, "rtr-1", 1), ("sw1-reduction", 6, "an-1", 1)]:
        for one, number, other, other_number in [(near, port, far, far_port), (far, far_port, near, port)]:
            entry = next(entry for entry in nodes[one]["ports"] if entry["num"] == number)
            entry["link"] = {"node": other, "port": other_number, "width": 2, "speed": 4, "speed_ext": 8}
    return "".join(json.dumps(document) + "\n" for document in documents)


class ServeTest(unittest.TestCase):
    maxDiff = 4000

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="siminfo-serve-test-")
        cls.small = cls.write("small.jsonl", small_fabric())
        cls.layouts = cls.write("layouts", LAYOUTS)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    @classmethod
    def write(cls, name, text):
        path = os.path.join(cls.folder, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def serving(self, snapshot, *options):
        return serving.Serving(SIMINFO, CACHE, snapshot, *options)

    def collect(self, fabric, *options, status=0):
        found, out, err = fabric.run(SIMINFO, "collect", *options)
        self.assertEqual(found, status, err)
        return out

    # The circle.

    def recorded(self):
        """A fabric of about 500 nodes as ibsim plays it and opensm brought it up: snapshot and topology."""
        path = self.write("tree.net", fat_tree.fat_tree(24, 12, 19).replace("Hca 2", "Hca 1"))
        with ibsim.Ibsim(path) as fabric:
            fabric.environment.update(OSM_CACHE_DIR=fabric.folder, OSM_TMP_DIR=fabric.folder)
            status, out, err = fabric.run(["opensm", "--once", "-f", os.path.join(fabric.folder, "log")])
            self.assertEqual(status, 0, out + err)
            snapshot = fabric.run([SIMINFO, "collect"])
            self.assertEqual(snapshot[0], 0, snapshot[2])
            return snapshot[1], fabric.run(["ibnetdiscover"])[1]

    def test_what_is_served_is_what_was_recorded_and_opensm_brings_it_up(self):
        snapshot, told = self.recorded()
        path = self.write("tree.jsonl", snapshot)
        with self.serving(path) as fabric:
            self.assertEqual(topology(fabric.run("ibnetdiscover")[1]), topology(told))
            self.assertEqual(body(self.collect(fabric)), body(snapshot))
            self.assertEqual(fabric.run("iblinkinfo")[1].count("Active/  LinkUp"), len(re.findall(r"^\[", told, re.M)))
        self.assertRegex(fabric.errors, r"served: .*SMPs by route \d+ answered")
        self.assert_an_edited_digit_shows(snapshot)
        self.assert_subnet_manager(path)

    def assert_an_edited_digit_shows(self, snapshot):
        """The server's own program, with a digit of a model's source changed."""
        root = self.project("tree.jsonl")
        for source in glob.glob(f"{root}/dumps/fabric/fabric_models_*.cpp"):
            with open(source, encoding="utf-8") as file:
                text = file.read()
            if "::SW_" not in text:
                continue
            model = re.search(r"Model: (SW_\w+)", text)[1]
            place = text.index("mad_buffer.MCastFDBCap = 0x", text.index(f"Model: {model}")) + 27
            with open(source, "w", encoding="utf-8") as file:
                file.write(text[:place] + ("1" if text[place] != "1" else "2") + text[place + 1:])
            break
        subprocess.run(["cmake", "--build", f"{root}/build"], check=True, capture_output=True)
        with open(f"{root}/dumps/fabric/fabric_nodes.tsv", encoding="utf-8") as table:
            nodes = [line.rstrip("\n").split("\t")[3] for line in table if model in line]
        with Program(root, "build") as fabric:
            found = differences(fields(snapshot), fields(self.collect(fabric)))
        self.assertEqual(sorted(found), sorted(f"{node} SMP_SwitchInfo.MCastFDBCap" for node in nodes))

    def assert_subnet_manager(self, path):
        with self.serving(path, "--init") as fabric:
            for number in "12":
                log = os.path.join(fabric.folder, "log" + number)
                self.assertEqual(fabric.run("opensm", "--once", "-f", log)[0], 0)
                with open(log, encoding="utf-8", errors="replace") as file:
                    text = file.read()
                self.assertIn("SUBNET UP", text)
                self.assertNotIn("ERR ", text)
            manager = fabric.start("opensm", "-f", os.path.join(fabric.folder, "log3"))
            try:
                self.assert_links_come_and_go(fabric)
            finally:
                manager.send_signal(signal.SIGTERM)
                manager.communicate()

    def assert_links_come_and_go(self, fabric):
        def told(*command):
            return fabric.run(*command, host="host-005-05")[1]
        self.wait_until(lambda: "SMINFO_MASTER" in told("sminfo"))
        self.assertIn("NodeDescription", told("saquery"))
        self.assertIn(" 0 ports have errors", told("ibqueryerrors"))
        switch = re.search(r'^Switch.*# "leaf-001" .* lid (\d+) lmc', told("ibnetdiscover"), re.M)[1]
        self.assertEqual(len(re.findall(r"^\[\d+\] -> ", told("ibtracert", self.own_lid(told), switch), re.M)), 3)
        self.assertIn("Disabled", told("ibportstate", switch, "1", "disable"))
        # Only the trap tells the manager that the host is gone, and that it is back.
        self.wait_until(lambda: "Down" in told("smpquery", "portinfo", switch, "1"))
        self.assertIn("Initialize", told("ibportstate", switch, "1", "enable"))
        self.wait_until(lambda: "Active" in told("smpquery", "portinfo", switch, "1"))

    @staticmethod
    def own_lid(told):
        return str(int(re.search(r"LID start (0x\w+)", told("ibaddr"))[1], 16))

    def wait_until(self, holds, seconds=20):
        end = time.monotonic() + seconds
        while not holds():
            self.assertLess(time.monotonic(), end, "nothing came of it")
            time.sleep(0.05)

    @staticmethod
    def project(snapshot):
        """The folder that was built for the snapshot of this name."""
        nodes = {"tree.jsonl": "spine-000", "small.jsonl": "sw1-reduction"}[snapshot]
        for root in glob.glob(os.path.join(CACHE, "siminfo/serve/*")):
            with open(os.path.join(root, "served_fabric.tsv"), encoding="utf-8") as file:
                if nodes in file.read():
                    return root
        raise AssertionError("nothing was built of " + snapshot)

    def test_nodes_that_no_simulator_has_are_served_but_for_what_the_documentation_lists(self):
        options = ("--attribute-layouts", self.layouts)
        with self.serving(self.small, "--exact-ports", *options) as fabric:
            # Switches refuse what they were not recorded with, which counts as collected in part.
            first = self.collect(fabric, *options, status=5)
        path = self.write("first.jsonl", first)
        with self.serving(path, "--exact-ports", *options) as fabric:
            second = self.collect(fabric, *options, status=5)
        self.assertEqual(body(second), body(first))
        with open(self.small, encoding="utf-8") as file:
            given = fields(file.read())
        print(json.dumps(differences(given, fields(first)), indent=1))


class Program(serving.Serving):
    """The server of a built project by itself."""

    def __init__(self, root, build, *options):
        super().__init__(SIMINFO, CACHE, "")
        self.command = [f"{root}/{build}/fabric_server", "--fabric", f"{root}/served_fabric.tsv", "--socket", self.name,
                        *options]

    def __enter__(self):
        self.folder = tempfile.mkdtemp(prefix="siminfo-serve-")
        with open(os.path.join(self.folder, "errors"), "wb") as errors:
            self.process = subprocess.Popen(self.command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                            stderr=errors, env=self.environment)
        ready = self.process.stdout.readline()
        self.clients = {"LD_PRELOAD": ibsim.wrapper(), "IBSIM_SOCKNAME": self.name}
        if not ready.startswith("ready\t"):
            self.__exit__()
            raise AssertionError(self.errors)
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        super().__exit__()


if __name__ == "__main__":
    SIMINFO = os.path.abspath(sys.argv[1])
    MISSING = [name for name in ("cmake", "opensm", "ibnetdiscover")
               if not shutil.which(name, path=os.environ["PATH"] + ":/usr/sbin:/sbin")]
    if MISSING or ibsim.missing():
        print("SKIPPED: missing:", *MISSING, ibsim.missing())
        sys.exit(77)
    with tempfile.TemporaryDirectory(prefix="siminfo-serve-cache-") as CACHE:
        unittest.main(argv=sys.argv[:1] + sys.argv[2:])
