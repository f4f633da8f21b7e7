"""Clients that send garbage, the same for the same seed: wrong in any place, of any length, and gone at any time."""
import collections
import random
import socket
import struct

import client as raw
from client import Client

CLASSES = [raw.SMP_BY_LID, raw.SA, raw.PERFORMANCE, raw.SMP_BY_ROUTE]
METHODS = [raw.GET, raw.SET, raw.SET, 3, raw.TRAP, 6, 7, 0x81, 0x82, 0x86]
ATTRIBUTES = [1, 2, 3, *range(0x10, 0x21), 0x33, 0x72, 0xff11]
ROUTES = [(), (1,), (1, 3), (1, 2), (1, 4), (1, 5), (1, 6), (3,), (4, 1), (1,) * 63]
LENGTHS = [0, 1, 15, 16, 79, 80, 81, 287, 288, 289, 4096, 60000]


class Garbage:
    """Counts what it has sent in `sent`, by kind."""

    def __init__(self, name, nodes, seed):
        self.name, self.nodes, self.noise, self.sent = name, nodes, random.Random(seed), collections.Counter()

    def turn(self):
        """A client comes, sends a few hundred messages, and goes, with or without a word."""
        bad = Client(self.name, self.noise.choice(self.nodes))
        isListening = self.noise.random() < 0.7
        for end in (bad.control, bad.mads):
            end.setblocking(False)
        for _ in range(300):
            kind = self.noise.choice([self.control, self.bytes, self.stranger] + [self.body, self.mad, self.mad] * 8)
            self.sent[kind.__name__] += kind(bad)
            if isListening:
                self.drain(bad.control)
                self.drain(bad.mads)
        bad.kill()

    def post(self, end, message, *to):
        """1 when it was taken: a server that is behind takes no more, and one that forgot a client nothing."""
        try:
            return int((end.sendto(message, *to) if to else end.send(message)) == len(message))
        except (BlockingIOError, ConnectionError, PermissionError):
            return 0

    @staticmethod
    def drain(end):
        try:
            while True:
                end.recv(300)
        except (BlockingIOError, ConnectionError):
            pass

    def cut(self, message):
        """Most are left as they are, the others are shorter or longer."""
        length = self.noise.choice([len(message)] * 20 + LENGTHS)
        return message[:length] + self.noise.randbytes(max(0, length - len(message)))

    def control(self, bad):
        """Of any type. A client that leaves may come back, and seldom where there is a place."""
        kind = self.noise.choice([*range(12), 0xffffffff])
        word = self.noise.choice([self.noise.choice(self.nodes).encode(), b"", self.noise.randbytes(32)])
        data = struct.pack("<3I32s", self.noise.choice([bad.number, bad.number, self.noise.getrandbits(32)]), 0, 0, word)
        if kind != 1:
            data = self.noise.choice([self.noise.randbytes(64), b"\1" + bytes(63), bytes(64)])
        number = self.noise.choice([bad.id] * 5 + [0, 9, 10, 0xffffffff])
        message = struct.pack("<4I64s", self.noise.choice([0xdeadbeef] * 9 + [0]), number, kind, len(data), data)
        return self.post(bad.control, self.cut(message))

    def bytes(self, bad):
        end = self.noise.choice([bad.control, bad.mads, bad.mads])
        return self.post(end, self.noise.randbytes(self.noise.choice(LENGTHS)))

    def stranger(self, _):
        """From a socket without a name, to any of the server's."""
        target = self.noise.choice(["ctl", *(f"out{number}" for number in range(10))])
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as end:
            end.setblocking(False)
            return self.post(end, self.noise.randbytes(self.noise.choice(LENGTHS)), raw.address(f"{self.name}:{target}"))

    def body(self, bad):
        """A good head, and any body."""
        head = struct.pack(">HHHH", self.noise.choice([0, 1, 4, 7, 0xffff]), 0, 0, 0) + bytes(16) + struct.pack(">Q", 256)
        mad = struct.pack(">BBBB", 1, self.noise.choice(CLASSES), 1, self.noise.choice(METHODS))
        return self.post(bad.mads, self.cut(head + mad + self.noise.randbytes(252)))

    def mad(self, bad):
        """One that is good but for its modifier and what is to be set, and sometimes for some other bytes."""
        noise = self.noise
        modifier = noise.choice([0, 1, noise.getrandbits(4), 1 << noise.randrange(32), noise.getrandbits(32)])
        mad = bytearray(bad.mad(noise.choice(CLASSES), noise.choice(METHODS), noise.choice(ATTRIBUTES), modifier,
                                noise.choice([noise.randbytes(64), bytes(64), b"\xff" * 64]), noise.choice(ROUTES)))
        for _ in range(noise.choice([0, 0, 1, 8])):
            mad[noise.randrange(256)] = noise.getrandbits(8)
        head = struct.pack(">HHHH", noise.choice([0, 1, 2, 3, 4, 6, 7, noise.getrandbits(16), 0xffff]), 0, 0, 0)
        return self.post(bad.mads, head + noise.randbytes(24) + mad)
