"""Runs `siminfo serve` on a socket of its own, and programs on what it serves."""
import os
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import uuid

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "collect"))
import ibsim

# A shell's background jobs ignore Ctrl-C, and so would what they start and want to end by it.
if signal.getsignal(signal.SIGINT) is signal.SIG_IGN:
    signal.signal(signal.SIGINT, signal.default_int_handler)
# In a build with sanitizers, their runtime comes behind the preloaded libraries.
SANITIZERS = {"ASAN_OPTIONS": f"verify_asan_link_order=0:suppressions=\"{ibsim.HERE}/asan_suppressions.txt\"",
              "LSAN_OPTIONS": f"print_suppressions=0:suppressions=\"{ibsim.HERE}/lsan_suppressions.txt\""}


def new_name():
    return "siminfo-" + uuid.uuid4().hex


def open_sockets(name):
    with open("/proc/net/unix", encoding="ascii", errors="replace") as sockets:
        return [line for line in sockets if name in line]


class Serving:
    """Serves for as long as the `with` block lasts, with Ctrl-C at its end. `cache` keeps what was built."""
    ended_by = signal.SIGINT

    def __init__(self, siminfo, cache, snapshot, *options):
        self.name = new_name()
        self.command = [siminfo, "serve", snapshot, "--socket", self.name, *options]
        path = os.environ["PATH"] + ":/usr/sbin:/sbin"
        self.environment = dict(os.environ, XDG_CACHE_HOME=cache, PATH=path, **SANITIZERS)

    def __enter__(self):
        self.folder = tempfile.mkdtemp(prefix="siminfo-serve-")
        with open(os.path.join(self.folder, "errors"), "wb") as errors:
            self.process = subprocess.Popen(self.command, cwd=self.folder, env=self.environment, text=True,
                                            stdout=subprocess.PIPE, stderr=errors)
        told = self.process.stdout.readline()
        if not told.startswith("export "):
            self.__exit__()
            raise AssertionError(self.errors)
        self.clients = dict(word.split("=", 1) for word in shlex.split(told)[1:])
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.send_signal(self.ended_by)
        self.status = self.process.wait(timeout=20)
        self.process.stdout.close()
        with open(os.path.join(self.folder, "errors"), encoding="utf-8") as errors:
            self.errors = errors.read()
        shutil.rmtree(self.folder)

    def start(self, *command, host=None, **options):
        environment = dict(self.environment, OSM_CACHE_DIR=self.folder, OSM_TMP_DIR=self.folder, **self.clients)
        if host:
            environment["SIM_HOST"] = host
        return subprocess.Popen(command, cwd=self.folder, env=environment, text=True, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, **options)

    def run(self, *command, host=None):
        """Exit status, standard output and standard error."""
        program = self.start(*command, host=host)
        out, err = program.communicate(timeout=60)
        return program.returncode, out, err
