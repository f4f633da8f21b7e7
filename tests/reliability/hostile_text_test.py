#!/usr/bin/env python3
"""Texts that try to be more than text, in every place of a snapshot that has one: each is refused with nothing written,
or what is generated with it compiles to the same functions, and no screen obeys it."""

import itertools
import json
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAM = sys.argv[1]

CORPUS = [
    "a\\", "a\\ ", "a\\\t", "??/", "a??/ ", "a\\??/", "*/", "/*", "//", '"', '""', '" /*', '"" /*', '" //', "'", "'\"",
    '"); system("true', "\n", "a\nint x;", "\r", "\r\n", "\v", "\f", "\0", "a\0b", "\x85", "\u2028", "\u2029", "\u202e", "\u2066",
    "\u2069", "\u200f", "\ufeff", "\u0022", "\\u0022", "\\N{QUOTATION MARK}", 'R"(', ')"', "#include <x>", "#error",
    "\\\n#define x", "%n%s", "<script>alert(1)</script>", "<!--", "]]>", "\x1b[2J", "\x1b]8;;x\x07", "${x}", "$(true)",
    "`true`", "../../x", "\x7f", "\u00e9\u4e2d", "\U0001f600", "??=??(??)", "__FILE__", "}", "{", ";", " ", "a" * 4000, "-", "--x",
    "\\x41", "a\u0300" * 50,
]
FORBIDDEN = re.compile("[\0-\x08\x0b-\x1f\x7f-\x9f\u2028-\u202e\u2066-\u2069]")

HEADER_TEXTS = ("source", "collected_at", "fabric")
NODE_TEXTS = ("name", "alternative_name", "description")
CLASSES = {"SW": {"type": "switch"}, "HCA": {"type": "ca"}, "RTR": {"type": "router"}, "AN": {"type": "ca", "special_type": 1}}
FRAMES = 22


def snapshot(header, nodes):
    documents = [{"fabric_snapshot": 1, **header}]
    for number, (kind, texts) in enumerate(nodes, 1):
        documents.append({"guid": number, "num_ports": 1, "name": f"n{number}", **CLASSES[kind], **texts})
    return "".join(json.dumps(document) + "\n" for document in documents)


class HostileText(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.dir = pathlib.Path(scratch.name)
        cls.dump = cls.dir / "project/dumps/fab1"
        cls.run_program("generate", "-", "--name", "Fab1", "--models", "--project", "--output-dir", cls.dir / "project",
                        stdin=snapshot({}, [("SW", {})]))
        cls.accepted = [text for text in CORPUS if cls.is_taken("name", text)]

    @classmethod
    def run_program(cls, *arguments, stdin):
        done = subprocess.run([PROGRAM, *map(str, arguments)], input=stdin.encode(), capture_output=True, timeout=60)
        out, err = done.stdout.decode(), done.stderr.decode()
        assert not FORBIDDEN.search(out + err), (arguments, out, err)
        return done.returncode, err

    @classmethod
    def is_taken(cls, place, text):
        """Whether the snapshot with the text in that place is taken, which writes a file, or refused, which does not."""
        if place == "absent":
            written = snapshot({}, [("SW", {"absent": {"SMP_NodeInfo": text}})])
        elif place in HEADER_TEXTS:
            written = snapshot({place: text}, [("SW", {})])
        else:
            written = snapshot({}, [("SW", {place: text})])
        out = cls.dir / "out"
        status, err = cls.run_program("generate", "-", "--name", "Fab1", "--output-dir", out, stdin=written)
        assert status in (0, 3) and (status == 0) == (out / "fab1_generated.cpp").exists(), (place, text, err)
        assert status == 0 or "error: <stdin>:" in err, (place, text, err)
        shutil.rmtree(out, ignore_errors=True)
        return status == 0

    def test_is_refused_or_taken(self):
        self.assertGreater(len(self.accepted), 25)
        for text in ("a\\", "??/", '" /*', "\n", "\u2028", "\u202e", "\x1b[2J", "\0"):
            self.assertNotIn(text, self.accepted)
        for place in (*HEADER_TEXTS, *NODE_TEXTS, "absent"):
            taken = {text for text in CORPUS if self.is_taken(place, text)}
            # Where a text stands alone on its line, it may have what closes a quotation.
            self.assertLessEqual(set(self.accepted), taken, place)

    def generate(self, nodes, *options):
        texts = {place: nodes[0][1]["name"] for place in HEADER_TEXTS}
        status, err = self.run_program("generate", "-", "--name", "Fab1", "--simulator-header", "--output-dir", self.dump,
                                       *options, stdin=snapshot(texts, nodes))
        self.assertEqual(status, 0, err)
        return (self.dump / "fab1_generated.cpp").read_text()

    def compile(self, compiler, standard, *options):
        return subprocess.run([compiler, f"-std={standard}", "-trigraphs", "-w", "-fmax-errors=0" if compiler == "g++" else
                               "-ferror-limit=0", f"-I{self.dir / 'project'}", *options, "fab1_generated.cpp"],
                              cwd=self.dump, capture_output=True, text=True, errors="replace", timeout=120)

    def test_changes_nothing_of_what_compiles(self):
        """In names and other texts of all classes, four of them in a file."""
        for four in itertools.zip_longest(*[iter(self.accepted)] * 4, fillvalue="x"):
            # At the end, where whatever follows is the generator's own.
            nodes = [(kind, {"name": f"{number}{text}", "alternative_name": text, "description": text})
                     for number, (kind, text) in enumerate(zip(CLASSES, four))]
            for compiler, standard in itertools.product(("g++", "clang++"), ("c++17", "c++20")):
                with self.subTest(texts=four, compiler=compiler, standard=standard):
                    errors = len(re.findall("^#error", self.generate(nodes), re.M))
                    refused = self.compile(compiler, standard, "-fsyntax-only")
                    self.assertEqual(refused.stderr.count("error: #error") + refused.stderr.count("error: \""), errors)
                    self.generate(nodes, "--missing", "comment", "--buildable")
                    done = self.compile(compiler, standard, "-c", "-o", "fab1.o")
                    self.assertEqual(done.returncode, 0, done.stderr)
                    names = subprocess.run(["nm", "-C", "fab1.o"], cwd=self.dump, capture_output=True, text=True).stdout
                    self.assertEqual(len(re.findall(r" T Fab1::\w+::set\w+\(\)", names)), FRAMES * len(CLASSES))

    def test_is_shown_as_text(self):
        nodes = [("SW", {"name": f"{number}{text}", "absent": {"SMP_NodeInfo": text}})
                 for number, text in enumerate(self.accepted)]
        written = snapshot({"source": self.accepted[0]}, nodes)
        for command in (["inspect"], ["inspect", "--nodes"], ["inspect", "--json"], ["inspect", "--topology"]):
            status, err = self.run_program(command[0], "-", *command[1:], stdin=written)
            self.assertEqual(status, 0, err)


if __name__ == "__main__":
    missing = [program for program in ("g++", "clang++", "nm") if not shutil.which(program)]
    if missing:
        print("SKIPPED, nothing was tried: install", ", ".join(missing))
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
