"""siminfo_generate as the build of a simulator uses it: what is made, and what is made again."""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

SIMINFO, ROOT = "", pathlib.Path()
FINE = "TARGET t SNAPSHOT f.json NAME F"
WRONG = [
    ("TARGET t NAME F", "SNAPSHOT is missing"), ("TARGET t SNAPSHOT f.json NAME a-b", "a-b is not a C"),
    (FINE + ' GUID_FILE ""', "GUID_FILE has no value"), (FINE + " MODLES x", "unknown: MODLES x"),
    (FINE + " SHARDS 2", "SHARDS is of MODELS"), (FINE + " MODELS BUILDABLE", "BUILDABLE does not go with MODELS"),
    (FINE + " MODELS SHARDS 4097", "from 1 to 4096"), (FINE + " MISSING no", "expected error or comment"),
    ("TARGET t SNAPSHOT none.json NAME F", "none.json is not a file"), (FINE.replace(" t ", " x "), "x is not a target"),
    (FINE.replace(" t ", " i "), "i compiles no sources"), (FINE, "siminfo was not found"),
    (f"{FINE})\nsiminfo_generate(TARGET t SNAPSHOT f.json NAME f", "another call writes"),
]
# Two dumps of models in one folder, a plain one in another target, and a snapshot that the build makes.
SEVERAL = """cmake_minimum_required(VERSION 3.25)
project(several LANGUAGES CXX)
include(SiminfoGenerate)
add_executable(siminfo::siminfo IMPORTED)
set_target_properties(siminfo::siminfo PROPERTIES IMPORTED_LOCATION "${TOOL}")
add_custom_command(OUTPUT made.json COMMAND ${CMAKE_COMMAND} -E copy "${FABRIC}" made.json DEPENDS "${FABRIC}" VERBATIM)
set(made "${CMAKE_CURRENT_BINARY_DIR}/made.json")
add_library(models STATIC)
siminfo_generate(TARGET models SNAPSHOT ${made} NAME A MODELS PROJECT OUTPUT_DIR sim)
siminfo_generate(TARGET models SNAPSHOT ${made} NAME B GUIDS 2c90000000041 2c90000000071
                 MODELS PROJECT SHARDS 2 OUTPUT_DIR sim)
add_executable(several main.cpp)
siminfo_generate(TARGET several SNAPSHOT ${FABRIC} NAME C BUILDABLE ONE_PER_CLASS MISSING comment SIMULATOR_HEADER
                 GUID_FILE guids)
target_link_libraries(several PRIVATE models)
set_target_properties(models several PROPERTIES UNITY_BUILD ON)
"""
SEVERAL_MAIN = """#include "a.h"
#include "b.h"
#include "c.h"
int main() {
  drovik::Node node(40);
  C::SW(&node).setNodeInfo();
  return A::models().size() == 6 && B::models().size() == 2 ? 0 : 1;
}
"""


def run(*command):
    return subprocess.run([str(part) for part in command], text=True, capture_output=True, check=False)


class Build:
    generator = ""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="siminfo cmake "))
        self.addCleanup(shutil.rmtree, self.folder)
        self.tool, self.fabric, self.source = (self.folder / name for name in ("siminfo", "fabric.json", "source"))
        shutil.copy(SIMINFO, self.tool)
        shutil.copy(ROOT / "examples/small_fabric.json", self.fabric)

    def configure(self, *definitions):
        return run("cmake", "-S", self.source, "-B", self.folder / "build", "-G", self.generator,
                   f"-DCMAKE_MODULE_PATH={ROOT}/cmake", f"-DFABRIC={self.fabric}", *definitions)

    def make(self, *arguments):
        """What the build runs: "Generating", and the sources that it compiles."""
        time.sleep(0.02)  # no two steps in one tick of the file system's clock
        built = run("cmake", "--build", self.folder / "build", "-j2", *arguments)
        self.assertEqual(built.returncode, 0, built.stdout + built.stderr)
        return sorted(one or other for one, other in
                      re.findall(r"(Generating) \w+ from|Building CXX object .*/(\w+)\.c\w+\.o", built.stdout))

    def restored(self):
        return [line.split(":")[0] for line in run(self.folder / "build/simulator").stdout.splitlines()]

    def edit(self, change):
        self.fabric.write_text(change(self.fabric.read_text()))

    def test_makes_again_what_changed_alone(self):
        shutil.copytree(ROOT / "examples/cmake", self.source)
        configured = self.configure(f"-DSIMINFO_EXECUTABLE={self.tool}")
        self.assertEqual(configured.returncode, 0, configured.stderr)
        everything = ["Generating", *(f"fab1_models_{shard}" for shard in range(4)), "main"]
        self.assertEqual((self.make(), self.make()), (everything, []))
        self.assertEqual(len(self.restored()), 6)

        for touched in (self.fabric, self.tool):
            touched.touch()
            self.assertEqual((self.make(), self.make()), (["Generating"], []), touched)

        self.edit(lambda text: text.replace('"sw2-plain"', '"renamed"'))
        self.assertEqual((self.make(), self.make()), (["Generating"], []))
        self.edit(lambda text: text + json.dumps({"name": "new", "guid": "0x99", "type": "switch", "num_ports": 3}))
        ran = self.make()
        self.assertEqual((len(ran), ran[0], ran[2], self.make()), (3, "Generating", "main", []), ran)
        self.assertTrue({"renamed", "new"} <= set(self.restored()), self.restored())

        self.make("--target", "clean")
        self.assertEqual(list(self.folder.glob("build/fabric/**/*.[hcd]*")), [], "files that the build is not told of")
        self.assertEqual((self.make(), self.make()), (everything, []))

        good = self.fabric.read_text()
        self.fabric.write_text(good + "{")
        broken = [run("cmake", "--build", self.folder / "build") for _ in range(2)]
        self.assertTrue(all(build.returncode and "fabric.json:" in build.stdout + build.stderr for build in broken))
        self.fabric.write_text(good)
        self.assertEqual(self.make(), ["Generating"])

        lists = self.source / "CMakeLists.txt"
        lists.write_text(lists.read_text().replace("SHARDS 4", "SHARDS 2"))
        self.assertEqual((self.make()[0], self.make(), len(self.restored())), ("Generating", [], 7))
        self.assertEqual(len(list(self.folder.glob("build/fabric/dumps/fab1/fab1_models_?.cpp"))), 2)

    def test_several_dumps_and_targets_share_a_build(self):
        self.source.mkdir()
        (self.source / "CMakeLists.txt").write_text(SEVERAL)
        (self.source / "main.cpp").write_text(SEVERAL_MAIN)
        (self.source / "guids").write_text("2c90000000041\n")
        configured = self.configure(f"-DTOOL={self.tool}", "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror")
        self.assertEqual(configured.returncode, 0, configured.stderr)
        self.assertEqual([self.make().count("Generating"), self.make()], [3, []])
        self.assertEqual(run(self.folder / "build/several").returncode, 0)
        (self.source / "guids").touch()
        self.assertEqual((self.make(), self.make()), (["Generating"], []))
        self.edit(lambda text: text.replace('"sw2-plain"', '"renamed"'))
        self.assertEqual((self.make(), self.make()), (["Generating"] * 3, []))


class Ninja(Build, unittest.TestCase):
    generator = "Ninja"


class Makefiles(Build, unittest.TestCase):
    generator = "Unix Makefiles"


class WrongUse(unittest.TestCase):
    def test_is_told_when_the_build_is_configured(self):
        for arguments, message in WRONG:
            with tempfile.TemporaryDirectory() as folder:
                tool = "" if "not found" in message else SIMINFO
                (pathlib.Path(folder) / "f.json").touch()
                (pathlib.Path(folder) / "CMakeLists.txt").write_text(
                    "cmake_minimum_required(VERSION 3.25)\nproject(wrong LANGUAGES NONE)\ninclude(SiminfoGenerate)\n"
                    "set(CMAKE_FIND_USE_SYSTEM_ENVIRONMENT_PATH OFF)\nset(CMAKE_FIND_USE_CMAKE_SYSTEM_PATH OFF)\n"
                    f"add_library(t x.cpp)\nadd_library(i INTERFACE)\nsiminfo_generate({arguments})\n")
                configured = run("cmake", "-S", folder, "-B", folder + "/b", f"-DCMAKE_MODULE_PATH={ROOT}/cmake",
                                 f"-DSIMINFO_EXECUTABLE={tool}")
                told = " ".join(configured.stderr.split())
                self.assertRegex(told, "siminfo_generate: .*" + re.escape(message))
                self.assertNotEqual(configured.returncode, 0)


if __name__ == "__main__":
    SIMINFO, ROOT = os.path.abspath(sys.argv[1]), pathlib.Path(sys.argv[2]).absolute()
    for program in ("cmake", "ninja", "make"):
        if not shutil.which(program):
            print(f"SKIPPED: {program} is missing")
            sys.exit(77)
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
