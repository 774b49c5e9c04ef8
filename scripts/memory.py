#!/usr/bin/env python3
"""Measures the threads, descriptors and memory of jayd and of clients. docs/porting.md shows results.

usage: scripts/memory.py BUILD_DIR     BUILD_DIR contains jayd and the examples, as build/release
Own memory is memory that the process has written to (Private_Dirty in /proc/PID/smaps_rollup). The rest of the resident memory is
code and constants, which all processes share, and which the system can read from the disk again.
"""
import signal
import socket
import struct
import sys
from pathlib import Path

from processes import LIMIT, Programs

HEADER = struct.Struct("<HHHBBII")
CLIENTS = (0, 1, 8, 16, 32)
MESSAGES, PAYLOAD = 10000, 100


def message(src, dest, payload=b"", flag=0):
    return HEADER.pack(HEADER.size + len(payload), dest, src, flag, 0, 0, 0) + payload


class Client:
    """A client in raw bytes, in this process, whose memory is not measured."""

    def __init__(self, port, number):
        self.number = number
        self.socket = socket.create_connection(("127.0.0.1", port), LIMIT)
        self.socket.sendall(message(number, 0))
        self.round_trip()

    def round_trip(self):
        """A message to itself: when it is back, all sent before it has been routed."""
        self.socket.sendall(message(self.number, self.number, b"back"))
        while not self.socket.recv(1 << 16).endswith(b"back"):
            pass


def kilobytes(pid, name):
    """A field of smaps_rollup, in kB; several lines of one name do not occur there."""
    for line in Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines():
        if line.startswith(name + ":"):
            return int(line.split()[1])
    raise KeyError(name)


def threads(pid):
    return len(list(Path(f"/proc/{pid}/task").iterdir()))


def row(label, pid):
    own = kilobytes(pid, "Private_Dirty")
    descriptors = len(list(Path(f"/proc/{pid}/fd").iterdir()))
    print(f"{label:<34} {threads(pid):>7} {descriptors:>11} {kilobytes(pid, 'Rss'):>11} {own:>7}", flush=True)
    return own


def measure_server(programs):
    server, port = programs.start_server("--quiet")
    clients, own = [], {}
    for count in CLIENTS:
        while len(clients) < count:
            clients.append(Client(port, len(clients)))
        own[count] = row(f"jayd, {count} clients", server.pid)
    print(f"  each client: {(own[32] - own[0]) / 32:.0f} kB")


def measure_waiting(programs):
    """Messages wait for a client that does not connect."""
    server, port = programs.start_server("--quiet")
    sender = Client(port, 5)
    before = kilobytes(server.pid, "Private_Dirty")
    for _ in range(MESSAGES // 100):
        sender.socket.sendall(message(5, 7, b"x" * PAYLOAD) * 100)
    sender.round_trip()
    grown = row(f"jayd, {MESSAGES} messages waiting", server.pid) - before
    print(f"  each message of {HEADER.size + PAYLOAD} bytes: {1024 * grown / MESSAGES:.0f} bytes")
    return port


def measure_client(programs, port, name, label):
    client = programs.start(name, 31, port)
    client.write_line("send 31 0 0 0 0 -")
    client.out.wait_for("got")
    row(label, client.pid)


def main():
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)  # as in `memory.py ... | head`
    if len(sys.argv) != 2 or not Path(sys.argv[1]).is_dir():
        sys.exit(__doc__)
    print(f"{'process':<34} {'threads':>7} {'descriptors':>11} {'resident kB':>11} {'own kB':>7}")
    with Programs(sys.argv[1]) as programs:
        measure_server(programs)
        port = measure_waiting(programs)
        measure_client(programs, port, "demo_client_c", "a client in C")
        measure_client(programs, port, "demo_client", "a client in C++")


if __name__ == "__main__":
    main()
