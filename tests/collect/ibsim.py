"""A simulated fabric for tests: ibsim on a socket of its own, and programs that run on it."""
import glob
import os
import shutil
import subprocess
import tempfile
import time
import uuid

HERE = os.path.dirname(os.path.abspath(__file__))
EXAMPLES = "/usr/share/doc/ibsim-utils/net-examples"


def wrapper():
    """The library that takes a program's management packets to ibsim, or None."""
    found = glob.glob("/usr/lib/*/umad2sim/libumad2sim.so") + glob.glob("/usr/lib*/umad2sim/libumad2sim.so")
    return found[0] if found else None


def missing():
    """What the tests need and is not there, in words; empty when all is there."""
    programs = [p for p in ("ibsim", "ibnetdiscover")
                if not shutil.which(p, path=os.environ["PATH"] + ":/usr/sbin:/sbin")]
    return ", ".join(programs + ([] if wrapper() else ["libumad2sim.so"]))


class Ibsim:
    """Runs ibsim on a network file for as long as the `with` block lasts, in a folder of its own."""

    def __init__(self, net):
        self.net = net
        self.programs = []

    def __enter__(self):
        self.folder = tempfile.mkdtemp(prefix="siminfo-ibsim-")
        path = os.environ["PATH"] + ":/usr/sbin:/sbin"
        self.environment = dict(os.environ, PATH=path, IBSIM_SOCKNAME="siminfo-" + uuid.uuid4().hex)
        self.log = open(os.path.join(self.folder, "ibsim.log"), "w+b")
        # Its standard input stays open: at the end of it ibsim would end.
        self.process = subprocess.Popen(
            ["ibsim", "-s", "-N", "4096", "-S", "1024", "-P", "60000", self.net], cwd=self.folder,
            env=self.environment, stdin=subprocess.PIPE, stdout=self.log, stderr=subprocess.STDOUT)
        self.wait_for(b"simulator ready")
        return self

    def __exit__(self, *_):
        for program in self.programs:
            if program.poll() is None:
                program.kill()
                program.communicate()
        self.stop()
        self.process.stdin.close()
        self.log.close()
        shutil.rmtree(self.folder)

    def stop(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()

    def output(self):
        with open(self.log.name, "rb") as log:
            return log.read()

    def wait_for(self, text, start=0):
        end = time.monotonic() + 20
        while text not in self.output()[start:]:
            if self.process.poll() is not None or time.monotonic() > end:
                raise RuntimeError("ibsim: " + self.output().decode(errors="replace"))
            time.sleep(0.01)

    def command(self, text):
        """Has ibsim carry out a command of its console."""
        start = len(self.output())
        self.process.stdin.write(text.encode() + b"\nVerbose\n")
        self.process.stdin.flush()
        self.wait_for(b"verbose level is", start)

    def start_program(self, arguments, alter="", preload=None, **options):
        # In a build with sanitizers, their runtime comes behind the preloaded libraries.
        address = f"verify_asan_link_order=0:suppressions=\"{HERE}/asan_suppressions.txt\""
        leak = f"print_suppressions=0:suppressions=\"{HERE}/lsan_suppressions.txt\""
        environment = dict(self.environment, ASAN_OPTIONS=address, LSAN_OPTIONS=leak, LD_PRELOAD=wrapper())
        if preload:  # by name: a path with blanks in it would be several
            environment["LD_PRELOAD"] += ":" + os.path.basename(preload)
            environment["LD_LIBRARY_PATH"] = os.path.dirname(preload)
        if alter:
            environment["ALTER_ANSWERS"] = alter
        program = subprocess.Popen(arguments, cwd=self.folder, env=environment, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True, errors="surrogateescape", **options)
        self.programs.append(program)
        return program

    def run(self, arguments, timeout=60, **options):
        """Runs a program on the fabric; returns its exit status, standard output and standard error."""
        program = self.start_program(arguments, **options)
        try:
            out, err = program.communicate(timeout=timeout)
        except subprocess.TimeoutExpired:
            program.kill()
            out, err = program.communicate()
            raise AssertionError(f"{arguments} did not end in {timeout} s: {out[-500:]}{err[-500:]}")
        return program.returncode, out, err
