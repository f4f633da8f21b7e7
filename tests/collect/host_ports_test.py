#!/usr/bin/env python3
"""Tries what `siminfo collect` says on hosts that have no port it can use.

    host_ports_test.py SIMINFO [unittest's arguments]

The hosts are made of files, where the libraries look for the kernel's, in a mount namespace of the test's own.
Exits with 77 where there cannot be one.
"""
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

CLASS = "/sys/class"
UMAD = "/dev/infiniband/umad0"
PROGRAM = "/dev/siminfo"
STATES = {"active": ("4: ACTIVE", "5: LinkUp"), "down": ("1: DOWN", "2: Polling")}


def write(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(text + "\n")


def add_device(name, link_layer, state):
    """A device of one port."""
    guid = "0002:c903:0000:0001"
    files = {"node_type": "1: CA", "node_guid": guid, "sys_image_guid": guid, "fw_ver": "1.0", "hw_rev": "1",
             "hca_type": "none"}
    port = {"state": STATES[state][0], "phys_state": STATES[state][1], "link_layer": link_layer, "lid": "0x1",
            "lid_mask_count": "0", "sm_lid": "0x1", "sm_sl": "0", "rate": "40 Gb/sec (4X QDR)",
            "cap_mask": "0x02514868", "gids/0": "fe80:0000:0000:0000:" + guid, "pkeys/0": "0xffff"}
    for file, text in [*files.items(), *((f"ports/1/{file}", text) for file, text in port.items())]:
        write(f"{CLASS}/infiniband/{name}/{file}", text)


def add_management_port(device):
    write(f"{CLASS}/infiniband_mad/abi_version", "5")
    write(f"{CLASS}/infiniband_mad/umad0/ibdev", device)
    write(f"{CLASS}/infiniband_mad/umad0/port", "1")


class HostPortsTest(unittest.TestCase):
    def setUp(self):
        for folder in ("infiniband", "infiniband_mad"):
            shutil.rmtree(f"{CLASS}/{folder}", ignore_errors=True)
        shutil.rmtree(os.path.dirname(UMAD), ignore_errors=True)

    def assert_says(self, *parts, arguments=(), user=()):
        program = subprocess.run([*user, PROGRAM, "collect", *arguments], cwd="/dev", text=True,
                                 capture_output=True, check=False)
        self.assertEqual((program.returncode, program.stdout), (4, ""), program.stderr)
        for part in parts:
            self.assertIn(part, program.stderr)

    def test_a_port_that_cannot_be_opened(self):
        add_device("eth0", "Ethernet", "active")
        add_device("ib0", "InfiniBand", "active")
        port = "ib0 port 1 (InfiniBand, active)"
        self.assert_says(port, "modprobe ib_umad")
        add_management_port("ib0")
        self.assert_says(port, "modprobe ib_umad")
        write(UMAD, "")
        self.assert_says(port, UMAD, "ibstat")
        os.chmod(UMAD, 0o600)
        self.assert_says(port, UMAD, "Permission denied", "root",
                         user=("setpriv", "--reuid=65534", "--clear-groups"))

    def test_no_port_to_choose(self):
        self.assert_says("no InfiniBand device", "driver")
        add_device("eth0", "Ethernet", "active")
        self.assert_says("eth0 port 1 (Ethernet, active)", "link layer")
        add_device("ib0", "InfiniBand", "down")
        there = "eth0 port 1 (Ethernet, active), ib0 port 1 (InfiniBand, down)"
        self.assert_says(there, "cable")
        self.assert_says("device eth0 with number 1", there, "--Ca",
                         arguments=("-C", "eth0", "-P", "1"))
        # A port that was named is tried, whatever its link.
        self.assert_says("ib0 port 1 (InfiniBand, down)", "modprobe ib_umad", arguments=("-P", "1"))


def make_host(siminfo, folder):
    """Puts folders of the test's own in place of the kernel's, in this namespace."""
    def mount(*arguments):
        subprocess.run(["mount", *arguments], check=True)

    mount("-t", "tmpfs", "none", CLASS)
    mount("-t", "tmpfs", "-o", "mode=755", "none", folder)
    write(folder + "/null", "")
    mount("--bind", "/dev/null", folder + "/null")
    for program in (siminfo, siminfo + "-collect"):
        shutil.copy(program, folder)
    mount("--rbind", folder, "/dev")


def run_in_namespace(siminfo, arguments):
    """The exit status of this script inside a namespace of its own."""
    unshare = ["unshare", "--mount"]
    probe = [*unshare, "mount", "-t", "tmpfs", "none", CLASS]
    if os.geteuid() != 0 or subprocess.run(probe, check=False).returncode != 0:
        print("SKIPPED, nothing was tried: no mount namespace, which takes root and its permission")
        return 77
    with tempfile.TemporaryDirectory() as folder:
        inside = [sys.executable, __file__, siminfo, "--inside", folder, *arguments]
        return subprocess.run([*unshare, *inside], check=False).returncode


if __name__ == "__main__":
    if sys.argv[2:3] == ["--inside"]:
        make_host(sys.argv[1], sys.argv[3])
        unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
    sys.exit(run_in_namespace(sys.argv[1], sys.argv[2:]))
