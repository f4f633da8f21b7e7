"""A client of the server that says what a test wants it to say, byte by byte."""
import os
import socket
import struct

SMP_BY_LID, SA, PERFORMANCE, SMP_BY_ROUTE = 0x01, 0x03, 0x04, 0x81
GET, SET, TRAP = 1, 2, 5
NODE_INFO, SWITCH_INFO, PORT_INFO, LINEAR_TABLE, MANAGER_INFO = 0x11, 0x12, 0x15, 0x19, 0x20
PATH_RECORD = 0x35
TIMED_OUT = 110


def address(name):
    return b"\0" + name.encode() + b"\0"


def bits(data, first, width):
    return int.from_bytes(data, "big") >> 8 * len(data) - first - width & (1 << width) - 1


def with_bits(data, first, width, value):
    shift = 8 * len(data) - first - width
    number = int.from_bytes(data, "big") & ~((1 << width) - 1 << shift) | value << shift
    return number.to_bytes(len(data), "big")


class Refused(Exception):
    pass


class Client:
    """Attached for as long as the `with` block lasts; `kill` goes without a word."""
    numbers = iter(range(1000000 + os.getpid() % 1000 * 1000, 1 << 31))

    def __init__(self, name, node=""):
        self.name, self.number = name, next(self.numbers)
        self.mads, self.control = (socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) for _ in range(2))
        self.mads.bind(address(f"{name}:in{self.number}"))
        self.control.bind(address(f"{name}:ctl{self.number}"))
        self.control.connect(address(f"{name}:ctl"))
        for end in (self.mads, self.control):
            end.settimeout(30)
        self.id = 0
        kind, data = self.ask(1, struct.pack("<3I32s", self.number, 0, 0, node.encode()))
        if kind != 1:
            self.kill()
            raise Refused()
        self.id = struct.unpack_from("<I", data)[0]
        self.mads.connect(address(f"{name}:out{self.id}"))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.control.fileno() >= 0:
            self.ask(2)
        self.kill()

    def kill(self):
        self.mads.close()
        self.control.close()

    def ask(self, kind, data=b""):
        self.control.send(struct.pack("<4I64s", 0xdeadbeef, self.id, kind, len(data), data))
        answer = self.control.recv(100)
        return struct.unpack_from("<I", answer, 8)[0], answer[16:]

    def send(self, mad, lid):
        self.mads.send(struct.pack(">HHHH", lid, 0, 0, 0) + bytes(12) + bytes(4) + struct.pack(">Q", 256) + mad)

    def receive(self):
        """The system's error, and the MAD."""
        message = self.mads.recv(300)
        self.received = struct.unpack_from(">Q", message, 24)[0]
        return struct.unpack_from(">I", message, 16)[0], message[32:]

    def mad(self, management, method, attribute, modifier=0, data=b"", route=(), version=1):
        head = struct.pack(">BBBBHBBQHHI", version, management, 1, method, 0, 0, len(route), 7, attribute, 0, modifier)
        middle = bytes(8) + (b"\xff\xff\xff\xff" if management == SMP_BY_ROUTE else bytes(4)) + bytes(28)
        return (head + middle + data.ljust(64, b"\0") + b"\0" + bytes(route)).ljust(256, b"\0")

    def request(self, management, method, attribute, modifier=0, data=b"", route=(), lid=0xffff):
        """Status and data of the answer; the status is "timed out" when there is none."""
        question = self.mad(management, method, attribute, modifier, data, route)
        self.send(question, lid)
        error, answer = self.receive()
        while answer[8:16] != question[8:16]:  # somebody else's
            error, answer = self.receive()
        if error:
            assert error == TIMED_OUT, error
            return "timed out", b""
        # An answer that comes back along a route says so, and by which ports the request arrived.
        expected = 0x81 if method == SET else method | 0x80
        assert answer[4] >> 7 == (management == SMP_BY_ROUTE) and answer[3] == expected, answer[:8]
        self.arrivals = answer[193:193 + len(route)]
        return struct.unpack_from(">H", answer, 4)[0] & 0x7fff, answer[64:128]

    def smp(self, attribute, modifier=0, route=(), method=GET, data=b""):
        return self.request(SMP_BY_ROUTE, method, attribute, modifier, data, route)
