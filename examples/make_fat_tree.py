#!/usr/bin/env python3
"""Writes the snapshot of a two-level fat tree to standard output, the same bytes for the same arguments.

Leaves and spines are 65-port switches, port 65 being special, with reduction counters; each leaf has 32 adapters
of one or two ports. Records are those of the nodes in small_fabric.json, with other values.

    examples/make_fat_tree.py --leaves 4 > fat_tree.jsonl

Four leaves make 134 nodes. 992 leaves fill the largest subnet there can be, with 49,151 unicast LIDs.
"""

import argparse
import json
import pathlib
import sys

PORTS = 64  # ordinary ports of a switch; the special one comes behind them
HOSTS = 32  # adapters of a leaf
VARIANTS = 61  # different sets of port values; prime, so that neighbouring switches differ


def read_documents(path):
    decoder = json.JSONDecoder()
    text = path.read_text(encoding="utf-8").strip()
    while text:
        document, end = decoder.raw_decode(text)
        yield document
        text = text[end:].lstrip()


def vary(value, seed):
    """The same structure with other numbers, none of them larger, so that each still fits its field."""
    if isinstance(value, dict):
        return {key: vary(item, seed + index) for index, (key, item) in enumerate(value.items())}
    if isinstance(value, str) and value.startswith("0x"):
        return hex(vary(int(value, 16), seed))
    if isinstance(value, int):
        return (seed * 2654435761 >> 3) % (value + 1)
    return value


def compact(value):
    return json.dumps(value, separators=(",", ":"))


def port_texts(port, seeds):
    """A port as JSON text behind its number, once for each seed."""
    rest = {key: value for key, value in port.items() if key not in ("num", "records")}
    monitors = "ZYRReductionConfigureMLIDMonitors"
    for seed in seeds:
        records = {name: record if name == monitors else vary(record, seed * 100)
                   for name, record in port["records"].items()}
        yield compact({**rest, "records": records})[1:]


class FatTree:
    def __init__(self, documents):
        nodes = {node["name"]: node for node in documents if "name" in node}
        switch, adapter = nodes["sw1-reduction"], nodes["host-1 HCA-1"]
        # Without this record an adapter's frame is an #error line, and a fabric's worth of them tells nothing.
        adapter["records"]["CC_EnhancedCongestionInfo"] = switch["records"]["CC_EnhancedCongestionInfo"]
        ports = {port["num"]: port for port in switch["ports"]}
        self.switch = self.without_ports(switch)
        self.adapter = self.without_ports(adapter)
        self.management = compact(ports[0])
        self.ordinary = list(port_texts(ports[2], range(VARIANTS)))
        self.special = list(port_texts(ports[4], range(VARIANTS)))
        self.host_ports = list(port_texts(adapter["ports"][0], range(VARIANTS)))

    @staticmethod
    def without_ports(node):
        own = ("name", "alternative_name", "guid", "num_ports", "ports", "absent")
        return compact({key: value for key, value in node.items() if key not in own})[1:-1]

    def switch_line(self, name, guid):
        ports = [self.management]
        ports += [f'{{"num":{num},{self.ordinary[(guid + num) % VARIANTS]}' for num in range(1, PORTS + 1)]
        ports.append(f'{{"num":{PORTS + 1},{self.special[guid % VARIANTS]}')
        return self.line(name, guid, PORTS + 1, self.switch, ports)

    def adapter_line(self, name, guid):
        count = 1 + guid % 2
        ports = [f'{{"num":{num},{self.host_ports[(guid + num) % VARIANTS]}' for num in range(1, count + 1)]
        return self.line(name, guid, count, self.adapter, ports)

    @staticmethod
    def line(name, guid, num_ports, rest, ports):
        return (f'{{"name":"{name}","guid":"0x{guid:016x}","num_ports":{num_ports},{rest},'
                f'"ports":[{",".join(ports)}]}}\n')

    def lines(self, leaves):
        yield compact({"fabric_snapshot": 1, "source": f"fat tree of {leaves} leaves"}) + "\n"
        for leaf in range(leaves):
            yield self.switch_line(f"leaf-{leaf:04}", 0x2C90100000000 + leaf)
            for host in range(HOSTS):
                yield self.adapter_line(f"host-{leaf:04}-{host:02}", 0x2C90300000000 + leaf * HOSTS + host)
        for spine in range((leaves * HOSTS + PORTS - 1) // PORTS):
            yield self.switch_line(f"spine-{spine:04}", 0x2C90200000000 + spine)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--leaves", type=int, default=4, help="number of leaf switches, from 1 (default: 4)")
    leaves = parser.parse_args().leaves
    if leaves < 1:
        parser.error(f"--leaves: {leaves} is too small; expected 1 or more")
    here = pathlib.Path(__file__).resolve().parent
    sys.stdout.writelines(FatTree(read_documents(here / "small_fabric.json")).lines(leaves))


if __name__ == "__main__":
    main()
