#!/usr/bin/env python3
"""The page of report as a file: what it holds is what inspect says, and no text of a device can be more than text."""

import base64
import hashlib
import html.parser
import json
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

PROGRAM, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])
sys.path.insert(0, str(SOURCE / "tests" / "report"))
import hostile

SMALL = SOURCE / "examples" / "small_fabric.json"
COLLECTED = SOURCE / "examples" / "ibsim_fabric.jsonl"


def run(*arguments, **options):
    return subprocess.run([PROGRAM, *map(str, arguments)], text=True, capture_output=True, timeout=60, **options)


class Elements(html.parser.HTMLParser):
    """What elements a browser finds in a page, and what stands in its scripts."""

    def __init__(self, page):
        super().__init__()
        self.tags, self.inside, self.policy, self.open = [], {}, "", ""
        self.feed(page)

    def handle_starttag(self, tag, attributes):
        self.tags.append((tag, sorted(name for name, _ in attributes)))
        if dict(attributes).get("http-equiv") == "Content-Security-Policy":
            self.policy = dict(attributes)["content"]
        self.open = f"{tag} {dict(attributes).get('type', '')}".strip()

    def handle_endtag(self, tag):
        self.open = ""

    def handle_data(self, text):
        self.inside[self.open] = self.inside.get(self.open, "") + text

    def data(self):
        return json.loads(self.inside["script application/json"].strip())


def settled(text):
    """The text without the addresses that the format has where a GID would be: they differ from run to run."""
    return re.sub("0x0x[0-9a-f]+", "ADDRESS", text)


def page_of(*arguments, **options):
    done = run("report", *arguments, "--output", "-", **options)
    assert done.returncode == 0, done.stderr
    return done.stdout


class Report(unittest.TestCase):
    def test_holds_what_inspect_says(self):
        for path, more in ((SMALL, []), (COLLECTED, []), (SMALL, ["--type", "switch"]), (SMALL, ["--name-match", "*-1"])):
            data = Elements(page_of(path, *more)).data()
            whole = json.loads(run("inspect", path, "--json", *more).stdout)
            nodes = [json.loads(line) for line in run("inspect", path, "--nodes", "--json", *more).stdout.splitlines()]
            self.assertEqual(data["frames"], whole["frames"])
            self.assertEqual((len(data["nodes"]["name"]), len(data["models"]), data["all_links"], data["leaving_links"]),
                             (whole["nodes"], whole["models"], whole["links"], whole["leaving_links"]))
            self.assertEqual([(each["letters"], data["nodes"]["group"].count(i)) for i, each in enumerate(data["groups"])],
                             [(each["outcomes"], each["nodes"]) for each in whole["groups"]])
            self.assertEqual([(each["words"], each["nodes"], each["classes"], each["reasons"]) for each in data["gaps"]],
                             [(each["words"], each["nodes"], each["classes"], list(each["reasons"]))
                              for each in whole["without_block"]])
            for i, node in enumerate(nodes):
                name, node_class, ports, letters, *_ = data["models"][data["nodes"]["model"][i]]
                self.assertEqual((data["nodes"]["name"][i], "0x" + data["nodes"]["guid"][i], data["classes"][node_class], ports,
                                  data["nodes"]["up"][i], name, letters),
                                 tuple(node[key] for key in ("name", "guid", "class", "ports", "ports_up", "model", "outcomes")))
                self.check_bodies(data, i, json.loads(run("inspect", path, "--node", node["guid"], "--json").stdout))

    def check_bodies(self, data, node, told):
        model = data["nodes"]["model"][node]
        blocks, refusals = iter(data["model_bodies"][model]), iter(data["models"][model][4:])
        absent = {frame: [data["reasons"][each] for each in reasons] for at, frame, *reasons in data["absent"] if at == node}
        for i, frame in enumerate(told["frames"]):
            if frame["outcome"] == "block":
                lines = [data["lines"][line] for line in data["bodies"][next(blocks)]]
                self.assertEqual(settled("\n".join(lines)), settled(frame["body"]))
                continue
            body, words, mend = data["refusals"][next(refusals)]
            own = f"node={told['name']}"
            self.assertEqual([text.replace("node=NODE", own) for text in (body, words)] + [mend],
                             [frame["body"], frame["words"], frame.get("mend", "")])
            self.assertEqual(absent.get(i, []), frame["reasons"])

    def test_runs_its_own_script_and_nothing_else(self):
        plain, hurt = Elements(page_of(SMALL)), Elements(page_of("-", input=hostile.snapshot()))
        self.assertEqual(hurt.tags, plain.tags)
        for page in (plain, hurt):
            for kind in ("script", "style"):
                digest = base64.b64encode(hashlib.sha256(page.inside[kind].encode()).digest()).decode()
                self.assertIn(f"{kind}-src 'sha256-{digest}';", page.policy)
            self.assertIn("default-src 'none';", page.policy)
            self.assertNotIn("unsafe", page.policy)
            self.assertFalse([names for _, names in page.tags if any(re.match("on|src|href", name) for name in names)])
            self.assertNotRegex(page.inside["script"], r"innerHTML|outerHTML|insertAdjacent|document\.write|\beval\b|Function\(")

    def test_texts_of_devices_come_out_as_they_are(self):
        page = page_of("-", input=hostile.snapshot())
        text = page[page.index('id="data">') + 10:]
        self.assertNotRegex(text[:text.index("</script>")], "<")
        data = Elements(page).data()
        self.assertEqual(data["nodes"]["name"], sorted(hostile.NAMES, key=str.encode))
        self.assertEqual((data["source"], data["others"]), (hostile.MARKUP, ["<b>gone</b>"]))
        self.assertLessEqual({f"SMP_PortInfo: </script>{name}" for name in hostile.NAMES}, set(data["reasons"]))

    def test_links_are_those_of_the_snapshot(self):
        data = Elements(page_of(COLLECTED)).data()
        found, node = set(), 0
        for step, port, to, far, speed in zip(*(data["links"][key] for key in ("from", "port", "to", "far_port", "speed")), strict=True):
            node += step
            found.add(frozenset([(data["nodes"]["name"][node], port), (data["nodes"]["name"][to], far)]))
        told = {frozenset([(each["name"], port["num"]), (port["link"]["node"], port["link"]["port"])])
                for each in map(json.loads, COLLECTED.read_text().splitlines()) for port in each.get("ports", ()) if "link" in port}
        self.assertEqual(found, told)
        self.assertEqual(len(data["links"]["from"]), len(found))
        # Of selected nodes alone, cables keep their other end.
        some = Elements(page_of(COLLECTED, "--type", "ca")).data()
        self.assertEqual((len(some["links"]["from"]), some["others"]), (4, ["leaf-1", "leaf-2"]))

    def test_writes_a_file(self):
        with tempfile.TemporaryDirectory() as folder:
            done = run("report", SMALL, "--output", "a.html", cwd=folder)
            self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "a.html\n", ""))
            self.assertEqual(settled((pathlib.Path(folder) / "a.html").read_text()), settled(page_of(SMALL)))
            self.assertEqual(run("report", SMALL, "--output", "none/a.html", cwd=folder).returncode, 3)
            nothing = run("report", SMALL, "--output", "b.html", "--name-match", "sw3-part", cwd=folder)
            self.assertEqual((nothing.returncode, nothing.stdout), (3, ""))
            self.assertIn('the nearest are "sw3-partial"', nothing.stderr)
            self.assertEqual(run("report", SMALL, cwd=folder).returncode, 2)
            self.assertEqual([path.name for path in pathlib.Path(folder).iterdir()], ["a.html"])
        with open("/dev/full", "w") as full:
            done = subprocess.run([PROGRAM, "report", SMALL, "--output", "-"], stdout=full, stderr=subprocess.PIPE, timeout=60)
        self.assertEqual(done.returncode, 3)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
