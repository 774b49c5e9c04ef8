"""What the integration tests share: a case that starts programs and ends them, and a client made of raw bytes."""
import fcntl
import os
import pty
import re
import signal
import socket
import struct
import sys
import termios
import time
import unittest
from collections import namedtuple
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))

from processes import LIMIT, SLOWNESS, Programs, TimeUp, random_port  # noqa: E402  (the path comes first)

BUILD_DIR = Path(os.environ.get("JAY_BUILD_DIR", ROOT / "build" / "debug"))

SYNC, BROADCAST, TIMED = 1, 2, 4
HEADER = struct.Struct("<HHHBBII")

# jayd ends within this time, whatever its clients do.
STOP_LIMIT = 2 * SLOWNESS

Message = namedtuple("Message", "length dest src flag priority stamp section payload")


def pack(src, dest, payload=b"", flag=0, priority=0, stamp=0, section=0):
    """A message as it is on the wire."""
    return HEADER.pack(HEADER.size + len(payload), dest, src, flag, priority, stamp, section) + payload


# What jay prints for a message, without the time before it.
JAY_MESSAGE = re.compile(r"(\d+) -> (\d+)  (?:flag (\S+)  )?(?:priority (\d+)  )?(?:section (-?\d+)  )?length (\d+)  (.*)$")


def message_fields(line):
    """What jay shows of a message, what it leaves out included: source, destination, flag, priority, section, length, payload."""
    source, dest, flag, priority, section, length, payload = JAY_MESSAGE.match(line).groups()
    return source, dest, flag or "none", priority or "0", section or "0", length, payload


class RawClient:
    """A client that speaks the wire protocol by hand, well or badly."""

    def __init__(self, port, number=None, receive_buffer=None):
        self.number = number
        self.socket = socket.socket()
        if receive_buffer:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        self.socket.settimeout(LIMIT)
        self.socket.connect(("127.0.0.1", port))
        if number is not None:
            self.socket.sendall(pack(number, 0))

    def send(self, dest, payload=b"", **header):
        self.socket.sendall(pack(self.number, dest, payload, **header))

    def receive(self):
        header = HEADER.unpack(self._receive_exactly(HEADER.size))
        return Message(*header, self._receive_exactly(header[0] - HEADER.size))

    def round_trip(self, priority=0):
        """A message to itself: when it is back, the server has read what was sent before, and has routed that of
        the same priority. Priorities of 2 and above count as the same, and come last."""
        self.send(self.number, b"round trip", priority=priority)
        while self.receive().payload != b"round trip":
            pass

    def receive_all(self):
        """Everything up to the end of the connection, however it ends."""
        received = b""
        try:
            while some := self.socket.recv(1 << 20):
                received += some
        except ConnectionError:
            pass
        return received

    def close(self):
        self.socket.close()

    def _receive_exactly(self, count):
        received = b""
        while len(received) < count:
            some = self.socket.recv(count - len(received))
            if not some:
                raise ConnectionError("the server has closed the connection")
            received += some
        return received


class Case(unittest.TestCase):
    """Starts programs of the build, and ends them whatever the test comes to."""

    def setUp(self):
        self.programs = Programs(BUILD_DIR)
        self.addCleanup(self.programs.kill_all)

    def start(self, name, *arguments, **options):
        return self.programs.start(name, *arguments, **options)

    def start_server(self, *arguments, **options):
        return self.programs.start_server(*arguments, **options)

    def run_program(self, name, *arguments, **options):
        """Runs a program to its end: status, standard output, standard error."""
        process = self.start(name, *arguments, **options)
        process.close_input()
        status = process.wait()
        return status, process.out.text(), process.err.text()

    def connect(self, port, number=None, **options):
        client = RawClient(port, number, **options)
        self.addCleanup(client.close)
        return client

    def connect_attached(self, port, number, **options):
        """A client that the server has attached for sure."""
        client = self.connect(port, number, **options)
        client.round_trip()
        return client

    def closed_port(self):
        """A port on which nobody listens."""
        while True:
            port = random_port()
            with socket.socket() as probe:
                probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                try:
                    probe.bind(("", port))
                    return port
                except OSError:
                    pass

    def assert_one_line(self, text, *parts):
        """One line for the user, which holds all the parts."""
        self.assertEqual(text.count("\n"), 1, text)
        for part in parts:
            self.assertIn(part, text)


class JayCase(Case):
    """Runs the command-line client against a server of its own."""

    def setUp(self):
        super().setUp()
        self.server, self.port = self.start_server()

    def jay(self, command, *arguments, **options):
        return self.run_program("jay", command, "--port", self.port, *arguments, **options)

    def send(self, *arguments):
        """Sends, which is done without a word."""
        self.assertEqual(self.jay("send", *arguments), (0, "", ""))

    def listen(self, number, *arguments, **options):
        """A listener that the server has attached."""
        process = self.start("jay", "listen", "--id", number, "--port", self.port, *arguments, **options)
        self.assertEqual(process.err.next_line(), f"jay: listening as client {number} at 127.0.0.1:{self.port}")
        return process

    def shown(self, listener):
        """What the next line shows: source, destination, flag, priority, section, length, payload."""
        line = listener.out.next_line()
        self.assertRegex(line or "", r"^\d\d:\d\d:\d\d\.\d{3}  \d")
        return message_fields(line[14:])


class Terminal:
    """A terminal of some width; what is written to it collects in `text` when it is read."""

    def __init__(self, width):
        self.master, self.slave = pty.openpty()
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, width, 0, 0))

    def read_all(self):
        """All that is written, up to the end of the writer."""
        os.close(self.slave)
        text = b""
        try:
            while some := os.read(self.master, 65536):
                text += some
        except OSError:
            pass  # how a terminal's end is told
        os.close(self.master)
        return text.decode()


def eventually(condition, limit=LIMIT):
    """Waits until the condition holds."""
    deadline = time.monotonic() + limit
    while not condition():
        if time.monotonic() > deadline:
            raise TimeUp("what was waited for did not happen")
        time.sleep(0.005)


def state_of(process):
    """The letter that /proc tells: R running, S asleep, T halted, Z ended."""
    return Path(f"/proc/{process.pid}/stat").read_text().rpartition(") ")[2][0]


def handles_interrupts(process):
    """Whether the process has a handler of its own for SIGINT."""
    with open(f"/proc/{process.pid}/status", encoding="ascii") as status:
        caught = next(line for line in status if line.startswith("SigCgt:"))
    return int(caught.split()[1], 16) & 1 << (signal.SIGINT - 1) != 0


def pipe_is_full(reading):
    waiting = struct.unpack("i", fcntl.ioctl(reading, termios.FIONREAD, bytes(4)))[0]
    return waiting >= fcntl.fcntl(reading, 1032) - 4096  # F_GETPIPE_SZ; a page may be partly filled


Connection = namedtuple("Connection", "local remote sending receiving")


def tcp_connections():
    """One end of each TCP connection of this machine: ports, and the bytes that its two queues hold."""
    for line in Path("/proc/net/tcp").read_text().splitlines()[1:]:
        _, local, remote, _, queues = line.split()[:5]
        sending, receiving = queues.split(":")
        yield Connection(int(local[-4:], 16), int(remote[-4:], 16), int(sending, 16), int(receiving, 16))


def main():
    unittest.main(verbosity=2)
