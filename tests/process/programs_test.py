#!/usr/bin/env python3
"""Lets siminfo verify and serve start compilers that misbehave, on machines that are short of something.

    programs_test.py SIMINFO [unittest's arguments]

Whatever happens, no program and no folder is left. What needs root, or a program that is missing, says so and ends with 77.
"""
import glob
import os
import random
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

SIMINFO = ""
ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
FABRIC = os.path.join(ROOT, "examples/small_fabric.json")
NODE = ("--guid", "0x2c90000000071")  # one small device
SKIPPED = []


def processes(words, what="cmdline"):
    """The command lines, or environments, of the running processes that have these words in them."""
    found = []
    for path in glob.glob("/proc/[0-9]*/" + what):
        try:
            with open(path, "rb") as file:
                found.append(file.read().replace(b"\0", b" "))
        except OSError:
            pass
    return [text for text in found if words.encode() in text]


class ProgramsTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="siminfo-programs-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.temporary = self.place("tmp")
        os.mkdir(self.temporary)
        # By this argument the test knows the programs that it started.
        self.mark = f"{1000 + os.getpid()}.{int(self.id().encode().hex(), 16) % 10**9}"
        self.environment = dict(os.environ, TMPDIR=self.temporary, XDG_CACHE_HOME=self.place("cache"))

    def tearDown(self):
        self.wait_until(lambda: not self.left())

    def place(self, name):
        return os.path.join(self.folder, name)

    def left(self):
        return [os.path.join(self.temporary, name) for name in os.listdir(self.temporary)] + [
            environment[:200] for environment in processes(self.folder, "environ")]

    def wait_until(self, holds, seconds=20):
        end = time.monotonic() + seconds
        while not holds():
            self.assertLess(time.monotonic(), end, f"nothing came of it; left are {self.left()}")
            time.sleep(0.02)

    def compiler(self, *lines):
        path = self.place("compiler")
        with open(path, "w", encoding="ascii") as file:
            file.write("\n".join(["#!/bin/sh", *lines]).replace("MARK", self.mark) + "\n")
        os.chmod(path, 0o755)
        return path

    def run_siminfo(self, *arguments, under=(), **changes):
        done = subprocess.run([*under, SIMINFO, *arguments], env=dict(self.environment, **changes), cwd=self.folder,
                              capture_output=True, check=False, timeout=200)
        return done.returncode, (done.stdout + done.stderr).decode("utf-8", "backslashreplace")

    def verify(self, *arguments, **changes):
        found = self.run_siminfo("verify", FABRIC, *NODE, *arguments, **changes)
        # All that is left is gone by then, though those who wait for siminfo's output need not wait for it.
        self.wait_until(lambda: not self.left(), 5)
        return found

    def assert_ends(self, found, status, *words):
        self.assertEqual(found[0], status, found[1])
        for each in words:
            self.assertIn(each, found[1])

    # Compilers that misbehave.

    def test_compilers_that_do_not_end_well_are_no_fault_of_the_dump(self):
        cases = {"trap '' TERM INT HUP\nsleep MARK": "had not finished after 2 s; allow more with --time-limit",
                 "setsid sleep MARK &\nsleep MARK": "had not finished after 2 s",
                 "kill -9 $$": "was ended by signal 9 (Killed), which the system does when memory is short",
                 "exec yes MARK >&2": "was ended by signal 25 (File size limit exceeded)",
                 "echo 'x.cpp:1:1: fatal error: error writing to x.s: No space left on device' >&2; exit 1":
                     "compiler: x.cpp:1:1: fatal error: error writing to x.s: No space left on device",
                 "echo 'g++: fatal error: Killed signal terminated program cc1plus' >&2; exit 1":
                     "Killed signal terminated"}
        for script, words in cases.items():
            found = self.verify("--compiler", self.compiler(*script.split("\n")), "--time-limit",
                                "2" if "sleep" in script else "100")
            self.assert_ends(found, 3, words)
        found = self.verify("--memory-limit", "24")
        self.assertEqual(found[0], 3, found[1])
        self.assertRegex(found[1], "memory|allocate|signal terminated")

    def test_what_a_compiler_starts_does_not_outlive_it(self):
        compiler = self.compiler("setsid sleep MARK &", "(sleep MARK &) &", 'exec c++ "$@"')
        self.assert_ends(self.verify("--compiler", compiler), 0)

    def test_a_program_is_compiled_with_one_simulator(self):
        """The file of the nodes has one beside it as well, and appears while compilers are at work."""
        compiler = self.compiler("while ! touch -c -d 2001-01-01 core/node.h || [ ! -e core/node.h ]; do sleep 0.1; done",
                                 'exec c++ "$@"')
        self.assert_ends(self.verify("--compiler", compiler, "--jobs", "2", "--buildable"), 0)

    def test_what_a_compiler_says_is_no_command_to_a_terminal(self):
        found = self.verify("--compiler", self.compiler(r"printf 'x: error: \033[2J\033]0;t\007\302\233b\n' >&2; exit 1"))
        self.assert_ends(found, 1, "x: error: \\u{001b}[2J")
        self.assertFalse([character for character in found[1] if character < " " and character != "\n"])
        self.assertNotIn("\x9b", found[1])
        # Devices have names, and a name is no want of space.
        found = self.verify("--compiler", self.compiler(
            "echo 'x.cpp:1:2: error: \"no mad for the node=a: No space left on device\"' >&2",
            "echo '// Name: a: No space left on device' >&2; exit 1"))
        self.assertEqual(found[0], 1, found[1])

    def test_programs_that_come_to_no_function_are_a_fault_of_the_file(self):
        in_time = "a program that (does not reach it in time|was ended by signal 24 .* before it called it)"
        for code, words in {"for (;;) i = 1;": in_time, "sleep(1000);": in_time,
                            "_exit(7);": "a program that exits with 7 before it calls it",
                            "new char[1UL << 40];": "ended by signal 6 .Aborted. before it called it"}.items():
            with open(self.place("before.h"), "w", encoding="ascii") as file:
                file.write("#include <unistd.h>\nstatic struct Early { Early() { volatile int i = 0; (void)i; "
                           + code + " } } early;\n")
            compiler = self.compiler(f'exec c++ -include {self.place("before.h")} "$@"')
            found = self.verify("--compiler", compiler, "--time-limit", "8")
            self.assertEqual(found[0], 1, found[1])
            self.assertRegex(found[1], "setNodeInfo: the whole frame: expected a function that is called, found .*" + words)

    def test_functions_that_take_too_much_memory_or_print_are_a_fault_of_the_file(self):
        dump = self.place("dump")
        self.assert_ends(self.run_siminfo("generate", FABRIC, *NODE, "--name", "F", "--output-dir", dump), 0)
        path = os.path.join(dump, "f_generated.cpp")
        with open(path, encoding="utf-8") as file:
            text = file.read()
        for code, words in {"for (;;) new int[1 << 20];": "a program that ended in it",
                            'puts("frame 99 x 0"); puts("frame x"); puts("end");': "0 differ"}.items():
            with open(path, "w", encoding="utf-8") as file:
                file.write(text.replace("SMP_NodeInfo mad_buffer = {0};", "SMP_NodeInfo mad_buffer = {0}; " + code, 1))
            found = self.verify("--use", dump, "--name", "F", "--memory-limit", "1500")
            self.assert_ends(found, 1 if "new" in code else 0, words)

    # Machines that are short of something.

    def test_want_of_descriptors_space_memory_and_processes_is_told_as_such(self):
        self.walk(lambda n: ("prlimit", f"--nofile={n}"), range(4, 40), "Too many open files|descriptor")
        self.walk(lambda n: ("prlimit", f"--as={n << 20}"), (30, 60, 100, 4000), "memory|allocate|signal terminated")
        if os.geteuid() == 0 and shutil.which("setpriv"):
            for folder in (self.folder, self.temporary):
                os.chmod(folder, 0o777)
            self.walk(lambda n: ("setpriv", "--reuid=65534", "--clear-groups", "prlimit", f"--nproc={n}"), range(1, 20),
                      "Resource temporarily unavailable")
        else:
            SKIPPED.append("want of processes needs root and setpriv")

    def walk(self, under, amounts, words):
        """With more and more of it, until a run succeeds."""
        for amount in amounts:
            status, text = self.verify(under=under(amount))
            if status == 0:
                self.assertNotEqual(amount, amounts[0], "there was no want")
                return
            if status == 127 or "error while loading shared libraries" in text.split("siminfo: error")[0]:
                continue  # siminfo itself did not begin
            self.assertEqual(status, 3, f"{under(amount)}: {text}")
            self.assertRegex(text, words)
        self.fail("no run succeeded")

    def test_want_of_space_is_told_as_such(self):
        mount = ["unshare", "-rm", "sh", "-c"]
        line = f"mount -t tmpfs -o size=$SIZE none {shlex.quote(self.temporary)} && exec \"$@\""
        if subprocess.run([*mount, line, "-", "true"], env=dict(self.environment, SIZE="1m"), capture_output=True,
                          check=False).returncode != 0:
            SKIPPED.append("want of space needs a mount of one's own")
            return
        told = set()
        for size in (16, 64, 128, 200, 300, 500, 800, 1000, 100000):
            status, text = self.verify(under=[*mount, line, "-"], SIZE=f"{size}k")
            told.add(status)
            if status != 0:
                self.assert_ends((status, text), 3, "No space left on device")
        self.assertEqual(told, {0, 3})

    # Paths and folders.

    def test_paths_may_have_anything_in_them(self):
        hostile = self.place("a \"q\" 'b' back\\slash\n#error x\nf.cpp:1:2: error: y $(touch z) %s")
        os.mkdir(hostile)
        self.assert_ends(self.verify(TMPDIR=hostile), 0)
        self.assertEqual(os.listdir(hostile), [])
        self.assert_ends(self.verify("--keep", hostile), 0)
        dump = glob.glob(glob.escape(hostile) + "/dumps/fabric/fabric_generated.cpp")[0]
        with open(dump, "r+", encoding="utf-8") as file:
            text = file.read().replace("VendorID = ", "NoSuch = ", 1)
            file.seek(0)
            file.write(text)
        line = text[:text.index("NoSuch")].count("\n") + 1
        self.assert_ends(self.verify("--use", hostile), 1, "setNodeInfo", f"line {line}: ", "NoSuch")

    def test_a_folder_to_keep_hides_nothing_and_leads_nowhere(self):
        keep, other = self.place("keep"), self.place("other")
        os.mkdir(keep)
        os.mkdir(other)
        with open(os.path.join(keep, "vector"), "w", encoding="ascii") as file:
            file.write("#error hidden\n")
        self.assert_ends(self.verify("--keep", keep), 3, 'contains "vector"; expected a new or empty folder')
        os.remove(os.path.join(keep, "vector"))
        for _ in range(2):  # new, and again
            self.assert_ends(self.verify("--keep", keep + "/"), 0)
        for name in ("units", "models", "siminfo-verify"):
            path = os.path.join(keep, name)
            (os.remove if name == "siminfo-verify" else shutil.rmtree)(path)
            os.symlink(other if name != "siminfo-verify" else os.path.join(other, "file"), path)
        self.assert_ends(self.verify("--keep", keep), 0)
        self.assertEqual(os.listdir(other), [])
        self.assert_ends(self.verify("--keep", keep, "--use", keep), 3, "--use reads")
        os.chmod(keep, 0o777)
        self.assert_ends(self.verify("--keep", keep), 3, "is writable by everybody")
        if os.geteuid() == 0:
            os.chmod(keep, 0o755)
            os.chown(keep, 65534, 65534)
            self.assert_ends(self.verify("--keep", keep), 3, "belongs to another user")
        else:
            SKIPPED.append("a folder of another user's needs root")

    # Ends of siminfo.

    def start(self, *arguments, **options):
        return subprocess.Popen([SIMINFO, *arguments], env=dict(self.environment, **options.pop("environment", {})),
                                cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)

    def compilers(self):
        return processes("sleep " + self.mark)

    def test_nothing_outlives_siminfo(self):
        compiler = self.compiler("trap '' TERM INT HUP", "setsid sleep MARK &", "sleep MARK &", "sleep MARK")
        dump = self.place("dump")  # of which each node has a compiler of its own
        self.assert_ends(self.run_siminfo("generate", FABRIC, "--name", "F", "--output-dir", dump), 0)
        verify = ("verify", FABRIC, "--name", "F", "--use", dump, "--jobs", "2", "--compiler", compiler)
        serve = ("serve", FABRIC, "--", "true")
        for arguments, number in ((verify, 6), (serve, 3)):
            for sent in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL):
                process = self.start(*arguments, environment={"CXX": compiler})
                self.wait_until(lambda: len(self.compilers()) >= number or process.poll() is not None)
                process.send_signal(sent)
                text = process.communicate(timeout=10)[0].decode()
                if "libumad2sim.so" in text:
                    SKIPPED.append("serve needs libumad2sim0")
                    break
                self.assertEqual(process.returncode, -sent if sent == signal.SIGKILL else 3, text)
                self.assertIn("" if sent == signal.SIGKILL else "interrupted: nothing was ", text)
                self.wait_until(lambda: not self.left(), 5)
        process = self.start(*verify)
        self.wait_until(lambda: len(self.compilers()) >= 6)
        process.send_signal(signal.SIGTERM)
        process.send_signal(signal.SIGINT)  # the second one is the end at once; of two that wait either may be it
        process.communicate(timeout=10)
        self.assertIn(process.returncode, (-signal.SIGINT, -signal.SIGTERM))
        self.wait_until(lambda: not self.left(), 5)

    def test_an_end_at_any_moment_leaves_nothing(self):
        moments = random.Random(20261122)
        for _ in range(12):
            process = self.start("verify", FABRIC, *NODE)
            sent = moments.choice([signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGKILL])
            try:
                process.wait(timeout=moments.random() * 1.5)
            except subprocess.TimeoutExpired:
                process.send_signal(sent)
            text = process.communicate(timeout=20)[0].decode()
            # Before the work begins a signal is the end, and behind it there is nothing to interrupt.
            self.assertIn(process.returncode, (0, 3, -sent), text)
            self.wait_until(lambda: not self.left(), 5)

    def test_a_hangup_that_is_ignored_goes_on_to_be(self):
        compiler = self.compiler("sleep 2", "exit 0  # MARK")
        process = self.start("verify", FABRIC, *NODE, "--compiler", compiler,
                             preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        self.wait_until(lambda: processes("/bin/sh " + compiler))
        process.send_signal(signal.SIGHUP)
        self.assertNotIn("interrupted", process.communicate(timeout=60)[0].decode())

    def test_serve_builds_in_a_folder_of_its_own_and_begins_anew_behind_a_cut(self):
        def serve(*options, **changes):
            return self.run_siminfo("serve", FABRIC, *options, "--", "true", **changes)
        hang = self.compiler("trap '' TERM", "sleep MARK")
        found = serve("--time-limit", "3", CXX=hang)
        if "libumad2sim.so" in found[1] or "install the package" in found[1]:
            SKIPPED.append("serve needs libumad2sim0 and cmake")
            return
        self.assert_ends(found, 3, "had not finished after 3 s; allow more with --time-limit")
        root, = glob.glob(self.place("cache/siminfo/serve/*"))
        for path in (root, self.place("cache/siminfo")):
            self.assertEqual(os.stat(path).st_mode & 0o777, 0o700)
        os.makedirs(os.path.join(root, "build"), exist_ok=True)
        with open(os.path.join(root, "build/fabric_server"), "w", encoding="ascii") as half:
            half.write("half")
        self.assert_ends(serve(), 0)
        self.assertFalse(os.path.exists(os.path.join(root, "building")))
        found = serve(CXX=self.compiler("exit 1"), XDG_CACHE_HOME=self.place("second"))
        self.assert_ends(found, 3, "the server could not be built")
        os.mkdir(self.place("other"))
        shutil.rmtree(root)
        os.symlink(self.place("other"), root)
        self.assert_ends(serve(), 3, "is a symbolic link")
        self.assertEqual(os.listdir(self.place("other")), [])


if __name__ == "__main__":
    SIMINFO = os.path.abspath(sys.argv[1])
    RESULT = unittest.main(argv=sys.argv[:1] + sys.argv[2:], exit=False).result
    for what in SKIPPED:
        print("SKIPPED:", what)
    sys.exit(1 if not RESULT.wasSuccessful() else 77 if SKIPPED else 0)
