#!/usr/bin/env python3
"""Lets tools that nobody here wrote talk to served nodes, and clients that no tool would be.

    serve_test.py SIMINFO [unittest's arguments]

Exits with 77 where a tool is missing.
"""
import glob
import json
import os
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
from garbage import Garbage

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
NODES = ["sw1-reduction", "sw2-plain", "sw3-partial", "host-1 HCA-1", "rtr-1", "an-1"]  # of the small fabric
# What a model restored, by bit and bits.
KEPT = {raw.PORT_INFO: [(160, 32), (208, 16), (240, 8), (256, 4), (332, 4), (480, 16), (500, 4)],
        raw.SWITCH_INFO: [(0, 48), (94, 2), (96, 37)]}


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
    nodes["sw3-partial"]["absent"]["SMP_SwitchInfo"] = "status 0x0014"
    nodes["sw1-reduction"]["ports"][1]["absent"] = {"SMP_PortInfoExtended": "timed out"}
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
        self.wait_until(lambda: "NodeDescription" in told("saquery"))  # a manager at work is too busy to tell
        self.assertIn(" 0 ports have errors", str(fabric.run("ibqueryerrors", host="host-005-05")))
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
        with open(self.small, encoding="utf-8") as file:
            given = fields(file.read())
        with self.serving(self.small, "--exact-ports", *options) as fabric:
            self.assert_places_on_the_wire(fabric, given)
            self.set_key(fabric)
            # Switches refuse what they were not recorded with, which counts as collected in part.
            first = self.collect(fabric, *options, status=5)
            self.assert_router_info_needs_its_layout(fabric)
        path = self.write("first.jsonl", first)
        with self.serving(path, "--exact-ports", *options) as fabric:
            second = self.collect(fabric, *options, status=5)
        self.assertEqual(body(second), body(first))  # the key of one of them apart
        self.assertEqual(differences(given, fields(first)), self.documented(given))
        told = dict(re.findall(r'"name":"([^"]+)".*?"SMP_SwitchInfo":"(status[^"]+)"', first))
        self.assertEqual(told, {"sw3-partial": "status 0x0014"})
        self.assertIn('"SMP_PortInfoExtended":"timed out"', first)

    def assert_places_on_the_wire(self, fabric, given):
        with Client(fabric.name, "sw1-reduction") as client:
            extended = client.smp(0x33, 2)[1]
        for field, place in {"CapMsk": (0, 32), "FECModeActive": (32, 16), "FDRFECModeSupported": (48, 16),
                             "EDRFECModeSupported": (80, 16), "HDRFECModeSupported": (112, 16),
                             "NDRFECModeSupported": (144, 16)}.items():
            expected = given["sw1-reduction port 2 SMP_PortInfoExtended." + field]
            self.assertEqual(raw.bits(extended, *place), expected, field)

    @staticmethod
    def set_key(fabric):
        with Client(fabric.name, "sw1-reduction") as client:
            port = raw.with_bits(client.smp(raw.PORT_INFO)[1], 0, 64, 0x5ec2e7c0ffee4b1d)
            client.smp(raw.PORT_INFO, 0, (), raw.SET, raw.with_bits(port, 260, 8, 0))

    def assert_router_info_needs_its_layout(self, fabric):
        _, text, err = fabric.run(SIMINFO, "collect")
        self.assertIn('"SMP_RouterInfo":"not asked: unknown to the InfiniBand libraries"', text)
        self.assertRegex(err, "SMP_RouterInfo.* 1; --attribute-layouts")
        wrong = self.write("wrong", LAYOUTS.replace("0xff11", "0x7abc"))
        _, text, err = fabric.run(SIMINFO, "collect", "--attribute-layouts", wrong)
        self.assertIn('"SMP_RouterInfo":"status 0x000c"', text)
        self.assertRegex(err, "rtr-1 .*SMP_RouterInfo.*status 0x000c")

    @staticmethod
    def documented(given):
        """In which fields what is served is not what was recorded."""
        # IsSM belongs to the clients; an adapter's ports have the record of the first, and a switch's ports have
        # one PortInfoExtended; collect does not ask ports whose CapMsk says that they have none.
        found = {"host-1 HCA-1 port 1 SMP_PortInfo.CapMsk": 0x2010000,
                 "host-1 HCA-1 port 2 SMP_PortInfo.CapMsk": 0x2010000,
                 "sw1-reduction port 0 SMP_PortInfo.CapMsk": 0xfffffffd}
        for key in given:
            holder, field = key.split(" SMP_")
            if holder == "sw1-reduction port 3" and "FECModeSupported" in field:
                found[key] = given[key.replace("port 3", "port 2")]
            if holder.startswith(("an-1", "host-1")) and field.startswith("PortInfoExtended"):
                found[key] = None
            # The frame of this node is a comment, for want of an ordinary port.
            if holder.startswith("sw3-partial port"):
                found[key] = 0
        return {key: (given[key], value) for key, value in found.items()}

    def test_links_to_nodes_that_are_not_selected_lead_nowhere(self):
        with self.serving(self.write("selected.jsonl", small_fabric()), "--name-match", "sw*") as fabric, \
                Client(fabric.name) as client:
            found = [client.smp(raw.NODE_INFO, route=route)[0] for route in [(), (3,), (4,), (2,), (5,)]]
            self.assertEqual(found, [0, 0, 0, "timed out", "timed out"])
            port = client.smp(raw.PORT_INFO, 2)[1]
            self.assertEqual([raw.bits(port, *place) for place in [(260, 4), (248, 8)]], [4, 2], "as recorded")
            fabric.ended_by = signal.SIGHUP  # as when a terminal is closed
        self.assertIn("serving 3 nodes", fabric.errors)
        self.assertEqual((fabric.status, serving.open_sockets(fabric.name)), (0, []), fabric.errors)

    # Single requests, and clients that no tool would be.

    def program(self, *options, build="build"):
        """The server of the small fabric by itself, with sanitizers in the build "checked"."""
        cache = os.path.join(CACHE, "small")
        if not os.path.exists(cache):
            environment = dict(os.environ, XDG_CACHE_HOME=cache, **serving.SANITIZERS)
            built = subprocess.run([SIMINFO, "serve", self.small, "--", "true"], env=environment, cwd=self.folder,
                                   capture_output=True, text=True, check=False)
            self.assertEqual(built.returncode, 0, built.stderr)
        root, = glob.glob(os.path.join(cache, "siminfo/serve/*"))
        if not os.path.exists(f"{root}/{build}/fabric_server"):
            flags = "-DCMAKE_CXX_FLAGS=-fsanitize=address,undefined -fno-sanitize-recover=all"
            subprocess.run(["cmake", "-S", f"{root}/program", "-B", f"{root}/{build}", flags], check=True,
                           capture_output=True)
            subprocess.run(["cmake", "--build", f"{root}/{build}", "--target", "fabric_server", "--parallel", "2"],
                           check=True, capture_output=True)
        return Program(root, build, *options)

    def test_packets_go_where_cables_lead_and_refusals_have_the_status_of_the_architecture(self):
        with self.program() as fabric, Client(fabric.name, "host-1 HCA-1") as client:
            arrivals = {(): [], (1,): [2], (1, 3): [2, 2], (1, 3, 1): [2, 2, 2], (1, 2): [2, 1], (1, 6): [2, 1]}
            for route, ports in arrivals.items():
                status, data = client.smp(raw.NODE_INFO, route=route)
                self.assertEqual((status, raw.bits(data, 288, 8)), (0, ports[-1] if ports else 1), route)
                self.assertEqual(list(client.arrivals), ports)
            for route in [(2,), (1, 1), (1, 3, 3), (1, 2, 1), (1, 0), (1, 255), (1,) * 63]:
                self.assertEqual(client.smp(raw.NODE_INFO, route=route)[0], "timed out", route)
            switch = (1,)
            for expected, call in [(0x0008, {"method": 0x0d}), (0x000c, {"attribute": 0x99}),
                                   (0x000c, {"attribute": 0xff11}),
                                   (0x000c, {"route": (), "attribute": raw.SWITCH_INFO}), (0x000c, {"method": raw.SET}),
                                   (0x001c, {"attribute": raw.PORT_INFO, "modifier": 7}),
                                   (0x001c, {"attribute": raw.LINEAR_TABLE, "modifier": 0x3ff}),
                                   (0x001c, {"attribute": raw.LINEAR_TABLE, "modifier": 0x04000000}),
                                   (0x001c, {"attribute": 0x1b, "modifier": 0xf0000000}),
                                   (0x001c, {"attribute": 0x16, "modifier": 0x00ff0000}),
                                   (0x001c, {"attribute": 0x17, "modifier": 0xff07}),
                                   (0x001c, {"attribute": 0x18, "modifier": 0x50001}),
                                   (0x0014, {"attribute": raw.SWITCH_INFO, "route": (1, 4)}),
                                   ("timed out", {"attribute": 0x33, "modifier": 1})]:
                self.assertEqual(client.smp(**{"attribute": raw.NODE_INFO, "route": switch, **call})[0], expected, call)
            self.assertEqual(client.request(0x0b, raw.GET, 1, lid=1)[0], 0x0004)
            self.assertEqual(client.request(raw.PERFORMANCE, raw.GET, 0x12, data=b"\0\7", lid=1)[0], 0x001c)

    def test_tables_that_are_set_lead_packets_and_counters_keep_what_is_written(self):
        with self.program() as fabric, Client(fabric.name, "host-1 HCA-1") as client:
            def guid_at(lid):
                status, data = client.request(raw.SMP_BY_LID, raw.GET, raw.NODE_INFO, lid=lid)
                return raw.bits(data, 96, 64) & 0xff if status == 0 else status
            self.assertEqual([guid_at(lid) for lid in (1, 2, 3, 4, 7, 8)], [0x41, 0x43, 0x42, 0x51, 0x71, "timed out"])
            _, table = client.smp(raw.LINEAR_TABLE, route=(1,))
            client.smp(raw.LINEAR_TABLE, route=(1,), method=raw.SET, data=table[:7] + b"\4" + table[8:])
            self.assertEqual(guid_at(7), "timed out")
            counters = bytes([0, 2]) + b"\x10\x01" + bytes([0, 9]) + bytes(18) + b"\0\0\1\0" + bytes(36)
            for management in (raw.SET, raw.GET):
                given = counters if management == raw.SET else b"\0\2"
                status, data = client.request(raw.PERFORMANCE, management, 0x12, data=given, lid=1)
                self.assertEqual((status, raw.bits(data, 32, 16), raw.bits(data, 192, 32)), (0, 9, 0x100))

    def test_what_a_model_restored_no_manager_sets(self):
        with self.program("--init") as fabric, Client(fabric.name, "host-1 HCA-1") as client:
            for attribute, places in KEPT.items():
                before = client.smp(attribute, route=(1,))[1]
                ones = b"\xff" * 64
                ones = raw.with_bits(ones, 260, 8, 0) if attribute == raw.PORT_INFO else raw.with_bits(ones, 48, 16, 5)
                status, after = client.smp(attribute, route=(1,), method=raw.SET, data=ones)
                self.assertEqual(status, 0)
                for place in places:
                    self.assertEqual(raw.bits(after, *place), raw.bits(before, *place), (attribute, place))
                self.assertNotEqual(before, after)
            # A switch has one address, which is not that of its cables' ports.
            client.smp(raw.PORT_INFO, 2, (1,), raw.SET, raw.with_bits(b"\xff" * 64, 260, 8, 0))
            lids = [raw.bits(client.smp(raw.PORT_INFO, port, (1,))[1], 128, 16) for port in (0, 2)]
            self.assertEqual(lids, [0xffff, 0])
            # Zeros leave the enabled widths and speeds alone, and ones stand for all that are supported.
            self.assertEqual(client.smp(raw.PORT_INFO, 2, (1,), raw.SET, bytes(64))[0], 0)
            port = client.smp(raw.PORT_INFO, 2, (1,))[1]
            self.assertEqual((port[29], port[35] & 15), (port[30], port[32] >> 4))

    def test_a_link_that_is_cut_is_told_to_the_manager_alone(self):
        with self.program() as fabric, Client(fabric.name, "host-1 HCA-1") as manager, \
                Client(fabric.name, "0x2c90000000071") as other:
            self.assertEqual(other.request(raw.SMP_BY_LID, raw.GET, raw.MANAGER_INFO, lid=4)[0], 0x000c)
            manager.ask(9, b"\1\0\0\0")
            self.assertEqual(raw.bits(manager.smp(raw.PORT_INFO)[1], 160, 32) & 2, 2)
            self.assertEqual(manager.smp(raw.SWITCH_INFO, route=(1,))[1][11] & 4, 0)
            _, port = manager.smp(raw.PORT_INFO, route=(1,))
            port = raw.with_bits(raw.with_bits(port, 144, 16, 4), 260, 8, 0)
            manager.smp(raw.PORT_INFO, route=(1,), method=raw.SET, data=port)
            self.assertEqual(manager.smp(raw.PORT_INFO, 6, (1,), raw.SET, raw.with_bits(bytes(64), 264, 4, 3))[0], 0)
            error, trap = manager.receive()
            self.assertEqual((error, trap[1], trap[3], trap[68:72], trap[74:76]),
                             (0, raw.SMP_BY_LID, raw.TRAP, b"\0\x80\0\1", b"\0\1"))
            self.assertEqual(manager.smp(raw.NODE_INFO, route=(1, 6))[0], "timed out")
            self.assertEqual(other.smp(raw.NODE_INFO, route=(1,))[0], "timed out")
            self.assertEqual(raw.bits(other.smp(raw.PORT_INFO)[1], 260, 8), 0x12, "Down and Polling at the other end")
            self.assertEqual(manager.smp(raw.SWITCH_INFO, route=(1,))[1][11] & 4, 4)
            manager.smp(raw.SWITCH_INFO, 0, (1,), raw.SET, manager.smp(raw.SWITCH_INFO, route=(1,))[1])
            self.assertEqual(manager.smp(raw.SWITCH_INFO, route=(1,))[1][11] & 4, 0)
            status, _ = other.smp(raw.PORT_INFO, 1, (), raw.SET, raw.with_bits(bytes(64), 260, 4, 1))
            self.assertEqual((status, raw.bits(other.smp(raw.PORT_INFO)[1], 260, 4)), (0, 1), "the other end is off")
            manager.smp(raw.PORT_INFO, 6, (1,), raw.SET, raw.with_bits(bytes(64), 264, 4, 2))
            self.assertEqual(raw.bits(other.smp(raw.PORT_INFO)[1], 260, 8), 0x25, "Initialize and LinkUp again")
            for state, expected in [(4, 0x001c), (2, 0x001c), (3, 0), (4, 0), (3, 0x001c)]:
                data = raw.with_bits(bytes(64), 260, 4, state)
                self.assertEqual(other.smp(raw.PORT_INFO, 1, (), raw.SET, data)[0], expected, state)

    def test_managers_are_asked_by_clients_and_idle_ones_stay(self):
        with self.program() as fabric, Client(fabric.name, "an-1") as manager, \
                Client(fabric.name, "host-1 HCA-1") as client:
            manager.ask(9, b"\1\0\0\0")
            time.sleep(1.2)  # longer than the server's looks for clients that are gone
            for management, route, direction, lids in [(raw.SMP_BY_LID, (), b"\0\0", (7, 4)),
                                                       (raw.SMP_BY_ROUTE, (1, 6), b"\x80\0", (0xffff, 0xffff))]:
                question = client.mad(management, raw.GET, raw.MANAGER_INFO, route=route)
                client.send(question, lids[0])
                _, asked = manager.receive()
                self.assertEqual(asked[64:192], question[64:192])
                manager.send(asked[:3] + b"\x81" + direction + asked[6:64] + b"manager".ljust(64, b"\0") + asked[128:],
                             lids[1])
                error, answer = client.receive()
                self.assertEqual((error, answer[1], answer[3], answer[8:16], answer[64:71]),
                                 (0, management, 0x81, question[8:16], b"manager"))
            client.send(client.mad(raw.SA, raw.GET, raw.PATH_RECORD), 7)
            late = manager.receive()[1]
            manager.send(late[:3] + b"\x81" + late[4:], 4)
            client.receive()
            self.assertEqual((manager.received, client.received), (256, 224), "no more than its library keeps")
            number = client.id
            client.__exit__()
            with Client(fabric.name, "host-1 HCA-1") as next_client:
                manager.send(late[:3] + b"\x81" + late[4:], 4)
                manager.smp(raw.NODE_INFO)
                next_client.mads.settimeout(0.2)
                self.assertEqual(next_client.id, number)
                with self.assertRaises(TimeoutError, msg="the answer is to the client before it"):
                    next_client.receive()

    def test_no_client_ends_or_confuses_the_server(self):
        """Forty turns of garbage, or as many as the seconds of GARBAGE_SECONDS have time for."""
        garbage = None
        with self.program(build="checked") as fabric:
            before = self.told_by_each(fabric.name)
            with Client(fabric.name, "sw2-plain") as good:
                garbage = Garbage(fabric.name, NODES, int(os.environ.get("GARBAGE_SEED", 1)))
                end, turns = time.monotonic() + float(os.environ.get("GARBAGE_SECONDS", 0)), 0
                while turns < 40 or time.monotonic() < end:
                    garbage.turn()
                    turns += 1
                    self.assertEqual(good.smp(raw.NODE_INFO), before["sw2-plain"][0], turns)
                with raw.socket.socket(raw.socket.AF_UNIX, raw.socket.SOCK_DGRAM) as stranger, \
                        self.assertRaises(PermissionError):
                    stranger.sendto(bytes(288), raw.address(f"{fabric.name}:out{good.id}"))
            self.assertEqual(self.told_by_each(fabric.name), before)
            with Client(fabric.name, "sw1-reduction") as near, Client(fabric.name, "host-1 HCA-1") as far:
                for client, port in (near, 2), (far, 1):  # whoever cut the link
                    polling = raw.with_bits(bytes(64), 264, 4, 2)
                    self.assertEqual(client.smp(raw.PORT_INFO, port, (), raw.SET, polling)[0], 0)
                self.assertEqual(raw.bits(far.smp(raw.NODE_INFO, route=(1,))[1], 96, 64) & 0xff, 0x41)
        self.assertEqual((fabric.status, "untime error" in fabric.errors), (0, False), fabric.errors[-4000:])
        self.assertRegex(fabric.errors, r"served: .*SMPs by route \d+ answered, \d+ refused, \d+ timed out")
        if "GARBAGE_SECONDS" in os.environ:
            print(f"{turns} clients, messages: {dict(garbage.sent)}; {fabric.errors.splitlines()[-1]}")

    @staticmethod
    def told_by_each(name):
        """What no client can set, as every node tells it to a program of its own."""
        told = {}
        for node in NODES:
            with Client(name, node) as client:
                told[node] = [client.smp(raw.NODE_INFO), client.smp(0x10)]
                told[node] += [raw.bits(client.smp(attribute)[1], *place)
                               for attribute, places in KEPT.items() for place in places]
        return told

    def test_clients_that_die_are_forgotten_and_the_eleventh_is_refused(self):
        with self.program() as fabric:
            ten = [Client(fabric.name) for _ in range(10)]
            with self.assertRaises(raw.Refused):
                Client(fabric.name)
            with self.assertRaises(raw.Refused):
                Client(fabric.name, "nobody")
            for each in ten:
                each.kill()
            with Client(fabric.name) as client:
                self.assertEqual(client.smp(raw.NODE_INFO)[0], 0)
            second = subprocess.run(fabric.command, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                    check=False)
            self.assertEqual((second.returncode, second.stdout), (1, ""))
            self.assertIn(f"the socket name {fabric.name} is taken", second.stderr)
        self.assertIn("10 clients are there already", fabric.errors)
        self.assertIn("no node has the name or GUID", fabric.errors)

    def test_the_file_of_who_is_served_is_checked(self):
        with self.program() as fabric:
            with open(fabric.command[2], encoding="utf-8") as file:
                lines = file.read().splitlines()
        for number, line, words in [(1, "node", "first"),
                                    (2, lines[1].replace("AN_", "AX_", 1), "no model is called AX_"),
                                    (2, "other", '"other": expected node'), (3, lines[2] + "\t1", "expected 9"),
                                    (3, lines[2].replace("port\t1", "port\t99"), "value 1"),
                                    (3, lines[2].replace("port\t1", "port\tx"), "expected a number"),
                                    (2, lines[1].replace("\t616e", "\t6x6e"), "not hexadecimal")]:
            path = self.write("wrong", "\n".join([*lines[:number - 1], line, *lines[number:]]) + "\n")
            wrong = subprocess.run([*fabric.command[:2], path, *fabric.command[3:]], stdin=subprocess.DEVNULL,
                                   capture_output=True, text=True, check=False)
            self.assertEqual((wrong.returncode, wrong.stdout), (1, ""))
            self.assertIn(f"{path}:{number}: ", wrong.stderr)
            self.assertIn(words, wrong.stderr)

    def test_nothing_is_left_behind_and_what_is_missing_is_named(self):
        self.program()  # so that it is built
        environment = dict(os.environ, XDG_CACHE_HOME=os.path.join(CACHE, "small"), **serving.SANITIZERS)
        name = serving.new_name()

        def serve(*arguments, **changes):
            return subprocess.run([SIMINFO, "serve", self.small, *arguments], env=dict(environment, **changes),
                                  cwd=self.folder, capture_output=True, text=True, check=False)
        ended = serve("--socket", name, "--from", "an-1", "--", "sh", "-c",
                      "smpquery nodedesc -D 0; echo $SIM_HOST; exit 7")
        self.assertEqual(ended.returncode, 7, ended.stderr)
        self.assertRegex(ended.stdout, r"Node Description:\.+an-1\n0x0002c90000000071\n")
        self.assertEqual(serving.open_sockets(name), [])
        with self.serving(self.small) as fabric:
            taken = serve("--socket", fabric.name, "--", "true")
            self.assertEqual(taken.returncode, 3)
            self.assertIn("is taken", taken.stderr)
            killed = subprocess.Popen([SIMINFO, "serve", self.small, "--socket", name, "--", "sleep", "1"],
                                      env=environment, cwd=self.folder, stderr=subprocess.DEVNULL)
            self.wait_until(lambda: serving.open_sockets(name))
            killed.kill()
            killed.wait()
            self.wait_until(lambda: not serving.open_sockets(name))
        self.assertEqual((fabric.status, serving.open_sockets(fabric.name)), (0, []), fabric.errors)
        self.assertFalse(glob.glob(os.path.join(self.folder, "sys-*")))
        for program, words in ("true", 'there is no program "true"'), ("/bin/true", "install the package cmake"):
            missing = serve("--", program, PATH=self.folder)
            self.assertEqual(missing.returncode, 3)
            self.assertIn(words, missing.stderr)
        twice = small_fabric().replace("0x2c90000000071", "0x2c90000000051")
        both = subprocess.run([SIMINFO, "serve", self.write("twice.jsonl", twice), "--from", "host-1 HCA-1", "--",
                               "sh", "-c", 'smpquery nodedesc -D 0; exec "$0" collect', SIMINFO], cwd=self.folder,
                              env=dict(environment, XDG_CACHE_HOME=CACHE), capture_output=True, text=True, check=False)
        self.assertRegex(both.stdout, r"Node Description:\.+host-1 HCA-1\n")
        self.assertEqual((both.returncode, len(re.findall('^{"name"', both.stdout, re.M))), (5, 5), both.stderr)
        self.assertIn("port 6: has the GUID 0x0002c90000000051 of another device", both.stderr)
        wide = self.write("wide.jsonl", '{"fabric_snapshot":1}\n' + "".join(
            f'{{"name":"{i}","guid":{i},"type":2,"num_ports":254}}\n' for i in range(1, 800)))
        for limit, status in ("2000", 0), ("300", 3):
            limited = subprocess.run([SIMINFO, "serve", wide, "--memory-limit", limit, "--", "true"], cwd=self.folder,
                                     env=dict(environment, XDG_CACHE_HOME=CACHE), capture_output=True, text=True,
                                     check=False)
            self.assertEqual(limited.returncode, status, limited.stderr)
        self.assertIn("the nodes with all their ports need more memory", limited.stderr)
        spaced = serve("--socket", "a b", "--", "true")
        self.assertEqual(spaced.returncode, 2)
        self.assertIn('"a b" is not a name for sockets', spaced.stderr)
        unknown = serve("--from", "nobody", "--", "true")
        self.assertEqual(unknown.returncode, 3)
        self.assertIn("nobody", unknown.stderr)


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
