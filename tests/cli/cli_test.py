#!/usr/bin/env python3
"""The program as its users meet it: exit status, standard output, standard error and files."""

import gzip
import json
import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

PROGRAM, SOURCE, HOST_NAME = sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3]
SMALL = SOURCE / "examples" / "small_fabric.json"
HEADER = '{"fabric_snapshot": 1}\n'


def node(name, guid=1, kind="switch"):
    return f'{{"name": "{name}", "guid": {guid}, "type": "{kind}", "num_ports": 0}}\n'


class CommandLine(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.dir = pathlib.Path(scratch.name)

    def run_program(self, *arguments, stdin=None, **options):
        return subprocess.run([PROGRAM, *map(str, arguments)], input=stdin, text=True, cwd=self.dir,
                              capture_output="stdout" not in options, timeout=60, **options)

    def generate(self, *arguments, **options):
        return self.run_program("generate", SMALL, "--name", "Fab1", "--output-dir", "out", *arguments, **options)

    def made(self, name="generated.cpp"):
        return (self.dir / "out" / f"fab1_{name}").read_text()

    def banners(self):
        return re.findall(r"^// Name: '(.*)', Alt: '", self.made(), re.M)

    def assert_refused(self, done, status, message):
        self.assertEqual((done.returncode, done.stdout), (status, ""), done.stderr)
        self.assertRegex(done.stderr, "(?m)^siminfo: error: ")
        self.assertIn(message, done.stderr)

    def test_prints_the_path_and_says_what_came_of_it(self):
        done = self.generate()
        self.assertEqual((done.returncode, done.stdout), (0, "out/fab1_generated.cpp\n"))
        warning, summary = done.stderr.splitlines()
        self.assertRegex(warning, r"^siminfo: warning: .*SW \(3 nodes\).*--guid.*--one-per-class")
        self.assertRegex(summary, r"^siminfo: 6 nodes, \d+ frames: \d+ blocks, \d+ comments, \d+ #error lines$")
        text = self.made()
        self.assertIn(f" {len(re.findall('^void ', text, re.M))} frames:", summary)
        body = text[text.index("// Node Type"):]
        for count, what in zip(re.findall(r"(\d+) (?:comm|#err)", summary),
                               (r"\{\n//", r"\{\n#error")):
            self.assertEqual(int(count), len(re.findall(what, body)))

    def test_names_every_class_that_several_nodes_have(self):
        nodes = [node(f"{kind}{i}", 1, kind) for kind, count in (("switch", 3), ("router", 1), ("ca", 2))
                 for i in range(count)]
        done = self.run_program("generate", "-", "--name", "F", stdin=HEADER + "".join(nodes))
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn(": HCA (2 nodes), SW (3 nodes);", done.stderr)

    def test_selects_nodes(self):
        (self.dir / "guids").write_text("# two of them\n0x2c90000000061  # a router\n\n  2c90000000071\n")
        for arguments, names, warning in [
            (["--guid", "0x2c90000000041"], ["sw1-reduction"], ""),
            (["--guid", "2c90000000041", "--guid", "S-0002c90000000043"], ["sw1-reduction", "sw2-plain"], "SW (2"),
            (["--guid", "0002:c900:0000:0051", "--guid", "77"], ["host-1 HCA-1"], "no node of the sub-fabric has the GUID 0x0000000000000077"),
            (["--guid-file", "guids"], ["an-1", "rtr-1"], ""),
            (["--one-per-class"], ["an-1", "host-1 HCA-1", "rtr-1", "sw1-reduction"], ""),
            (["--one-per-class", "--guid", "2c90000000042"], ["sw3-partial"], ""),
        ]:
            done = self.generate(*arguments)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual(self.banners(), names, arguments)
            warnings = [line for line in done.stderr.splitlines() if "warning" in line]
            self.assertEqual(len(warnings), 1 if warning else 0, done.stderr)
            self.assertEqual("2 nodes: sw2-plain, sw3-partial" in done.stderr, arguments == ["--one-per-class"])
            self.assertIn(warning, "".join(warnings))

    def test_selects_by_name_type_model_and_port(self):
        self.generate("--models")
        rows = [line.split("\t") for line in (self.dir / "out" / "fab1_nodes.tsv").read_text().splitlines()[1:]]
        model_of = {row[3]: row[1] for row in rows}
        port = '{"name": "p", "guid": 9, "type": "ca", "num_ports": 2, "ports": [{"num": 2, "guid": 10}]}\n'
        (self.dir / "ports").write_text(HEADER + port + node("n", 11))
        for arguments, names in [
            (["--name-match", "sw?-*", "--name-match", "an-[1-3]"], ["an-1", "sw1-reduction", "sw2-plain", "sw3-partial"]),
            (["--type", "ca"], ["an-1", "host-1 HCA-1"]),
            (["--type", "AN", "--type", "3"], ["an-1", "rtr-1"]),
            (["--type", "switch", "--name-match", "*-p*", "--guid", "2c90000000043"], ["sw2-plain"]),
            (["--model", model_of["rtr-1"], "--model", model_of["an-1"][:9]], ["an-1", "rtr-1"]),
        ]:
            done = self.generate(*arguments)
            self.assertEqual((done.returncode, self.banners()), (0, names), (arguments, done.stderr))
        # A node's GUID goes before that of a port; one of neither is told.
        for guids, names in [(["0xa"], ["p"]), (["0xa", "0xb"], ["n", "p"])]:
            arguments = [word for guid in guids for word in ("--guid", guid)]
            done = self.run_program("generate", "ports", "--name", "Fab1", "--output-dir", "out", *arguments)
            self.assertEqual((done.returncode, self.banners(), done.stderr.count("warning")), (0, names, 0), done.stderr)

    def test_names_what_is_near_when_nothing_is_selected(self):
        for arguments, near in [
            (["--name-match", "sw3-part"], '--name-match selects none; the nearest are "sw3-partial", '),
            (["--name-match", "rt?-[2-9]*x"], 'the nearest are "rtr-1", '),
            (["--guid", "2c90000000049"], "the nearest GUIDs are 0x0002c9000000004"),
            (["--type", "4"], "there are 1 AN, 1 HCA, 1 RTR, 3 SW"),
            (["--model", "RTR_0"], "--model selects none; the nearest are RTR_"),
            (["--type", "switch", "--name-match", "rtr-1"], "--name-match alone selects 1, --type alone selects 3"),
        ]:
            for command in (["generate", SMALL, "--name", "F"], ["verify", SMALL]):
                done = self.run_program(*command, *arguments)
                self.assertEqual((done.returncode, done.stdout), (3, ""), arguments)
                self.assertIn(near, done.stderr)
        self.assertIn('--type: "Switch" is not a node type; expected ca, ', self.generate("--type", "Switch").stderr)

    def test_a_selection_that_is_empty_leaves_everything_as_it_is(self):
        self.assertEqual(self.generate().returncode, 0)
        before = self.made()
        for arguments in (["--guid", "77"], ["--one-per-class", "--guid", "77"], ["--models", "--guid", "77"]):
            self.assert_refused(self.generate(*arguments), 3, "no node is selected")
            self.assertEqual(os.listdir(self.dir / "out"), ["fab1_generated.cpp"])
        self.assertEqual(self.made(), before)
        nobody = self.run_program("generate", "-", "--name", "F", stdin=HEADER)
        self.assertEqual((nobody.returncode, os.path.exists(self.dir / "f_generated.cpp")), (3, False))

    def test_leaves_what_is_missing_to_the_simulator(self):
        self.assertEqual(self.generate("--buildable").returncode, 0)
        exact = self.made()
        done = self.generate("--buildable", "--missing", "comment")
        commented = self.made()
        self.assertEqual(commented, re.sub("^#error ", "// ", exact, flags=re.M))
        missing = re.findall(r"set\w+(?=\(\) \{\n#error)", exact)
        told = dict(re.findall(r"(set\w+) (\d+)", done.stderr))
        self.assertEqual({name: int(count) for name, count in told.items()},
                         {name: missing.count(name) for name in missing})
        for arguments, status in (([], 1), (["--missing", "comment"], 0)):
            verified = self.run_program("verify", SMALL, "--name", "Fab1", "--use", "out", *arguments)
            self.assertEqual(verified.returncode, status, verified.stdout)

    def test_models_are_files_of_their_own(self):
        for arguments in (["--missing", "comment"], ["--buildable"], ["--simulator-header"], ["--one-per-class"],
                          ["--shards", "0"], ["--shards", "4097"]):
            self.assertEqual(self.generate("--models", *arguments).returncode, 2, arguments)
        for option in ("--shards=2", "--project", "--exact-ports"):
            self.assertEqual(self.generate(option).returncode, 2, option)
        done = self.generate("--models", "--shards", 2)
        self.assertEqual(done.stdout, "".join(f"out/fab1_{name}\n" for name in
                                              ("models_0.cpp", "models_1.cpp", "nodes.tsv", "models.def")))
        self.assertIn("setPortInfo 5", done.stderr)
        self.assertIn("--exact-ports", done.stderr)
        sources = [self.made(f"models_{shard}.cpp") for shard in (0, 1)]
        self.assertEqual(sum(source.count("// Model: ") for source in sources), 6)
        table = self.made("nodes.tsv").splitlines()
        self.assertEqual(table[0].split("\t"), ["guid", "model", "ports", "name"])
        self.assertRegex(table[4], r"^0x0002c90000000041\tSW_[0-9a-f]{16}\t6\tsw1-reduction$")
        other = self.run_program("generate", SMALL, "--name", "FAB1", "--models", "--output-dir", "out")
        self.assertIn("the files of Fab1 in out are replaced", other.stderr)

    def test_names_its_inputs_in_a_rule_that_make_and_ninja_read(self):
        """Every character that one of the two takes for more than a character, in inputs and outputs."""
        snapshot, guids, out = "a b#c$d\\e\\ f:g.json", "g u", "o #$ \\p:"
        shutil.copy(SMALL, self.dir / snapshot)
        (self.dir / guids).write_text("2c90000000041")
        run = ["generate", snapshot, "--guid-file", guids, "--name", "F", "--output-dir", out, "--depfile", "f.d"]
        done = self.run_program(*run, "--simulator-header")
        self.assertEqual(done.returncode, 0, done.stderr)
        rule = (self.dir / "f.d").read_text()
        self.assertEqual(rule, r"o\ \#$$\ \p\:/f.h o\ \#$$\ \p\:/f_generated.cpp: a\ b\#c$$d\e\\\ f\:g.json g\ u" "\n")
        (self.dir / "Makefile").write_text(rule.split(": ")[0] + ":\n\t@echo '$@<$^>'\ninclude f.d\n")
        (self.dir / "build.ninja").write_text(
            "rule r\n command = cp f.d g.d; touch stamp\n depfile = g.d\n deps = gcc\nbuild stamp: r\n")
        inputs = [snapshot, guids]
        for tool, told in [(["make", "-B", f"{out}/f.h"], f"{out}/f.h<{' '.join(inputs)}>\n"),
                           (["sh", "-c", "ninja >&2; ninja -t deps | sed -n 's/^    //p'"], "\n".join(inputs) + "\n")]:
            if shutil.which(tool[0] if tool[0] == "make" else "ninja"):
                read = subprocess.run(tool, cwd=self.dir, text=True, capture_output=True, check=True)
                self.assertEqual(read.stdout, told)
        for wrong, status in [(["-"], 2), (["line\nend"], 2), (["back\\"], 2), ([SMALL, "--guid", "77"], 3)]:
            (self.dir / "f.d").unlink(missing_ok=True)
            done = self.run_program("generate", *wrong, "--name", "F", "--depfile", "f.d", stdin=HEADER + node("x"))
            self.assertEqual((done.returncode, (self.dir / "f.d").exists()), (status, False), done.stderr)
        shutil.copy(SMALL, self.dir / "g.json")
        done = self.run_program("generate", "g.json", "--name", "G", "--models", "--project", "--depfile", "f.d")
        self.assertEqual((self.dir / "f.d").read_text(), " ".join(sorted(done.stdout.splitlines())) + ": g.json\n")

    def test_refuses_a_bad_command_line(self):
        generate = ["generate", SMALL, "-n", "F"]
        for arguments, message in [
            (["generate", SMALL], "--name is required"),
            (["generate"], "SNAPSHOT and --name are required"),
            (["generate", SMALL, "--name", "9lives"], "not a C++ identifier"),
            (["generate", SMALL, "--name", "switch"], "not a C++ identifier"),
            (["generate", SMALL, "--name", "a-b"], "not a C++ identifier"),
            (["generate", SMALL, "--name", "F", "--name", "G"], '--name is given more than once: "F" and "G"'),
            (["generate", SMALL, "-n"], "--name: the value is missing; expected NAME"),
            (["generate", SMALL, "--naem", "F"], 'unexpected argument "--naem"; did you mean --name?'),
            ([*generate, "--output", "out"], 'unexpected argument "--output"; did you mean --output-dir?'),
            ([*generate, "--frobnicate"], 'unexpected argument "--frobnicate"\n'),
            ([*generate, "a", "b", "--json"], 'unexpected argument "a"\n'),
            ([*generate, "--output-dir", "-"], "--output-dir: the files cannot go to standard output"),
            ([*generate, "--guid", "0x12345678901234567"], "is not a GUID"),
            ([*generate, "--guid", "sw1"], "is not a GUID"),
            ([*generate, "--jobs", "0"], '--jobs: "0" is not a number from 1 to 1024\n'),
            ([*generate, "--jobs", "many"], '--jobs: "many" is not a number from 1 to 1024\n'),
            ([*generate, "--missing", "comments"], '"comments" is not one of comment, error; did you mean comment?'),
            ([*generate, "--buildable=2"], "--buildable takes no value"),
            ([*generate, "--shards", "2"], "--shards requires --models"),
            (["inspect", SMALL, "--topology", "--json"], "--topology and --json cannot be used together"),
            (["inspect", SMALL, "--node", "x", "--guid", "1"], "--node and --guid cannot be used together"),
            (["verfy", SMALL], 'there is no command "verfy"; did you mean verify?'),
            (["help", "frobnicate"], 'there is no command "frobnicate"\n'),
            ([], "a command is missing; expected one of generate, "),
        ]:
            self.assert_refused(self.run_program(*arguments), 2, message)

    def test_says_no_more_than_it_is_asked_for(self):
        quiet = self.run_program("generate", SMALL, "-q", "--one-per-class", "-n", "F", "-o", "new")
        self.assertEqual((quiet.stdout, quiet.stderr), ("new/f_generated.cpp\n", ""))
        self.assertIn("warning: ", self.generate("--quiet").stderr)

    def test_keeps_names_of_the_reference_simulator_from_its_dumps_alone(self):
        for arguments in (["generate", SMALL, "--simulator-header"], ["verify", SMALL]):
            self.assert_refused(self.run_program(*arguments, "--name", "SMP_NodeInfo"), 2,
                                '--name: "SMP_NodeInfo" is a name that the reference simulator uses')
        self.assertEqual(self.run_program("generate", SMALL, "--name", "SMP_NodeInfo").returncode, 0)

    def test_refuses_bad_input_and_writes_nothing(self):
        (self.dir / "bad").write_text(HEADER + node("a") + node("a", 2))
        (self.dir / "guids").write_text("12\nxyz\n")
        (self.dir / "none").write_text("# nothing\n")
        (self.dir / "out").mkdir()
        for arguments, message in [
            (["bad"], "bad:3: name: is also the name of the node on line 2"),
            (["missing"], "missing: No such file"),
            ([self.dir], "Is a directory"),
            ([SMALL, "--guid-file", "guids"], 'guids:2: "xyz" is not a GUID'),
            ([SMALL, "--guid-file", "none"], "none: contains no GUID"),
            ([SMALL, "--guid-file", "missing"], "missing: No such file"),
            ([SMALL, "-o", "bad"], "--output-dir: bad: Not a directory"),
            ([SMALL, "-o", "bad/sub"], "--output-dir: bad/sub: Not a directory"),
        ]:
            folder = [] if "-o" in arguments else ["-o", "out"]
            self.assert_refused(self.run_program("generate", *arguments, "--name", "F", *folder), 3, message)
            self.assertEqual(list((self.dir / "out").iterdir()), [])

    def test_names_what_is_missing(self):
        self.assert_refused(self.run_program("verify", SMALL, "--compiler", "no-such-c++"), 3,
                            'there is no C++ compiler called "no-such-c++"; install g++ or clang, or name another one')

    def test_reads_what_is_compressed(self):
        plain = self.generate("--buildable")
        source = self.made()
        (self.dir / "small").write_bytes(gzip.compress(SMALL.read_bytes()))
        done = self.run_program("generate", "small", "--name", "Fab1", "--output-dir", "out", "--buildable")
        self.assertEqual((done.stdout, done.stderr, self.made()), (plain.stdout, plain.stderr, source))

    def test_reads_standard_input(self):
        done = self.run_program("generate", "-", "--name", "Fab1", "--output-dir", "out", stdin=HEADER + node("x"))
        self.assertEqual((done.returncode, self.banners()), (0, ["x"]))
        done = self.run_program("generate", "-", "--name", "F", stdin=HEADER + "{")
        self.assertIn("<stdin>:2: ", done.stderr)

    def test_keeps_the_old_file_when_the_disk_is_full(self):
        (self.dir / "out").mkdir()
        old = self.dir / "out" / "fab1_generated.cpp"
        old.write_text("old")

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
            signal.signal(signal.SIGXFSZ, signal.SIG_DFL)

        self.assert_refused(self.generate(preexec_fn=limit), 3, "error: out/fab1_generated.cpp: File too large")
        self.assertEqual([old.read_text(), os.listdir(self.dir / "out")], ["old", ["fab1_generated.cpp"]])

    def test_reports_a_full_standard_output(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            for arguments in (["--version"], ["--help"], ["generate", "--help"],
                              ["generate", str(SMALL), "--name", "F"]):
                done = self.run_program(*arguments, stdout=full, stderr=subprocess.PIPE)
                self.assertEqual(done.returncode, 3, arguments)
                self.assertIn("standard output: No space left", done.stderr)

    def test_helps_on_standard_output(self):
        self.assertRegex(self.run_program("--version").stdout, r"^siminfo \d+\.\d+\.\d+\n$")
        for arguments in (["--help"], ["generate", "--help"]):
            done = self.run_program(*arguments)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            self.assertIn("Usage: " + " ".join(["siminfo", *arguments[:-1]]), done.stdout)
            self.assertEqual(done.stdout, self.run_program("help", *arguments[:-1]).stdout)

    def test_writes_no_source_with_a_host_name_that_leaves_its_line(self):
        for forms, files in (([], 1), (["--models"], 3)):
            for name, words in (("a-host.example", ""), ("a\nint x;//", "U+000a"), ("a \\ ", "backslash"),
                                ("a??/", "backslash")):
                environment = {**os.environ, "LD_PRELOAD": os.path.basename(HOST_NAME), "HOST_NAME": name,
                               "LD_LIBRARY_PATH": os.path.dirname(HOST_NAME),
                               "ASAN_OPTIONS": "verify_asan_link_order=0"}
                done = self.generate(*forms, env=environment)
                if words:
                    self.assert_refused(done, 3, words)
                else:
                    self.assertEqual(done.returncode, 0, done.stderr)
                self.assertEqual(len(list((self.dir / "out").iterdir())), 0 if words else files)
                shutil.rmtree(self.dir / "out")

    def test_repeats_nothing_that_a_terminal_obeys(self):
        evil = "a\x1b]0;x\x07b"
        (self.dir / evil).write_text("{}")
        compiler = self.dir / f"compiler{evil}"
        compiler.write_text(f"#!/bin/sh\necho '{evil}: error: {evil}' >&2\nexit 1\n")
        compiler.chmod(0o755)
        for arguments in (["generate", evil, "--name", "F"], ["generate", SMALL, "--name", evil],
                          ["generate", SMALL, "--name", "F", f"--{evil}"], ["verify", SMALL, "--compiler", compiler],
                          ["generate", SMALL, "--name", "F", "--guid-file", evil], ["verify", SMALL, "--use", evil]):
            done = self.run_program(*arguments)
            self.assertNotEqual(done.returncode, 0, arguments)
            self.assertNotIn("\x1b", done.stdout + done.stderr, arguments)
            self.assertIn("\\u{001b}", done.stdout + done.stderr, arguments)

    @unittest.skipIf(b"__asan_init" in pathlib.Path(PROGRAM).read_bytes(), "sanitizers need more than any limit leaves")
    def test_ends_in_order_where_memory_or_threads_are_short(self):
        tree = self.fat_tree("--leaves", "4")
        outcomes = set()
        for megabytes in range(20, 400, 12):
            def limit(bytes_=megabytes << 20):
                resource.setrlimit(resource.RLIMIT_AS, (bytes_, bytes_))
            done = self.run_program("generate", "-", "--name", "F", "--jobs", "8", stdin=tree, preexec_fn=limit)
            if done.returncode == 127:
                continue  # the system could not even load it
            outcomes.add(done.returncode)
            if done.returncode != 0:
                self.assert_refused(done, 3, "not enough memory")
        self.assertEqual(outcomes, {0, 3})

    @staticmethod
    def fat_tree(*arguments):
        return subprocess.run([sys.executable, SOURCE / "examples" / "make_fat_tree.py", *arguments],
                              capture_output=True, text=True, check=True).stdout

    def test_generates_a_fat_tree_the_same_in_any_order(self):
        tree = self.fat_tree("--leaves", "4")
        self.assertNotIn('"link"', tree)
        outputs = set()
        header, *nodes = tree.splitlines(keepends=True)
        for lines in (nodes, nodes[::-1]):
            done = self.run_program("generate", "-", "--name", "Ft", stdin=header + "".join(lines))
            self.assertRegex(done.stderr, "siminfo: 134 nodes, 2948 frames: .*, 0 #error")
            text = (self.dir / "ft_generated.cpp").read_text()
            outputs.add(re.sub("0x0x[0-9a-f]+", "", text))
        self.assertEqual(len(outputs), 1)

    def test_a_fat_tree_says_what_is_connected_to_what(self):
        for leaves in (1, 5):
            lines = self.fat_tree("--leaves", str(leaves), "--links", "--distinct").splitlines()
            nodes = {node["name"]: node for node in map(json.loads, lines[1:])}
            links = {(name, port["num"]): (port["link"]["node"], port["link"]["port"])
                     for name, node in nodes.items() for port in node["ports"] if "link" in port}
            spines = (leaves + 1) // 2
            for leaf in range(leaves):
                for k in range(32):
                    self.assertEqual(links[f"leaf-{leaf:04}", k + 1], (f"host-{leaf:04}-{k:02}", 1))
                    self.assertEqual(links[f"leaf-{leaf:04}", k + 33][0], f"spine-{(32 * leaf + k) % spines:04}")
            self.assertEqual(links, {far: near for near, far in links.items()})
            self.assertEqual(len(links), 2 * 64 * leaves)
            for key, count in (("lid", len(nodes)), ("guid", len(nodes) + leaves * 16)):
                given = [port[key] for node in nodes.values() for port in node["ports"] if key in port]
                self.assertEqual((len(given), len(set(given))), (count, count), key)
            done = self.run_program("generate", "-", "--name", "F", "--models", stdin="\n".join(lines))
            self.assertIn(f" {len(nodes)} nodes, {len(nodes)} models,", done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
