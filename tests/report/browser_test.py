#!/usr/bin/env python3
"""The page of report in a real browser: what it shows is what inspect says, it works by mouse and keyboard, and it asks
nobody for anything."""

import collections
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

try:
    from selenium import webdriver
    from selenium.webdriver.common.keys import Keys
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.support.wait import WebDriverWait
except ImportError:
    webdriver = None

PROGRAM, SOURCE = sys.argv[1], pathlib.Path(sys.argv[2])
sys.path.insert(0, str(SOURCE / "tests" / "report"))
import hostile

SMALL = SOURCE / "examples" / "small_fabric.json"
COLLECTED = SOURCE / "examples" / "ibsim_fabric.jsonl"
CHROMIUM, DRIVER = shutil.which("chromium"), shutil.which("chromedriver")


def run(*arguments, **options):
    return subprocess.run([PROGRAM, *map(str, arguments)], text=True, capture_output=True, timeout=120, check=True, **options)


def inspected(path, *arguments):
    return [json.loads(line) for line in run("inspect", path, "--json", *arguments).stdout.splitlines()]


class Pages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.dir = pathlib.Path(scratch.name)
        options = webdriver.ChromeOptions()
        options.binary_location = CHROMIUM
        # Root has no sandbox, and a container may have little shared memory.
        for word in ("headless=new", "no-sandbox", "disable-dev-shm-usage", f"user-data-dir={cls.dir}/profile"):
            options.add_argument("--" + word)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        cls.browser = webdriver.Chrome(service=Service(DRIVER), options=options)
        cls.addClassCleanup(cls.browser.quit)

    def open(self, path, *arguments, width=1400, dark=False, **options):
        file = self.dir / "page.html"
        run("report", path, *arguments, "--output", file, **options)
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                     {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False})
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}]})
        self.browser.get_log("performance")
        self.browser.get(file.as_uri())
        return file

    def tearDown(self):
        """Whatever a test did: nothing was said on the console, and nothing but the file was asked for."""
        self.assertEqual(self.browser.get_log("browser"), [])
        self.assertLessEqual(self.requests(), {(self.dir / "page.html").as_uri()})

    def requests(self):
        """Every URL that was asked for since the last time."""
        events = [json.loads(entry["message"])["message"] for entry in self.browser.get_log("performance")]
        blocked = {event["params"]["requestId"] for event in events if event["params"].get("blockedReason") == "csp"}
        return {event["params"]["request"]["url"] for event in events if event["method"] == "Network.requestWillBeSent" and
                event["params"]["requestId"] not in blocked} - {"about:blank"}

    def js(self, script, *arguments):
        return self.browser.execute_script("return " + script, *arguments)

    def all(self, selector):
        return self.browser.find_elements("css selector", selector)

    def one(self, selector):
        """The first such element, which a browser may take a moment to lay out."""
        return WebDriverWait(self.browser, 20).until(lambda browser: browser.find_element("css selector", selector))

    def text(self, selector):
        return self.one(selector).text

    def counts(self, selector, key):
        return {each.get_attribute(key): int(each.get_attribute("data-count")) for each in self.all(selector)}

    def names(self):
        return self.js("[...document.querySelectorAll('.of-node .name')].map((each) => each.textContent)")

    def choose(self, select, value):
        self.js("(arguments[0].value = arguments[1], arguments[0].dispatchEvent(new Event('input', {bubbles: true})))",
                self.one(select), value)

    def keys(self, *keys):
        self.browser.switch_to.active_element.send_keys(*keys)

    def test_counts_are_those_of_inspect(self):
        for path in (SMALL, COLLECTED):
            self.open(path)
            whole, nodes = inspected(path)[0], inspected(path, "--nodes")
            letters = collections.Counter("".join(node["outcomes"] for node in nodes))
            self.assertEqual(self.counts("#legend li", "data-letter"), {letter: letters[letter] for letter in "BcE"})
            self.assertEqual(self.counts("#totals [data-count]", "data-total"), {
                "Nodes": len(nodes), "Models": whole["models"], "Ports": sum(node["ports"] for node in nodes),
                "Links": whole["links"], "Nodes with #error": sum("E" in node["outcomes"] for node in nodes)})
            self.assertIn(f"{sum(node['ports_up'] for node in nodes)} above Down", self.text("#totals"))
            rows = [(row.find_element("tag name", "b").text, "".join(cell.text for cell in row.find_elements("class name", "cell")))
                    for row in self.all(".of-group")]
            self.assertEqual(rows, [(str(group["nodes"]), group["outcomes"]) for group in whole["groups"]])
            self.one("#tab-missing").click()
            self.assertEqual(sum(int(cell.get_attribute("data-count")) for cell in self.all(".gaps td[data-count]")),
                             letters["c"] + letters["E"])

    def test_filters(self):
        self.open(SMALL)
        nodes = inspected(SMALL, "--nodes")
        frames = [frame.removeprefix("set") for frame in inspected(SMALL)[0]["frames"]]

        def expect(passes):
            found = [node["name"] for node in nodes if passes(node)]
            self.assertEqual(self.names(), found)
            self.assertIn(f"{len(found)} of 6 nodes", self.text("#status"))
        self.choose("#rows", "node")
        self.assertEqual(len(self.names()), 6)
        self.one("#text").send_keys("SW ")
        expect(lambda node: "sw" in (node["name"] + node["model"]).lower())
        self.one("#text").send_keys("0X0002C90000000043")
        expect(lambda node: node["guid"] == "0x0002c90000000043")
        self.one("#text").send_keys("none")
        self.assertIn("No node passes", self.text("#grid-body"))
        self.one("#show-all").click()
        self.assertIn("All 6 nodes", self.text("#status"))
        self.choose("#rows", "node")
        self.choose("#outcome", "E")
        expect(lambda node: "E" in node["outcomes"])
        place = frames.index("ArInfo")
        self.choose("#frame", str(place))
        expect(lambda node: node["outcomes"][place] == "E")
        self.one("[value=SW]").click()
        expect(lambda node: False)
        self.one("#tab-missing").click()
        gap = next(each for each in inspected(SMALL)[0]["without_block"] if each["words"] == "The node=NODE is not a router")
        next(row for row in self.all(".gaps tr") if gap["words"] in row.text).find_element("tag name", "button").click()
        self.assertIn(f"{gap['nodes']} of 6 nodes", self.text("#status"))
        self.assertIn(gap["words"], self.text("#words"))
        self.assertEqual(self.js("document.activeElement.id"), "grid")

    def test_a_click_tells_body_reason_and_links(self):
        self.open(COLLECTED)
        self.one("#r0c0").click()
        self.assertEqual(self.names(), [f"host-{i}" for i in range(1, 5)])
        told = inspected(COLLECTED, "--node", "host-2")[0]
        for place, frame in enumerate(told["frames"]):
            self.one(f"#r2c{place + 1}").click()
            self.assertEqual(self.js("document.querySelector('pre').textContent"), frame["body"])
            for words in [frame.get("words", ""), frame.get("mend", ""), *frame.get("reasons", [])]:
                self.assertIn(words, self.text("#details"))
        self.assertIn("SMP_PortInfoExtended: not asked", "".join(sum((frame.get("reasons", []) for frame in told["frames"]), [])))
        link = next(port["link"] for port in told["snapshot"]["ports"] if "link" in port)
        self.assertEqual(self.text(".links tbody").split()[:3], ["1", link["node"], str(link["port"])])
        self.one(".links button").click()
        self.assertEqual((self.text("#details h2"), self.js("document.activeElement.id")), (link["node"], "details"))
        self.assertEqual(len(self.all(".links tbody tr")), sum("link" in port for port in
                         inspected(COLLECTED, "--node", link["node"])[0]["snapshot"]["ports"]))
        self.one(".close").click()
        self.assertFalse(self.one("#details").is_displayed())
        # Of a model whose bodies did not fit, the page says where they are.
        self.js("void (data.model_bodies[nodes.model[1]] = [], details.show(1, 0))")
        self.assertIn(f"--node {self.js('guidOf(1)')}", self.text("#frame-body"))

    def test_keyboard_alone(self):
        self.open(COLLECTED)
        self.keys("/")
        self.keys("leaf", Keys.TAB)
        self.assertEqual(self.js("document.activeElement.id"), "outcome")
        self.js("document.getElementById('grid').focus()")
        self.keys(Keys.ARROW_RIGHT)
        self.assertEqual(self.names(), ["leaf-1", "leaf-2"])
        self.keys(Keys.ARROW_DOWN, Keys.ARROW_DOWN, Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.ENTER)
        self.assertEqual((self.text("#details h2"), self.one("#frame-body h3").text), ("leaf-2", "B 2 setPortInfo block"))
        self.assertEqual(self.js("document.getElementById('grid').getAttribute('aria-activedescendant')"), "r2c2")
        self.keys(Keys.ESCAPE)
        self.assertFalse(self.one("#details").is_displayed())
        self.keys(Keys.CONTROL + Keys.HOME)
        self.keys(Keys.ARROW_LEFT)
        self.assertEqual(self.names(), [])
        self.one("#tab-nodes").send_keys(Keys.ARROW_RIGHT, Keys.NULL)
        self.keys(Keys.ARROW_RIGHT)
        self.assertEqual(self.js("document.activeElement.id"), "tab-topology")
        self.js("arguments[0].focus()", self.one(".box"))
        self.keys(Keys.ARROW_RIGHT)
        self.assertIn("leaf-2: level 1, 2 cables to adapters", self.text("#view-topology .readout"))
        self.keys(Keys.ENTER)
        self.assertEqual(self.text("#details h2"), "leaf-2")
        self.keys(Keys.ESCAPE)
        self.assertIn("leaf-2: ", self.js("document.activeElement.getAttribute('aria-label')"))

    def test_topology_and_matrix(self):
        tree = subprocess.run([sys.executable, "-B", SOURCE / "examples" / "make_fat_tree.py", "--leaves", "4", "--links"],
                              capture_output=True, text=True, check=True).stdout
        self.open("-", input=tree)
        self.one("#tab-topology").click()
        self.one(".level")
        self.assertEqual([each.text for each in self.all(".level")], ["Level 1", "Level 2"])
        self.assertEqual(len(self.all(".box")), 6)
        self.assertEqual(self.js("[...matrix.counts].join()"), ",".join(["16"] * 8))
        self.one("#tab-matrix").click()
        self.one(".matrix").send_keys(Keys.ARROW_DOWN, Keys.ARROW_RIGHT)
        self.assertEqual(self.text("#matrix-readout"), "leaf-0001 \u2013 spine-0001: 16 cables")
        self.one(".matrix").send_keys(Keys.ENTER)
        self.assertEqual((self.text("#details h2"), len(self.all(".links tbody tr"))), ("leaf-0001", 64))

    def test_names_are_text_and_nothing_else(self):
        for arguments in ([], ["--type", "switch"]):
            self.open("-", *arguments, input=hostile.snapshot())
            self.choose("#rows", "node")
            shown = set()
            for top in range(0, 2000, 200):
                self.js("void (document.getElementById('grid').scrollTop = arguments[0], grid.render())", top)
                shown |= set(self.names())
            self.assertEqual(shown, set(hostile.NAMES))
            self.js("void (document.getElementById('grid').scrollTop = 0, grid.render())")
            for row in range(0, 6):
                self.one(f"#r{row}c2").click()
                name = self.js("nodes.name[arguments[0]]", row)
                self.assertEqual(self.one("#details h2").get_attribute("textContent"), name)
                self.assertIn(f"SMP_PortInfo: </script>{name}", self.one("#details").get_attribute("textContent"))
                self.assertEqual(self.js("bodyOf(arguments[0], 0)", row), f'#error "Failed to get NodeInfo mad for the node={name}"')
            for tab in ("missing", "topology", "matrix"):
                self.one(f"#tab-{tab}").click()
            self.assertEqual(self.all("img, iframe, object, b > script, body script ~ script ~ script, svg [onload]"), [])
            self.assertEqual(self.text("h1"), "</title><script>alert(2)</script>")

    def test_fits_narrow_windows_and_dark_ones(self):
        for path in (SMALL, COLLECTED):
            self.open(path, width=360, dark=True)
            for tab in ("nodes", "missing", "topology", "matrix"):
                self.one(f"#tab-{tab}").click()
                self.assertLessEqual(self.js("document.documentElement.scrollWidth"), 360, tab)
            self.one("#tab-nodes").click()
            cell = self.one("#r0c22")
            self.assertLessEqual(cell.rect["x"] + cell.rect["width"], 360)
            cell.click()
            self.assertEqual(self.js("document.activeElement.className"), "close")
            self.assertLessEqual(self.js("document.documentElement.scrollWidth"), 360)
        colours = []
        for dark in (False, True):
            self.open(SMALL, dark=dark)
            colours.append(self.js("[getComputedStyle(document.body).backgroundColor, getComputedStyle(document.body).color]"))
        light, dark = [[sum(map(int, colour[4:-1].split(","))) for colour in pair] for pair in colours]
        self.assertGreater(light[0] - light[1], 400)
        self.assertGreater(dark[1] - dark[0], 400)

    def test_many_nodes(self):
        """A few hundred elements stand for thousands of nodes, and above 200 switches the topology shows models."""
        tree = subprocess.run([sys.executable, "-B", SOURCE / "examples" / "make_fat_tree.py", "--leaves", "140", "--links"],
                              capture_output=True, text=True, check=True).stdout
        file = self.open("-", input=tree)
        self.assertLess(file.stat().st_size, 3_000_000)
        self.choose("#rows", "node")
        self.assertIn("All 4,690 nodes", self.text("#status"))
        self.js("document.getElementById('grid').focus()")
        self.keys(Keys.CONTROL + Keys.END)
        self.assertEqual(self.names()[-1], "spine-0069")
        self.assertLess(len(self.all("#grid *")), 3000)
        self.choose("#text", "host-0139-31")
        self.assertEqual(self.names(), ["host-0139-31"])
        self.one("#tab-topology").click()
        self.one(".box")
        self.assertLessEqual(len(self.all(".box")), 80)
        self.assertEqual(self.js("topology.boxes.reduce((sum, box) => sum + box.switches.length, 0)"), 210)
        self.assertEqual(self.js("[...topology.edges.values()].reduce((sum, each) => sum + each, 0)"), 140 * 32)
        self.one(".box").click()
        self.assertTrue(all(name.startswith("leaf-") for name in self.names()))

    def test_nothing_can_be_asked_for(self):
        """What the page forbids, this browser forbids: or else the other tests would tell nothing."""
        self.open(SMALL)
        self.assertEqual(self.requests(), {(self.dir / "page.html").as_uri()})
        blocked = self.browser.execute_async_script("""
            const done = arguments[0], seen = [];
            document.addEventListener('securitypolicyviolation', (event) => {
              seen.push(event.effectiveDirective);
              if (seen.length === 3) done(seen.sort());
            });
            document.body.append(make('img', {src: 'http://127.0.0.1:9/x'}));
            document.body.append(make('script', {}, 'window.broken = true'));
            fetch('http://127.0.0.1:9/y').catch(() => null);
            setTimeout(() => done(seen), 3000);""")
        self.assertEqual(blocked, ["connect-src", "img-src", "script-src-elem"])
        self.assertIsNone(self.js("window.broken"))
        self.browser.get("about:blank")
        self.assertTrue(self.browser.get_log("browser"))  # where the browser says so


if __name__ == "__main__":
    missing = [name for name, found in (("chromium", CHROMIUM), ("chromium-driver", DRIVER), ("python3-selenium", webdriver)) if not found]
    if missing:
        print(f"SKIPPED: {', '.join(missing)} missing, no page was looked at in a browser")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
