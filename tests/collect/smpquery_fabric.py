#!/usr/bin/env python3
"""Makes a small fabric under ibsim, asks it with smpquery, and writes what smpquery printed and a snapshot of it.

    smpquery_fabric.py FOLDER

Writes FOLDER/fabric.jsonl and, for every query, FOLDER/<node>.<attribute>[.<port>].txt. Exits with 77 where the
simulator is missing.
"""
import json
import pathlib
import sys

import ibsim
import smpquery

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


def ask(fabric, folder, node, attribute, *port):
    status, out, err = fabric.run(["smpquery", "-D", attribute, ROUTES[node], *port])
    if status != 0:
        sys.exit(err)
    (folder / ".".join([node, attribute, *port, "txt"])).write_text(out)
    return smpquery.fields(out)


def describe(fabric, folder, name):
    """The node as a snapshot has it."""
    info = ask(fabric, folder, name, "nodeinfo")
    is_switch = info["NodeType"] == "Switch"
    records = {"SMP_NodeInfo": smpquery.record(smpquery.NODE_INFO, info)}
    if is_switch:
        records["SMP_SwitchInfo"] = smpquery.record(smpquery.SWITCH_INFO, ask(fabric, folder, name, "switchinfo"))
    ports = []
    for num in range(0 if is_switch else 1, int(info["NumPorts"]) + 1):
        printed = ask(fabric, folder, name, "portinfo", str(num))
        ports.append({"num": num, "state": smpquery.STATES[printed["LinkState"]],
                      "records": {"SMP_PortInfo": smpquery.port_info(printed)}})
    return {"name": name, "guid": info["Guid"], "type": "switch" if is_switch else "ca",
            "num_ports": int(info["NumPorts"]), "records": records, "ports": ports}


def main(folder):
    (folder / "net").write_text(FABRIC)
    with ibsim.Ibsim(str(folder / "net")) as fabric:
        fabric.environment["SIM_HOST"] = "host-a"
        nodes = [describe(fabric, folder, name) for name in ROUTES]
    documents = [{"fabric_snapshot": 1, "source": "smpquery"}, *nodes]
    (folder / "fabric.jsonl").write_text("".join(json.dumps(document) + "\n" for document in documents))


if __name__ == "__main__":
    if ibsim.missing():
        print("SKIPPED, nothing was tried: missing " + ibsim.missing())
        sys.exit(77)
    main(pathlib.Path(sys.argv[1]))
