#!/usr/bin/env python3
"""Tries `siminfo collect` on simulated fabrics.

    collect_test.py SIMINFO ALTERED_ANSWERS [unittest's arguments]

Exits with 77 where the simulator is missing.
"""
import collections
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
import smpquery

SIMINFO, ALTERED_ANSWERS = "", ""
EXAMPLES = ["net", "net.1", "net.2sw2path", "net.2sw2path4hca", "net.2sw2path4hca2port"]


def generated(fabric, snapshot):
    """What `siminfo generate` says to the snapshot, without need of the fabric: exit status and errors."""
    arguments = [SIMINFO, "generate", "-", "--name", "Fab", "--one-per-class", "--output-dir", fabric.folder]
    program = subprocess.run(arguments, input=snapshot, text=True, check=False, capture_output=True)
    return program.returncode, program.stderr


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
    """What one run of `siminfo collect` gave."""

    def __init__(self, fabric, *arguments, **options):
        preload = ALTERED_ANSWERS if options.get("alter") else None
        self.status, self.text, self.err = fabric.run(
            [SIMINFO, "collect", *arguments], preload=preload, **options)
        self.parse()

    def parse(self):
        told = re.search(r"(\d+) SMPs", self.err)
        self.packets = int(told[1]) if told else None
        lines = self.text.splitlines(keepends=True)
        self.header = json.loads(lines[0]) if lines else None
        self.body = "".join(lines[1:])
        self.nodes = {int(node["guid"], 0): node for node in map(json.loads, lines[1:])}

    def absent(self):
        """Record and reason of all that is absent from nodes and ports."""
        holders = [holder for node in self.nodes.values() for holder in (node, *node.get("ports", []))]
        return [item for holder in holders for item in holder.get("absent", {}).items()]

    def records(self):
        """The records of every node and port that carries any."""
        found = {}
        for guid, node in self.nodes.items():
            found[guid] = node["records"]
            for port in node.get("ports", []):
                if "records" in port:
                    found[guid, port["num"]] = port["records"]
        return found


class CollectTest(unittest.TestCase):
    maxDiff = 4000

    def fat_tree(self, leaves, spines, hosts):
        with tempfile.NamedTemporaryFile("w", suffix=".net", delete=False) as net:
            net.write(fat_tree.fat_tree(leaves, spines, hosts))
        self.addCleanup(os.remove, net.name)
        return net.name

    def example(self, name="net.2sw2path4hca"):
        return os.path.join(ibsim.EXAMPLES, name)

    def assert_line(self, text, *parts):
        """Some line of the text has all of these."""
        self.assertTrue(any(all(part in line for part in parts) for line in text.splitlines()), text)

    def query(self, fabric, *arguments):
        status, out, err = fabric.run(["smpquery", *map(str, arguments)])
        self.assertEqual(status, 0, err)
        return smpquery.fields(out)

    def assert_as_smpquery_says(self, fabric, node):
        """Every record of the node, and every port's state, against what smpquery prints for it."""
        lid = node["lid"]
        records = {"SMP_NodeInfo": smpquery.record(smpquery.NODE_INFO, self.query(fabric, "nodeinfo", lid))}
        is_switch = node["type"] == "switch"
        if is_switch:
            records["SMP_SwitchInfo"] = smpquery.record(smpquery.SWITCH_INFO, self.query(fabric, "switchinfo", lid))
        self.assertEqual(node["records"], records)
        numbers = [port["num"] for port in node["ports"]]
        self.assertEqual(numbers, list(range(0 if is_switch else 1, node["num_ports"] + 1)))
        for port in node["ports"]:
            printed = self.query(fabric, "portinfo", lid, port["num"])
            self.assertEqual(port["records"]["SMP_PortInfo"], smpquery.port_info(printed))
            self.assertEqual(port["state"], smpquery.STATES[printed["LinkState"]])

    def test_every_field_equals_what_smpquery_prints(self):
        with ibsim.Ibsim(os.path.join(ibsim.HERE, "fields.net")) as fabric:
            fabric.start_subnet_manager()
            collected = Collected(fabric)
            self.assertEqual((collected.status, collected.err.count("warning")), (0, 0), collected.err)
            _, topology, _ = fabric.run(["ibnetdiscover"])
            lids = dict(re.findall(r'^Switch.*"S-(\w+)".* lid (\d+) lmc', topology, re.MULTILINE))
            for block in re.findall(r'^Ca.*?(?=\n\n|\Z)', topology, re.MULTILINE | re.DOTALL):
                lids[re.search(r'"H-(\w+)"', block)[1]] = re.search(r"# lid (\d+) lmc", block)[1]
            self.assertEqual({int(guid, 16) for guid in lids}, set(collected.nodes))
            told = [node["records"]["SMP_NodeInfo"] for node in collected.nodes.values()]
            for field in ("VendorID", "DeviceID"):
                self.assertEqual(len({info[field] for info in told}), 4)
            for guid, lid in lids.items():
                self.assert_as_smpquery_says(fabric, dict(collected.nodes[int(guid, 16)], lid=lid))

    def assert_as_ibnetdiscover_says(self, fabric, nodes):
        """Type, port count, GUID and description of every node; returns how many ibnetdiscover found."""
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
        return len(told)

    def test_every_device_is_found_whatever_the_paths(self):
        for name in EXAMPLES:
            with self.subTest(name), ibsim.Ibsim(self.example(name)) as fabric:
                collected = Collected(fabric)
                self.assertEqual(collected.status, 0, collected.err)
                self.assertGreater(self.assert_as_ibnetdiscover_says(fabric, collected.nodes), 2)

    def test_a_large_fabric_is_collected_whole_and_the_same_twice(self):
        with ibsim.Ibsim(self.fat_tree(24, 12, 19)) as fabric:
            first = Collected(fabric)
            second = Collected(fabric, "--outstanding-smps", "8")
            self.assertEqual((first.status, second.status), (0, 0), first.err + second.err)
            self.assertEqual(first.body, second.body)
            self.assertEqual(self.assert_as_ibnetdiscover_says(fabric, first.nodes), 24 * 19 + 24 + 12)
            names = [json.loads(line)["name"] for line in first.body.splitlines()]
            self.assertEqual(names, sorted(names))
            self.assertEqual(generated(fabric, first.text)[0], 0)

    def test_a_saved_discovery_gives_what_the_live_fabric_gave(self):
        with ibsim.Ibsim(self.example()) as fabric:
            live = Collected(fabric)
            cache = os.path.join(fabric.folder, "fabric.cache")
            self.assertEqual(fabric.run(["ibnetdiscover", "--cache", cache])[0], 0)
            fabric.stop()
            saved = Collected(fabric, "--load-cache", cache, "--fabric", "hall 2")
            self.assertEqual(saved.status, 0, saved.err)
            self.assertEqual((saved.header["source"], saved.header["fabric"]), ("fabric.cache", "hall 2"))
            self.assertEqual(Collected(fabric, "--load-cache", cache, "--fabric", "a\\").status, 2)
            self.assertEqual(links_of(saved.nodes), links_of(live.nodes))
            # A discovery knows of an adapter only the ports that it came through.
            unknown = {(guid, port["num"]) for guid, node in saved.nodes.items() for port in node["ports"]
                       if "records" not in port}
            self.assertEqual(unknown, {(guid, 2) for guid, node in live.nodes.items() if node["type"] == "ca"})
            self.assertEqual(saved.records(), {at: records for at, records in live.records().items()
                                               if at not in unknown})
            with open(cache, "r+b") as file:
                file.truncate(os.path.getsize(cache) - 1)
            broken = Collected(fabric, "--load-cache", cache, "--output", "kept.jsonl")
            self.assertEqual((broken.status, broken.text), (3, ""))
            self.assert_line(broken.err, "fabric.cache", f"byte {os.path.getsize(cache)}")
            self.assertFalse(os.path.exists(os.path.join(fabric.folder, "kept.jsonl")))

    def test_port_info_extended_is_asked_where_it_is_supported(self):
        with ibsim.Ibsim(self.example()) as fabric:
            collected = Collected(fabric, alter="extended")
            self.assertEqual(collected.status, 5)
            for guid, node in collected.nodes.items():
                for port in node["ports"]:
                    if port["num"] == 3:
                        self.assertEqual(port["absent"], {"SMP_PortInfoExtended": "status 0x000c"})
                        continue
                    self.assertEqual(port["records"]["SMP_PortInfoExtended"], {
                        "CapMsk": 0x80000001, "FECModeActive": 0x10,
                        "FDRFECModeSupported": 0x100 + port["num"], "EDRFECModeSupported": 0x200 + port["num"],
                        "HDRFECModeSupported": 0x300 + port["num"], "NDRFECModeSupported": 0xffff}, guid)
            self.assert_line(collected.err, "Switch1 (0x0000000000200000)", "SMP_PortInfoExtended", "port 3",
                             "status 0x000c")

    def test_router_info_is_asked_for_where_its_layout_is_told(self):
        with ibsim.Ibsim(os.path.join(ibsim.HERE, "router.net")) as fabric:
            untold = Collected(fabric)
            self.assertEqual(untold.status, 0, untold.err)
            self.assert_line(untold.err, "SMP_RouterInfo", " 1 ", "--attribute-layouts")
            router = next(node for node in untold.nodes.values() if node["type"] == "router")
            self.assertEqual(router["absent"],
                             {"SMP_RouterInfo": "not asked: unknown to the InfiniBand libraries"})

            places = {"CapabilityMask": "256", "NextHopTableCap": "0", "AdjacentSiteLocalSubnetsTableCap": "24",
                      "ar_group_to_router_lid_table_cap": "0x10", "cap_supported_subnets": "20",
                      "cap_router_lid": "224 # PartitionCap"}
            path = os.path.join(fabric.folder, "layouts")

            def told(attribute):
                with open(path, "w", encoding="utf-8") as layouts:
                    layouts.write(f"SMP_RouterInfo attribute {attribute}\nSMP_PortInfo.LinkSpeedExtSup2 bit 240\n")
                    layouts.writelines(f"SMP_RouterInfo.{at} bit {bit}\n" for at, bit in places.items())
                return Collected(fabric, "-t", "50", "--attribute-layouts", path)

            # Simulated routers have no RouterInfo: the fields are read from their NodeInfo.
            answered = told("0x0011")
            self.assertEqual((answered.status, answered.err.count("warning")), (0, 0), answered.err)
            records = answered.nodes[int(router["guid"], 0)]["records"]
            self.assertEqual(records["SMP_RouterInfo"], {
                "CapabilityMask": records["SMP_NodeInfo"]["revision"], "NextHopTableCap": 0x01010302,
                "AdjacentSiteLocalSubnetsTableCap": 2, "ar_group_to_router_lid_table_cap": 0x0302,
                "cap_supported_subnets": 0x30, "cap_router_lid": records["SMP_NodeInfo"]["PartitionCap"]})
            for port in (port for node in answered.nodes.values() for port in node["ports"]):
                info = port["records"]["SMP_PortInfo"]
                self.assertEqual(info["LinkSpeedExtSup2"], info["LinkWidthSup"])
            unanswered = told("0x7abc")
            self.assertEqual(unanswered.status, 5)
            self.assert_line(unanswered.err, "gate (0x0000000000000000)", "SMP_RouterInfo", "timed out")

    def test_lost_doubled_and_strange_answers_change_nothing(self):
        with ibsim.Ibsim(self.example()) as fabric:
            plain = Collected(fabric)
            for alter in ("drop", "twice", "strange"):
                with self.subTest(alter):
                    altered = Collected(fabric, "-t", "50", "--outstanding-smps", "8", alter=alter)
                    self.assertEqual((altered.status, altered.body), (0, plain.body), altered.err)

    def test_keys_are_not_written(self):
        with ibsim.Ibsim(self.example()) as fabric:
            plain = Collected(fabric)
            keyed = Collected(fabric, alter="keys")
            self.assertEqual(keyed.body, plain.body)

    def test_hostile_descriptions_become_safe_and_unique_names(self):
        with ibsim.Ibsim(self.example()) as fabric:
            collected = Collected(fabric, alter="names")
            self.assertEqual(collected.status, 0, collected.err)
            for guid, node in collected.nodes.items():
                self.assertEqual(node["name"], f'a_[2J__#include "/etc/passwd" _ ??_ 0x{guid:016x}')
                self.assertTrue(node["alternative_name"].startswith("a\\u{001b}[2J\\u{00ff}\\u{000a}#"))
            self.assertEqual(generated(fabric, collected.text)[0], 0)
            nameless = Collected(fabric, alter="zeros")
            self.assertEqual({node["name"] for node in nameless.nodes.values()},
                             {f"0x{guid:016x}" for guid in collected.nodes})

    def test_a_port_count_beyond_the_format_is_cut_and_said(self):
        with ibsim.Ibsim(self.example()) as fabric:
            collected = Collected(fabric, "-t", "50", alter="greedy")
            self.assertEqual(collected.status, 5)
            self.assertEqual({node["num_ports"] for node in collected.nodes.values()}, {2, 254})
            self.assertEqual(generated(fabric, collected.text)[0], 0)

    def test_devices_that_contradict_themselves_or_each_other(self):
        with ibsim.Ibsim(self.example()) as fabric:
            plain = Collected(fabric)
            switches = {guid: node for guid, node in plain.nodes.items() if node["type"] == "switch"}
            misplaced = Collected(fabric, alter="places")
            self.assertEqual((misplaced.status, without_links(misplaced.nodes)), (5, without_links(switches)),
                             misplaced.err)
            self.assertEqual(len(links_of(misplaced.nodes)), 4, "those between the two switches")
            self.assert_line(misplaced.err, "Switch1 (0x0000000000200000)", "port 1, 2", "255")

            twins = Collected(fabric, alter="twins")
            self.assertEqual(twins.status, 5, twins.err)
            self.assertEqual(set(twins.nodes), {0x42, *switches})
            lost = re.findall("port ([0-9, ]+):.* 0x0000000000000042 ", twins.err)
            self.assertEqual(sum(len(ports.split(", ")) for ports in lost), 3, twins.err)
            self.assertEqual(generated(fabric, twins.text)[0], 0, "a link that contradicts another one is left out")

    def test_node_names_from_a_map(self):
        with ibsim.Ibsim(self.example()) as fabric:
            path = os.path.join(fabric.folder, "names")
            with open(path, "w", encoding="utf-8") as names:
                names.write('# by hand\n0x200000 "spine \\"\n0x0000000000100003\t"node 2" # rack 4\n')
            collected = Collected(fabric, "--node-name-map", path)
            told = {guid: node["alternative_name"] for guid, node in collected.nodes.items()
                    if "alternative_name" in node}
            self.assertEqual(told, {0x200000: "spine \\u{005c}", 0x100003: "node 2"})
            with open(path, "a", encoding="utf-8") as names:
                names.write("0008f100 Bare\n")
            refused = Collected(fabric, "--node-name-map", path)
            self.assertEqual((refused.status, refused.text), (3, ""))
            self.assert_line(refused.err, "names:4: ", '0x0002c90300000001 "name"')

    def test_hops_are_limited(self):
        with ibsim.Ibsim(self.fat_tree(4, 2, 2)) as fabric:
            near = Collected(fabric, "--max-hops", "1")
            self.assertEqual(near.status, 0, near.err)
            self.assertEqual({node["name"] for node in near.nodes.values()}, {"host-000-00", "leaf-000"})

    def test_a_silent_device_costs_one_device(self):
        with ibsim.Ibsim(self.fat_tree(4, 2, 2)) as fabric:
            whole = Collected(fabric)
            fabric.command('Error "leaf-003" 100 21')
            partial = Collected(fabric, "-t", "100")
            self.assertEqual(partial.status, 5)
            # Two of its ports in discovery and two more afterwards, each of them four times.
            self.assertLessEqual(partial.packets, whole.packets + 4 * 4)
            leaf = next(node for node in partial.nodes.values() if node["name"] == "leaf-003")
            reasons = {port["absent"]["SMP_PortInfo"] for port in leaf["ports"]}
            self.assertEqual(reasons, {"timed out", "not asked: the device had stopped answering"})
            self.assertEqual({port["state"] for port in leaf["ports"]}, {"unknown"})
            self.assertIn("SMP_SwitchInfo", leaf["records"])
            lost = {node["name"] for node in whole.nodes.values()} - {n["name"] for n in partial.nodes.values()}
            self.assertEqual(lost, {"host-003-00", "host-003-01"})
            others = {at: records for at, records in partial.records().items()
                      if at not in (int(leaf["guid"], 0),)}
            self.assertEqual(others, {at: whole.records()[at] for at in others})
            self.assertEqual(generated(fabric, partial.text)[0], 0)

            fabric.command('Error "leaf-003" 100')
            without = Collected(fabric, "-t", "100")
            self.assertEqual(without.status, 5)
            self.assert_line(without.err, "spine-001 (0x0000000000200005)", "port 4", "timed out")

    def test_a_link_that_goes_down_meanwhile(self):
        with ibsim.Ibsim(self.fat_tree(24, 12, 19)) as fabric:
            program = fabric.start_program([SIMINFO, "collect", "-t", "100"])
            fabric.command('Unlink "leaf-023"')
            out, err = program.communicate(timeout=60)
            self.assertIn(program.returncode, (0, 5), err)
            self.assertEqual(generated(fabric, out)[0], 0)
            after = Collected(fabric, "-t", "100")
            self.assertEqual(after.status, 0, after.err)
            self.assertEqual(len(after.nodes), 24 * 19 + 24 + 12 - 20)

    def test_a_fabric_that_dies_meanwhile(self):
        with ibsim.Ibsim(self.fat_tree(24, 12, 19)) as fabric:
            program = fabric.start_program([SIMINFO, "collect", "-t", "100"])
            while "attached as client" not in program.stderr.readline():
                self.assertIsNone(program.poll())
            time.sleep(0.03)
            fabric.stop()
            out, err = program.communicate(timeout=60)
            # It may be too early for a fabric, or too late for a loss.
            self.assertIn(program.returncode, (0, 4, 5), err)
            self.assertEqual(bool(out), program.returncode != 4)
            if out:
                self.assertEqual(generated(fabric, out)[0], 0)

    def test_one_interrupt_gives_what_there_is_and_two_end_it(self):
        with ibsim.Ibsim(self.fat_tree(24, 12, 19)) as fabric:
            path = os.path.join(fabric.folder, "part.jsonl")

            def stalled(alter):
                program = fabric.start_program([SIMINFO, "collect", "-t", "20000", "--output", path],
                                               alter=alter, preload=ALTERED_ANSWERS)
                while "stalled" not in program.stderr.readline():
                    self.assertIsNone(program.poll())
                return program

            program = stalled("hang")
            program.send_signal(signal.SIGINT)
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
                program = stalled("stall")
                program.send_signal(end)
                _, err = program.communicate(timeout=10)
                self.assertEqual(program.returncode, 5, err)
                self.assert_line(err, "warning: interrupted")
                with open(path, encoding="utf-8") as file:
                    text = file.read()
                self.assertIn('"not asked: interrupted"', text)
                self.assertEqual(generated(fabric, text)[0], 0)
                os.remove(path)

    def test_a_fabric_that_falls_silent_is_given_up(self):
        with ibsim.Ibsim(self.fat_tree(24, 12, 19)) as fabric:
            # As many at a time as are unanswered when it is given up.
            partial = Collected(fabric, "-t", "10", "--outstanding-smps", "8", alter="stall")
            self.assertEqual(partial.status, 5)
            self.assertGreater(len(partial.nodes), 20)
            # 300 were answered. Then, in discovery and afterwards: those under way, a look at the nearest device
            # and those that came up meanwhile, each of them four times; and as much again for a busy machine.
            self.assertLess(partial.packets, 300 + 2 * 2 * (8 + 1 + 8) * 4)
            silent = "not asked: the fabric had stopped answering"
            said = re.findall(rf"(\d+) nodes or ports: (SMP_\w+): {silent}$", partial.err, re.MULTILINE)
            counts = collections.Counter(record for record, reason in partial.absent() if reason == silent)
            self.assertEqual([(int(count), record) for count, record in said],
                             [(count, record) for record, count in sorted(counts.items())])
            self.assertGreater(counts["SMP_PortInfo"], 100)
            self.assertEqual(generated(fabric, partial.text)[0], 0)

    @unittest.skipIf(os.path.exists("/sys/class/infiniband_mad"), "this host has InfiniBand ports")
    def test_without_a_port_it_says_so(self):
        with ibsim.Ibsim(self.example()) as fabric:
            wrong = Collected(fabric, "-C", "none0")
            self.assertEqual((wrong.status, wrong.text), (4, ""))
            self.assert_line(wrong.err, "none0", "ibsim0 port 0")


if __name__ == "__main__":
    SIMINFO, ALTERED_ANSWERS = sys.argv[1], sys.argv[2]
    if ibsim.missing():
        print("SKIPPED, nothing was tried: missing " + ibsim.missing())
        sys.exit(77)
    unittest.main(argv=[sys.argv[0]] + sys.argv[3:])
