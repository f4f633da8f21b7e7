#!/usr/bin/env python3
"""Writes the snapshot of a two-level fat tree to standard output, the same bytes for the same arguments.

Leaves and spines are 65-port switches, port 65 being special, with reduction counters; each leaf has 32 adapters
of one or two ports. Records are those of the nodes in small_fabric.json, with other values.

    examples/make_fat_tree.py --leaves 4 > fat_tree.jsonl

With --links the snapshot says as well what is connected to what: adapter h of leaf l to port h + 1 of the leaf, and
uplink k of leaf l, its port 33 + k, to spine (32 l + k) mod the number of spines. Nodes that have the same records are
one model; with --distinct no two are.

Four leaves make 134 nodes. 992 leaves fill the largest subnet there can be, with 49,151 unicast LIDs.
"""

import argparse
import json
import pathlib
import re
import sys

PORTS = 64  # ordinary ports of a switch; the special one comes behind them
HOSTS = 32  # adapters of a leaf
LINK = {"width": 2, "speed": 4, "speed_ext": 8}  # 4x HDR, as the active codes of PortInfo have it
LINK_UP, POLLING = 5, 2  # PortPhysicalState
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
    def __init__(self, documents, leaves, links=False, distinct=False):
        self.leaves, self.links, self.distinct = leaves, links, distinct
        self.spines = (leaves * HOSTS + PORTS - 1) // PORTS
        self.written = 0
        nodes = {node["name"]: node for node in documents if "name" in node}
        switch, adapter = nodes["sw1-reduction"], nodes["host-1 HCA-1"]
        # Without this record an adapter's frame is an #error line, and a fabric's worth of them tells nothing.
        adapter["records"]["CC_EnhancedCongestionInfo"] = switch["records"]["CC_EnhancedCongestionInfo"]
        ports = {port["num"]: port for port in switch["ports"]}
        self.switch = self.without_ports(switch)
        self.adapter = self.without_ports(adapter)
        self.management = compact(ports[0])[1:]
        self.management = self.management[self.management.index(",") + 1:]
        self.ordinary = list(port_texts(ports[2], range(VARIANTS)))
        self.special = list(port_texts(ports[4], range(VARIANTS)))
        self.host_ports = list(port_texts(adapter["ports"][0], range(VARIANTS)))

    @staticmethod
    def without_ports(node):
        own = ("name", "alternative_name", "guid", "num_ports", "ports", "absent")
        return compact({key: value for key, value in node.items() if key not in own})[1:-1]

    # Names, GUIDs and LIDs of the nodes by their numbers.

    @staticmethod
    def leaf_name(leaf):
        return f"leaf-{leaf:04}"

    @staticmethod
    def spine_name(spine):
        return f"spine-{spine:04}"

    @staticmethod
    def host_name(leaf, host):
        return f"host-{leaf:04}-{host:02}"

    def lid(self, kind, number):
        """Switches come first, so that LIDs are dense in any tree."""
        return 1 + number + {"leaf": 0, "spine": self.leaves, "host": self.leaves + self.spines}[kind]

    # What a port's text says besides: nothing unless links are wanted.

    def linked(self, node, port, **more):
        if not self.links:
            return ""
        return compact({**more, "phys_state": LINK_UP, "link": {"node": node, "port": port, **LINK}})[1:-1] + ","

    def identity(self, **identity):
        return compact(identity)[1:-1] + "," if self.links else ""

    def leaf_line(self, leaf):
        def peer(num):
            if num <= HOSTS:
                return self.linked(self.host_name(leaf, num - 1), 1)
            uplink = HOSTS * leaf + num - HOSTS - 1
            return self.linked(self.spine_name(uplink % self.spines), uplink // self.spines + 1)
        return self.switch_line(self.leaf_name(leaf), 0x2C90100000000 + leaf, self.lid("leaf", leaf), peer)

    def spine_line(self, spine):
        def peer(num):
            uplink = (num - 1) * self.spines + spine
            if uplink >= HOSTS * self.leaves:
                return self.identity(phys_state=POLLING)
            return self.linked(self.leaf_name(uplink // HOSTS), HOSTS + 1 + uplink % HOSTS)
        return self.switch_line(self.spine_name(spine), 0x2C90200000000 + spine, self.lid("spine", spine), peer)

    def switch_line(self, name, guid, lid, peer):
        ports = [f'{{"num":0,{self.identity(guid=hex(guid), lid=lid)}{self.management}']
        ports += [f'{{"num":{num},{peer(num)}{self.ordinary[(guid + num) % VARIANTS]}' for num in range(1, PORTS + 1)]
        ports.append(f'{{"num":{PORTS + 1},{self.special[guid % VARIANTS]}')
        return self.line(name, guid, PORTS + 1, self.switch, ports)

    def host_line(self, leaf, host):
        number = leaf * HOSTS + host
        guid = 0x2C90300000000 + number

        def own(num):
            port = f"0x2c904{2 * number + num - 1:08x}"
            if num > 1:
                return self.identity(guid=port, phys_state=POLLING)
            return self.linked(self.leaf_name(leaf), host + 1, guid=port, lid=self.lid("host", number))
        texts = [f'{{"num":{num},{own(num)}{self.host_ports[(guid + num) % VARIANTS]}'
                 for num in range(1, 2 + guid % 2)]
        # The second port has no cable.
        ports = texts[:1] + [text.replace('"state":"active"', '"state":"down"') if self.links else text
                             for text in texts[1:]]
        return self.line(self.host_name(leaf, host), guid, 1 + guid % 2, self.adapter, ports)

    def line(self, name, guid, num_ports, rest, ports):
        self.written += 1
        if self.distinct:
            rest = re.sub(r'"revision":[0-9]+', f'"revision":{self.written}', rest)
        identity = self.identity(system_guid=hex(guid), description=name)
        return (f'{{"name":"{name}","guid":"0x{guid:016x}","num_ports":{num_ports},{identity}{rest},'
                f'"ports":[{",".join(ports)}]}}\n')

    def lines(self):
        nodes = self.leaves * (1 + HOSTS) + self.spines
        yield compact({"fabric_snapshot": 1, "source": f"fat tree of {self.leaves} leaves", "nodes": nodes}) + "\n"
        for leaf in range(self.leaves):
            yield self.leaf_line(leaf)
            for host in range(HOSTS):
                yield self.host_line(leaf, host)
        for spine in range(self.spines):
            yield self.spine_line(spine)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--leaves", type=int, default=4, help="number of leaf switches, from 1 (default: 4)")
    parser.add_argument("--links", action="store_true", help="links, LIDs and port GUIDs as well")
    parser.add_argument("--distinct", action="store_true", help="no two nodes have the same records")
    options = parser.parse_args()
    if options.leaves < 1:
        parser.error(f"--leaves: {options.leaves} is too small; expected 1 or more")
    here = pathlib.Path(__file__).resolve().parent
    tree = FatTree(read_documents(here / "small_fabric.json"), options.leaves, options.links, options.distinct)
    sys.stdout.writelines(tree.lines())


if __name__ == "__main__":
    main()
