#!/usr/bin/env python3
"""inspect, diff and schema as their users meet them, and what the documents say of them."""

import copy
import fcntl
import json
import os
import pathlib
import pty
import random
import re
import struct
import subprocess
import sys
import tempfile
import termios
import unittest

try:
    import jsonschema
except ImportError:
    jsonschema = None

PROGRAM, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])
SMALL = SOURCE / "examples" / "small_fabric.json"
COLLECTED = SOURCE / "examples" / "ibsim_fabric.jsonl"
HEADER = '{"fabric_snapshot": 1}\n'


def run(*arguments, **options):
    return subprocess.run([PROGRAM, *map(str, arguments)], text=True, capture_output=True, timeout=60, cwd=SOURCE,
                          **options)


def documents(text):
    """The documents of a snapshot, however it is laid out."""
    decoder, at, found = json.JSONDecoder(), 0, []
    while text[at:].strip():
        at += len(text[at:]) - len(text[at:].lstrip())
        document, at = decoder.raw_decode(text, at)
        found.append(document)
    return found


def lines(items):
    return "".join(json.dumps(each) + "\n" for each in items)


def on_terminal(width, *arguments, **environment):
    """What the program shows on a terminal of that width."""
    near, far = pty.openpty()
    fcntl.ioctl(far, termios.TIOCSWINSZ, struct.pack("HHHH", 40, width, 0, 0))
    clean = {key: value for key, value in os.environ.items() if key not in ("COLUMNS", "NO_COLOR")}
    with subprocess.Popen([PROGRAM, *map(str, arguments)], stdout=far, env={**clean, **environment}) as program:
        os.close(far)
        shown = b""
        while True:
            try:
                piece = os.read(near, 65536)
            except OSError:
                break
            if not piece:
                break
            shown += piece
        program.wait()
    os.close(near)
    return shown.decode().replace("\r\n", "\n")


class Inspect(unittest.TestCase):
    def test_says_whether_an_error_line_would_be_written(self):
        self.assertEqual(run("inspect", SMALL, "--strict").returncode, 1)
        self.assertEqual(run("inspect", SMALL).returncode, 0)
        self.assertEqual(run("inspect", SMALL, "--strict", "--guid", "2c90000000041").returncode, 0)
        self.assertEqual(run("inspect", SMALL, "--strict", "--node", "rtr-1").returncode, 1)
        self.assertEqual(run("inspect", SMALL, "--strict", "--topology", "--type", "router").returncode, 1)

    def test_the_same_in_every_form(self):
        """Text, lines and documents come from one inspection and must not tell different things."""
        nodes = [json.loads(line) for line in run("inspect", SMALL, "--nodes", "--json").stdout.splitlines()]
        rows = run("inspect", SMALL, "--nodes").stdout.splitlines()
        for node, row in zip(nodes, rows, strict=True):
            guid, node_class, ports, up, model, letters, name = row.split(None, 6)
            self.assertEqual([guid, node_class, int(ports), int(up), model, letters, name],
                             [node[key] for key in ("guid", "class", "ports", "ports_up", "model", "outcomes", "name")])
            for how in (name, guid, guid[2:]):
                detail = json.loads(run("inspect", SMALL, "--node", how, "--json").stdout)
                letters_of = "".join({"block": "B", "comment": "c", "error": "E"}[each["outcome"]]
                                     for each in detail["frames"])
                self.assertEqual((detail["name"], letters_of), (name, letters))
            text = run("inspect", SMALL, "--node", name).stdout
            self.assertEqual("".join(re.findall(r"^  ([BcE]) +\d+ set", text, re.M)), letters)
        whole = json.loads(run("inspect", SMALL, "--json").stdout)
        self.assertEqual(sum(group["nodes"] for group in whole["groups"]), len(nodes))
        errors = sum(gap["nodes"] for gap in whole["without_block"] if gap["outcome"] == "error")
        self.assertEqual(errors, "".join(node["outcomes"] for node in nodes).count("E"))
        told = subprocess.run([PROGRAM, "generate", SMALL, "--name", "F", "--output-dir", tempfile.mkdtemp()],
                              capture_output=True, text=True, check=True).stderr
        self.assertIn(f" {errors} #error lines", told)

    def test_names_what_is_near(self):
        done = run("inspect", SMALL, "--node", "sw3-partail")
        self.assertEqual((done.returncode, done.stdout), (3, ""))
        self.assertIn('no node or port has the name or GUID "sw3-partail"; the nearest are "sw3-partial"', done.stderr)
        self.assertEqual(run("inspect", SMALL, "--node", "x", "--guid", "1").returncode, 2)
        self.assertEqual(run("inspect", SMALL, "--nodes", "--topology").returncode, 2)

    def test_fits_a_terminal(self):
        for arguments in (["inspect", SMALL], ["inspect", SMALL, "--nodes"], ["inspect", SMALL, "--node", "rtr-1"]):
            for width, environment in ((60, {}), (100, {"COLUMNS": "70"})):
                shown = on_terminal(width, *arguments, **environment)
                self.assertIn("\x1b[31m", shown)
                plain = re.sub(r"\x1b\[\d*m", "", shown)
                self.assertLessEqual(max(map(len, plain.splitlines())), int(environment.get("COLUMNS", width)))
            self.assertNotIn("\x1b", on_terminal(100, *arguments, NO_COLOR="1"))
            self.assertNotIn("\x1b", run(*arguments).stdout)

    def test_many_nodes_fit_a_screen(self):
        tree = subprocess.run([sys.executable, SOURCE / "examples" / "make_fat_tree.py", "--leaves", "31"],
                              capture_output=True, text=True, check=True).stdout
        self.assertLess(len(run("inspect", "-", input=tree).stdout.splitlines()), 25)


class Diff(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.dir = pathlib.Path(scratch.name)

    def write(self, name, items):
        (self.dir / name).write_text(lines(items))
        return self.dir / name

    def test_nodes_that_changed_alike_are_one_row(self):
        old = documents(SMALL.read_text())
        new = copy.deepcopy(old)
        for node in new:
            if node.get("type") == "switch" and "SMP_NodeInfo" in node["records"]:
                node["records"]["SMP_NodeInfo"]["revision"] = 0x77
        before, after = self.write("a", old), self.write("b", new)
        same = run("diff", before, SMALL)
        self.assertEqual((same.returncode, same.stdout), (0, ""))
        done = run("diff", before, after)
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stdout, r"^Nodes changed 3\n  \d x SW: SMP_NodeInfo.revision 0x\w+ -> 0x77\n")
        told = json.loads(run("diff", before, after, "--json").stdout)
        self.assertEqual(sum(len(group["nodes"]) for group in told["changed"]), 3)
        self.assertEqual(run("diff", before, after, "--type", "ca").returncode, 0)
        self.assertEqual(run("diff", before, after, "--name-match", "sw1*").stdout.count("sw"), 1)
        self.assertEqual(run("diff", before, after, "--guid", "77").returncode, 3)
        self.assertEqual(run("diff", "-", after, input=lines(old)).returncode, 1)
        self.assertEqual(run("diff", "-", "-").returncode, 2)
        self.assertEqual(run("diff", before, self.dir / "missing").returncode, 3)

    def test_a_node_that_is_in_one_of_the_two_can_be_selected(self):
        old = documents(SMALL.read_text())
        after = self.write("b", [node for node in old if node.get("name") != "rtr-1"])
        done = run("diff", SMALL, after, "--name-match", "rtr-*")
        self.assertEqual((done.returncode, done.stdout), (1, "Nodes removed 1\n  0x0002c90000000061 rtr-1\n"))


@unittest.skipIf(jsonschema is None, "SKIPPED: python3-jsonschema is missing")
class Schema(unittest.TestCase):
    def setUp(self):
        schema = json.loads(run("schema").stdout)
        jsonschema.Draft202012Validator.check_schema(schema)
        self.validator = jsonschema.Draft202012Validator(schema)

    def refused_by_reader(self, document):
        header = [] if "fabric_snapshot" in document else [{"fabric_snapshot": 1}]
        return run("inspect", "-", "--nodes", input=lines(header + [document])).returncode == 3

    def test_snapshots_are_valid(self):
        tree = subprocess.run([sys.executable, SOURCE / "examples" / "make_fat_tree.py", "--leaves", "1", "--links"],
                              capture_output=True, text=True, check=True).stdout
        for text in (SMALL.read_text(), COLLECTED.read_text(), tree):
            for document in documents(text):
                self.validator.validate(document)

    def test_other_spellings_are_valid(self):
        node = {"name": "n", "guid": "0002C900000000fF", "type": "2", "num_ports": "0x01", "special_type": "-0x1",
                "capabilities": {"smp": ["0xffffffff", 0, "4294967295", 0], "gmp_error": -3},
                "ports": [{"num": 1, "state": "armed", "kinds": ["fnm", "special"], "lid": "0xFFFF",
                           "link": {"node": "x", "port": 3, "width": 2}}]}
        header = {"fabric_snapshot": "0x1", "nodes": "01"}
        self.validator.validate(node)
        self.validator.validate(header)
        self.assertEqual(run("inspect", "-", input=lines([header, node])).returncode, 0)

    def test_broken_ones_are_not(self):
        """What is changed in the first switch of the example, and what both must refuse then."""
        node = documents(SMALL.read_text())[1]
        record = node["records"]["SMP_NodeInfo"]
        port = node["ports"][2]
        for place, key, value in [
            (node, "name", ""), (node, "name", "a\nb"), (node, "name", "a\\ "), (node, "name", "a??/"), (node, "name", 5), (node, "name", "a" * 4097),
            (node, "guid", "0x10000000000000000"), (node, "guid", "2c9"), (node, "guid", -1), (node, "num_ports", 255),
            (node, "type", "hub"), (node, "type", 256), (node, "in_sub_fabric", 1), (node, "special_type", 2**31),
            (node, "capabilities", {"smp": [1, 2, 3]}), (node, "unknown", 1), (node["records"], "SMP_PortInfo", {}),
            (record, "DeviceID", 65536), (record, "DeviceID", "0x10000"), (record, "DeviceID", "x"), (record, "x", 1),
            (record, "DeviceID", None), (record, "DeviceID", True), (node, "ports", {}), (port, "kinds", ["odd"]),
            (port, "lmc", 8), (port, "link", {"node": "x", "port": 0}), (port, "link", {"port": 1}), (port, "num", None),
            (node["records"]["VSGeneralInfo"]["FWInfo"], "PSID", "x" * 17), (port, "absent", {"SMP_NodeInfo": "x"}),
            (node["records"]["ib_private_lft_info"], "Description_Mode", []), (node, "absent", {"SMP_RouterInfo": 3}),
            (node["records"]["IB_ClassPortInfo"], "RedirectGID", "fe80"), (port["records"], "ZYRReductionCounters", {"8": {}}),
        ]:
            old = place.get(key)
            place[key] = value
            if value is None:
                del place[key]
            self.assertFalse(self.validator.is_valid(node), (key, value))
            self.assertTrue(self.refused_by_reader(node), (key, value))
            place.pop(key, None)
            if old is not None:
                place[key] = old
        self.validator.validate(node)
        for header in ({"fabric_snapshot": 2}, {"fabric_snapshot": 1, "nodes": -1}, {"fabric_snapshot": 1, "x": 1}, {}, []):
            self.assertFalse(self.validator.is_valid(header), header)

    def test_refuses_nothing_that_the_reader_takes(self):
        values = [0, 1, -1, 3, 15, 16, 255, 256, 65535, 65536, 2**32, "0x5", "7", "-2", "", "x", None, [], {}, True, [1],
                  "0xffffffffffffffff", "active", "ca", 2**64 - 1, "0123456789abcdef", "a\u2028", "é"]
        chance = random.Random(5)
        nodes, refused = documents(SMALL.read_text())[1:], 0
        for _ in range(150):
            node = copy.deepcopy(chance.choice(nodes))
            place = node
            while True:
                inner = [key for key, value in (place.items() if isinstance(place, dict) else enumerate(place))
                         if isinstance(value, (dict, list)) and value]
                if not inner or chance.random() < 0.3:
                    break
                place = place[chance.choice(inner)]
            key = chance.choice(list(place) if isinstance(place, dict) else range(len(place)))
            place[key] = chance.choice(values)
            if not self.validator.is_valid(node):
                refused += 1
                self.assertTrue(self.refused_by_reader(node), (key, place[key]))
        self.assertGreater(refused, 60)


if __name__ == "__main__":
    result = unittest.main(argv=sys.argv[:1], exit=False).result
    if not result.wasSuccessful():
        sys.exit(1)
    if result.skipped:
        print("\n".join(reason for _, reason in result.skipped))
        sys.exit(77)
