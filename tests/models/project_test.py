"""The project of a snapshot, as its user has it: generated, configured, built, run, and built again."""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SIMINFO, ROOT = "", pathlib.Path()


def run(*command, **options):
    return subprocess.run([str(part) for part in command], text=True, capture_output=True, check=False, **options)


class ProjectTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="siminfo 'project' "))
        cls.snapshot = cls.folder / "fabric.json"
        shutil.copy(ROOT / "examples/small_fabric.json", cls.snapshot)
        cls.root = cls.folder / "root"
        (cls.root / "core").mkdir(parents=True)
        (cls.root / "core/mine.txt").write_text("mine")
        cls.generated = cls.generate()
        cls.configured = run("cmake", "-S", cls.root, "-B", cls.root / "build", "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror",
                             "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON")
        cls.built = cls.build()
        cls.program = cls.root / "build/fab1_nodes"

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    @classmethod
    def generate(cls):
        return run(SIMINFO, "generate", cls.snapshot, "--name", "Fab1", "--models", "--project", "--shards", 3,
                   "--output-dir", cls.root)

    @classmethod
    def build(cls):
        return run("cmake", "--build", cls.root / "build")

    def recompiled(self, build):
        return re.findall(r"Building CXX object \S*/(\w+)\.cpp", build.stdout)

    def test_restores_every_node_of_the_table(self):
        self.assertEqual(self.generated.returncode, 0, self.generated.stderr)
        self.assertEqual((self.configured.returncode, self.built.returncode), (0, 0), self.built.stderr)
        nodes = run(self.program, cwd="/")
        self.assertEqual((nodes.returncode, nodes.stderr), (0, ""))
        table = (self.root / "dumps/fab1/fab1_nodes.tsv").read_text().splitlines()[1:]
        found = [re.fullmatch(r"(0x[0-9a-f]{16}) (\w+) (\d+) (.*)", line) for line in nodes.stdout.splitlines()]
        self.assertEqual([(each[1], each[2], each[4]) for each in found],
                         [(guid, model, name) for guid, model, _, name in (line.split("\t") for line in table)])
        restored = {each[4]: int(each[3]) for each in found}
        self.assertEqual(restored["sw1-reduction"], 21, "all but the RouterInfo")
        self.assertEqual(restored["rtr-1"], len(re.findall(r"\{\n(?!//)", self.frames("rtr-1"))))
        self.assertEqual((self.root / "core/mine.txt").read_text(), "mine")

    def frames(self, name):
        """The frames of the node's model."""
        model = re.search(rf"\t?(\w+)\t\d+\t{name}$", (self.root / "dumps/fab1/fab1_nodes.tsv").read_text(), re.M)[1]
        text = "".join(path.read_text() for path in (self.root / "dumps/fab1").glob("fab1_models_*.cpp"))
        return text.split(f"// Model: {model},")[1].split("// Model: ")[0]

    def test_takes_nodes_by_name_and_guid_and_shows_their_images(self):
        one = run(self.program, "0x0002c90000000071", "sw1-reduction")
        self.assertEqual([line.split()[-1] for line in one.stdout.splitlines()], ["an-1", "sw1-reduction"])
        dump = run(self.program, "--dump", "2c90000000041")
        images = dict(line.split(": ") for line in dump.stdout.splitlines())
        self.assertTrue(images["nodeInfo"].startswith("0101"), images["nodeInfo"])
        self.assertEqual({name for name in images if name.startswith("counterSets")},
                         {f"counterSets[{port}, {number}, 15]" for port in range(1, 7) for number in range(8)})
        push = [image for name, image in images.items() if name.startswith("pushCounters")]
        self.assertTrue(push and all(int(image, 16) for image in push), "push counters need sets to be stored in")
        for arguments, status, words in [(["nobody"], 1, "there is no node nobody in "),
                                         (["--dum"], 2, "there is no option --dum; "),
                                         (["--dump"], 2, "expected the name or GUID")]:
            wrong = run(self.program, *arguments)
            self.assertEqual((wrong.returncode, wrong.stdout), (status, ""))
            self.assertIn(words, wrong.stderr)
        self.assertEqual(run("sh", "-c", f'"{self.program}" > /dev/full').returncode, 1)

    def test_builds_again_what_changed_alone(self):
        self.assertEqual(self.generate().returncode, 0)
        self.assertEqual(self.recompiled(self.build()), [])
        nodes = self.snapshot.read_text()
        try:
            node = {"name": "new", "guid": "0x99", "type": "switch", "num_ports": 3}
            self.snapshot.write_text(nodes + json.dumps(node))
            self.assertEqual(self.generate().returncode, 0)
            again = self.build()
            self.assertEqual(again.returncode, 0, again.stderr)
            compiled = self.recompiled(again)
            self.assertEqual(len(compiled), 2, compiled)
            self.assertRegex(" ".join(sorted(compiled)), r"fab1_main fab1_models_\d")
            self.assertIn("0x0000000000000099", run(self.program, "new").stdout)
        finally:
            self.snapshot.write_text(nodes)


if __name__ == "__main__":
    SIMINFO, ROOT = os.path.abspath(sys.argv[1]), pathlib.Path(sys.argv[2])
    if not shutil.which("cmake"):
        print("SKIPPED: cmake is missing")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
