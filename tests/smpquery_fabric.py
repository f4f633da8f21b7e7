#!/usr/bin/env python3
"""Makes a small fabric under ibsim, asks it with smpquery, and writes what smpquery printed and a snapshot of it.

Usage: smpquery_fabric.py FOLDER LIBUMAD2SIM
Writes FOLDER/fabric.jsonl and, for every query, FOLDER/<node>.<attribute>[.<port>].txt.
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import time
import uuid

FABRIC = """\
vendid=0x8f1
devid=0x5a06
switchguid=0x8f10400411f54
Switch 4 "leaf-a"
[1]\t"host-a"[1]
[2]\t"leaf-b"[1]

vendid=0x8f1
devid=0x5a31
switchguid=0x8f10400411f56
Switch 3 "leaf-b"
[1]\t"leaf-a"[2]
[3]\t"host-b"[2]

vendid=0x66a
devid=0x101
caguid=0x66a0098000a1
Ca 2 "host-a"
[1]\t"leaf-a"[1]

vendid=0x66a
devid=0x7322
caguid=0x66a0098000b1
Ca 2 "host-b"
[2]\t"leaf-b"[3]
"""
ROUTES = {"host-a": "0", "leaf-a": "0,1", "leaf-b": "0,1,2", "host-b": "0,1,2,3"}
STATES = {"Down": 1, "Initialize": 2, "Armed": 3, "Active": 4}
WIDTHS = {"1X": 1, "4X": 2, "8X": 4, "12X": 8, "2X": 16}
SPEEDS = {"2.5 Gbps": 1, "5.0 Gbps": 2, "10.0 Gbps": 4}
EXTENDED_SPEEDS = {"14.0625 Gbps": 1, "25.78125 Gbps": 2, "53.125 Gbps": 4, "106.25 Gbps": 8}
MTUS = {"256": 1, "512": 2, "1024": 3, "2048": 4, "4096": 5}


def sum_of(words, text):
    return 0 if text in ("0", "undefined") else sum(words[word] for word in text.split(" or "))


def numbers(fields, names):
    return {to: int(fields[name], 0) for to, name in names.items()}


def port_info(fields):
    return {
        "CapMsk": int(fields["CapMask"], 0),
        "CapMsk2": int(fields.get("CapabilityMask2", "0"), 0),
        "LinkWidthSup": sum_of(WIDTHS, fields["LinkWidthSupported"]),
        "LinkSpeedExtSup2": 0,
        "LinkSpeedExtSup": sum_of(EXTENDED_SPEEDS, fields.get("LinkSpeedExtSupported", "0")),
        "LinkSpeedSup": sum_of(SPEEDS, fields["LinkSpeedSupported"]),
        "MTUCap": MTUS[fields["MtuCap"]],
    }


NODE_INFO = {"BaseVersion": "BaseVers", "ClassVersion": "ClassVers", "PartitionCap": "PartCap", "DeviceID": "DevId",
             "revision": "Revision", "VendorID": "VendorId"}
SWITCH_INFO = {"LinearFDBCap": "LinearFdbCap", "RandomFDBCap": "RandomFdbCap", "MCastFDBCap": "McastFdbCap",
               "OptimizedSLVLMapping": "OptSLtoVLMapping", "LidsPerPort": "LidsPerPort",
               "PartEnfCap": "PartEnforceCap", "InbEnfCap": "InboundPartEnf", "OutbEnfCap": "OutboundPartEnf",
               "FilterRawInbCap": "FilterRawInbound", "FilterRawOutbCap": "FilterRawOutbound", "ENP0": "EnhancedPort0"}


class Fabric:
    """The fabric under an ibsim of its own."""

    def __init__(self, folder, preload):
        self.folder = folder
        self.environment = dict(os.environ, IBSIM_SOCKNAME="siminfo-" + uuid.uuid4().hex)
        self.clients = dict(self.environment, LD_PRELOAD=preload, SIM_HOST="host-a")
        (folder / "net").write_text(FABRIC)
        # ibsim ends when its standard input does.
        self.server = subprocess.Popen(["ibsim", "-s", "net"], cwd=folder, env=self.environment,
                                       stdin=subprocess.PIPE, stdout=open(folder / "ibsim.log", "w"),
                                       stderr=subprocess.STDOUT)

    def wait(self):
        for _ in range(100):
            if "simulator ready" in (self.folder / "ibsim.log").read_text():
                return
            if self.server.poll() is not None:
                break
            time.sleep(0.1)
        sys.exit("ibsim did not start: " + (self.folder / "ibsim.log").read_text())

    def stop(self):
        self.server.kill()
        self.server.wait()

    def ask(self, node, attribute, *port):
        command = ["smpquery", "-D", attribute, ROUTES[node], *port]
        done = subprocess.run(command, env=self.clients, capture_output=True, text=True, timeout=20, check=True)
        (self.folder / ".".join([node, attribute, *port, "txt"])).write_text(done.stdout)
        return dict(re.findall(r"^(\w+):\.*(.*)$", done.stdout, re.MULTILINE))

    def node(self, name):
        info = self.ask(name, "nodeinfo")
        is_switch = info["NodeType"] == "Switch"
        records = {"SMP_NodeInfo": numbers(info, NODE_INFO)}
        if is_switch:
            records["SMP_SwitchInfo"] = numbers(self.ask(name, "switchinfo"), SWITCH_INFO)
        ports = []
        for num in range(0 if is_switch else 1, int(info["NumPorts"]) + 1):
            fields = self.ask(name, "portinfo", str(num))
            ports.append({"num": num, "state": STATES[fields["LinkState"]],
                          "records": {"SMP_PortInfo": port_info(fields)}})
        return {"name": name, "guid": info["Guid"], "type": "switch" if is_switch else "ca",
                "num_ports": int(info["NumPorts"]), "records": records, "ports": ports}


def main():
    folder = pathlib.Path(sys.argv[1])
    fabric = Fabric(folder, sys.argv[2])
    try:
        fabric.wait()
        nodes = [fabric.node(name) for name in ROUTES]
    finally:
        fabric.stop()
    documents = [{"fabric_snapshot": 1, "source": "smpquery"}] + nodes
    (folder / "fabric.jsonl").write_text("".join(json.dumps(document) + "\n" for document in documents))


main()
