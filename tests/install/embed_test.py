"""Another program's build embeds the generator: installed, within a shared library, and as a part of that build."""
import json
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD, ROOT = pathlib.Path(), pathlib.Path()
# A build that has an older standard and stricter warnings than its parts.
STRICT = ["-DCMAKE_CXX_STANDARD=17", "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror", "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON"]


def run(*command):
    ran = subprocess.run([str(part) for part in command], text=True, capture_output=True, check=False)
    return ran.returncode, ran.stdout + ran.stderr


class Embed(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="siminfo embed "))
        self.addCleanup(shutil.rmtree, self.folder)

    def succeed(self, *command):
        status, said = run(*command)
        self.assertEqual(status, 0, said)
        return said

    def build(self, *definitions):
        build = self.folder / "build"
        self.succeed("cmake", "-S", ROOT / "examples/embed", "-B", build, *STRICT, *definitions)
        self.succeed("cmake", "--build", build, "-j2")
        [own] = [entry["command"] for entry in json.loads((build / "compile_commands.json").read_text())
                 if entry["file"].endswith("embed/dump.cpp")]
        self.assertIn("++20", own)
        self.assertNotRegex(own, "ASSERTIONS|FORTIFY|-Wshadow|stack-protector")
        said = self.succeed(build / "tool", self.folder)
        self.assertIn("left out: a name that ends with a backslash", said)
        source = (self.folder / "fab1_generated.cpp").read_text()
        self.assertIn("// Name: 'host-1'", source)
        self.assertIn("mad_buffer.PartitionCap = 0x80;", source)
        self.assertNotIn("host-2", source)
        return build

    def test_what_is_installed(self):
        prefix = self.folder / "moved"
        self.succeed("cmake", "--install", BUILD, "--prefix", self.folder / "prefix")
        (self.folder / "prefix").rename(prefix)
        for path in prefix.rglob("*.cmake"):
            self.assertNotIn(str(ROOT), path.read_text(), path)
        for shared in ("OFF", "ON"):
            build = self.build(f"-DCMAKE_PREFIX_PATH={prefix}", f"-DBUILD_SHARED_LIBS={shared}")
            self.assertEqual(len(list(build.glob("libdump.so"))), shared == "ON")
        # The program and the function of models come with it.
        project = self.folder / "models"
        project.mkdir()
        (project / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(models LANGUAGES CXX)\n"
            "find_package(siminfo 0.1 REQUIRED)\nadd_library(models STATIC)\n"
            f'siminfo_generate(TARGET models SNAPSHOT "{ROOT}/examples/small_fabric.json" NAME A MODELS PROJECT)\n')
        self.succeed("cmake", "-S", project, "-B", project / "build", f"-DCMAKE_PREFIX_PATH={prefix}")
        self.succeed("cmake", "--build", project / "build", "-j2")

    def test_as_a_part_of_another_build(self):
        build = self.build(f"-DSIMINFO_SOURCE={ROOT}", "-DCMAKE_BUILD_TYPE=Debug", "-DBUILD_SHARED_LIBS=ON",
                           "-DCMAKE_DISABLE_FIND_PACKAGE_simdjson=ON", "-DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON")
        self.assertEqual({path.name for path in (build / "siminfo").glob("*siminfo*")},
                         {f"libsiminfo_{name}.a" for name in ("core", "text", "generator", "in_memory")})
        status, said = run("cmake", "--install", build, "--prefix", self.folder / "prefix")
        self.assertEqual((status, (self.folder / "prefix").exists()), (0, False), said)


if __name__ == "__main__":
    BUILD, ROOT = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]).absolute()
    for program in ("cmake", "make"):
        if not shutil.which(program):
            print(f"SKIPPED: {program} is missing")
            sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
