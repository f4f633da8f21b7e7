#!/usr/bin/env python3
"""What inputs of any kind may cost: refusals in few words, and memory in proportion to the bytes that were read."""

import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest

PROGRAM, SOURCE = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve()
SMALL = SOURCE / "examples" / "small_fabric.json"
CACHE = SOURCE / "tests" / "collect" / "two_nodes.cache"
HEADER = b'{"fabric_snapshot":1}\n'
MIB = 1 << 20
LIMIT = 64 * MIB
# In a process of its own, as a child begins with the peak of its parent.
MEASURE = """import resource, subprocess, sys
status = subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL).returncode
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)
sys.exit(status)"""
IS_SANITIZED = b"__asan_init" in pathlib.Path(PROGRAM).read_bytes()


def node(more=b"", name=b"n"):
    return b'{"name":"' + name + b'","guid":1,"type":2,"num_ports":254' + (b"," if more else b"") + more + b"}"


class Limits(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.dir = pathlib.Path(scratch.name)

    def run_program(self, *arguments, stdin=None):
        """Status, standard error, and the peak of the memory in bytes."""
        command = [sys.executable, "-c", MEASURE, PROGRAM, *map(str, arguments)]
        done = subprocess.run(command, input=stdin or b"", cwd=self.dir, capture_output=True, timeout=250, check=False)
        return done.returncode, done.stderr.decode(), int(done.stdout) * 1024

    def generate(self, snapshot, *arguments, stdin=None):
        return self.run_program("generate", snapshot, "--name", "F", "--output-dir", "out", *arguments, stdin=stdin)

    def ways(self, text):
        """The outcome of reading the text as a file, on one thread and on three, and through a pipe."""
        (self.dir / "s").write_bytes(text)
        yield self.generate("s", "--jobs", "1")
        yield self.generate("s", "--jobs", "3")
        yield self.generate("-", "--jobs", "3", stdin=text)

    def test_one_limit_of_a_document_however_its_bytes_arrive(self):
        for size, is_taken in ((LIMIT, True), (LIMIT + 1, False), (127 * MIB, False)):
            padding = b" " * (size - len(node()))
            inside = node()[:-1] + padding + b"}"
            for text in (inside + b"\n", inside.replace(b"  ", b" \n")):
                for status, errors, _ in self.ways(HEADER + text + node(name=b"m")):
                    self.assertEqual(status == 0, is_taken, errors)
                    self.assertEqual(":2: the document that begins here is larger than 64 MiB" in errors, not is_taken, errors)
        # Blanks behind a document are none of it.
        for status, errors, _ in self.ways(HEADER + node() + b" " * (LIMIT + MIB) + b"\n" + node(name=b"m")):
            self.assertEqual(status, 0, errors)

    def test_limits_of_texts_and_lists_in_few_words(self):
        longest, huge = b"n" * 4096, b"9" * (8 * MIB)
        port = b'"ports":[{"num":1,%s}]'
        for more, name, words in (
                (b"", longest, ""),
                (b"", longest + b"n", "2: name: has 4097 bytes; expected at most 4096"),
                (b'"alternative_name":"%s"' % huge, b"n", "2: alternative_name: has 8388608 bytes"),
                (b'"description":"%s"' % huge, b"n", "2: description: has 8388608 bytes"),
                (b'"absent":{"SMP_NodeInfo":"%s"}' % huge, b"n", "2: absent.SMP_NodeInfo: has 8388608 bytes"),
                (b'"%s":1' % huge, b"n", "99...: is unknown"),
                (b'"special_type":%s' % huge, b"n", "99... does not fit"),
                (b'"special_type":"%s"' % huge, b"n", '99..." does not fit'),
                (b'"ports":[%s]' % b",".join([b'{"num":1}'] * 300), b"n", "ports[256]: is one too many"),
                (port % b'"records":{"ZYRReductionConfigureMLIDMonitors":[%s1]}' % (b"1," * 4 * MIB), b"n",
                 "Monitors[256]: is one too many"),
                (port % b'"kinds":[%s"fnm"]' % (b'"fnm",' * MIB), b"n", "kinds[256]: is one too many")):
            for status, errors, _ in self.ways(HEADER + node(more, name) + b"\n"):
                self.assertEqual(status, 3 if words else 0, errors[:2000])
                self.assertIn(words, errors)
                self.assertLess(len(errors), 3000)

    def test_lists_end(self):
        long_name = self.dir / "map"
        long_name.write_bytes(b'0x1 "' + b"n" * 5000 + b'"\n')
        for arguments, words in ((["generate", SMALL, "--name", "F", "--guid-file", "/dev/zero"], "larger than 64 MiB"),
                                 (["collect", "--load-cache", CACHE, "--node-name-map", "/dev/zero"], "larger than 64 MiB"),
                                 (["collect", "--load-cache", CACHE, "--attribute-layouts", "/dev/zero"], "larger than 64"),
                                 (["collect", "--load-cache", CACHE, "--node-name-map", long_name], "map:1: the name has 5000"),
                                 (["collect", "--load-cache", "/dev/zero"], "/dev/zero: "),
                                 (["generate", "/dev/zero", "--name", "F"], "/dev/zero:1: ")):
            status, errors, peak = self.run_program(*arguments)
            if "siminfo-collect is missing" in errors:
                print("SKIPPED: siminfo was built without a collector", file=sys.stderr)
                continue
            self.assertEqual(status, 3, errors[:2000])
            self.assertIn(words, errors)
            self.assertLess(len(errors), 3000)
            self.assertLess(peak, 5 * LIMIT + 200 * MIB * IS_SANITIZED, arguments)

    @unittest.skipIf(IS_SANITIZED, "sanitizers have memory of their own")
    def test_memory_stays_in_proportion_to_the_bytes(self):
        def snapshot(count, more, kind=b"2"):
            return HEADER + b"".join(b'{"name":"%x","guid":%d,"type":%s,"num_ports":254%s}\n' % (i, i, kind, more)
                                     for i in range(count))
        lid = b",".join(b'{"num":%d,"lid":1}' % i for i in range(1, 255))
        absent = b",".join(b'{"num":%d,"absent":{"SMP_PortInfo":"x"}}' % i for i in range(1, 255))
        link = b",".join(b'{"num":%d,"link":{"node":"z","port":%%d}}' % i for i in range(1, 255))
        (self.dir / "none").write_bytes(HEADER)
        others = {"ports that are claimed": [["report", "s", "--output", "s.html"], ["verify", "s"]],
                  "links": [["diff", "s", "none"], ["diff", "--json", "none", "s"]]}
        monitors = b'{"num":1,"records":{"ZYRReductionConfigureMLIDMonitors":[%s]}}' % b",".join([b"0"] * 256)
        for what, text in (("ports that are claimed", snapshot(400000, b"")),
                           ("adapters", snapshot(400000, b"", b"1")),
                           ("ports that say little", snapshot(4000, b',"ports":[%s]' % lid)),
                           ("reasons", snapshot(2000, b',"ports":[%s]' % absent)),
                           ("links", HEADER + b"".join(
                               b'{"name":"%d","guid":1,"type":1,"num_ports":254,"ports":[%s]}\n' %
                               (i, link.replace(b'"z"', b'"z%d"' % i) % tuple(range(1, 255))) for i in range(2000))),
                           ("monitors", snapshot(20000, b',"ports":[%s]' % monitors)),
                           ("one document", HEADER + node(b'"x":[%s0]' % (b"0," * 30 * MIB))),
                           ("the highest port alone", snapshot(16000, b',"ports":[{"num":254}]'))):
            (self.dir / "s").write_bytes(text)
            commands = [["generate", "s", "--name", "F", "--output-dir", "out"], *others.get(what, [])]
            for command in commands:
                status, errors, peak = self.run_program(*command, "--jobs", "2")
                self.assertIn(status, (0, 1, 3), errors)
                ratio = (peak - 64 * MIB) / len(text)
                print(f"{what}: {command[0]}, {len(text) / 1e6:.0f} MB, peak {peak / 1e6:.0f} MB, "
                      f"{ratio:.1f}x above 64 MiB", file=sys.stderr)
                self.assertLess(ratio, 8, (what, command))

    def test_bounds_what_is_left_out(self):
        text = HEADER + b"".join(b'{"name":"%x","guid":1,"type":2,"num_ports":254,"ports":[{"num":254}]}\n' % i
                                 for i in range(20000))
        for status, errors, _ in self.ways(text):
            self.assertEqual(status, 3, errors)
            self.assertIn(":16580: ports: with this node, 4194487 ports below the highest one of their node are missing", errors)
        status, errors, peak = self.run_program("collect", "--load-cache", self.cache(10000))
        if "siminfo-collect is missing" in errors:
            self.skipTest("SKIPPED: siminfo was built without a collector")
        self.assertEqual(status, 3, errors)
        self.assertIn("ports of nodes are not in the file; expected at most 65536", errors)
        self.assertLess(peak, 8 * 2.1e6 + LIMIT + 200 * MIB * IS_SANITIZED)

    def cache(self, nodes):
        """A discovery cache of switches that claim 255 ports and hold none."""
        path = self.dir / "cache"
        bytes_ = struct.pack("<IIIIQI", 0x8fe7832b, 1, nodes, 0, 1, 0)
        for i in range(1, nodes + 1):
            info = bytearray(64)
            info[0:4] = bytes((1, 1, 2, 255))
            info[12:20] = struct.pack(">Q", i)
            bytes_ += struct.pack("<HBB64xQBB", 0, 0, 0, i, 2, 255) + bytes(info) + bytes(64) + b"\0"
        path.write_bytes(bytes_)
        return path


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
