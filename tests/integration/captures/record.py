#!/usr/bin/env python3
"""Records the capture that the tests of the Wireshark dissector read: a real jayd and its clients, on the loopback.

usage: python3 -B tests/integration/captures/record.py BUILD_DIR [FILE]     FILE: bus.pcap beside this script
Needs dumpcap (Debian's wireshark-common, which tshark brings) and the right to capture: root, or the group wireshark.
"""
import signal
import socket
import sys
import time
from pathlib import Path

FOLDER = Path(__file__).resolve().parent
sys.path.insert(0, str(FOLDER.parent))

from cases import BROADCAST, TIMED, RawClient, pack  # noqa: E402  (the path comes first)
from processes import LIMIT, Process, Programs  # noqa: E402

PORT = 23117
EXAMPLE_STAMP = 595925115
LAST_WORDS = b"that was all"


def record(build_dir, file):
    capture = Process("dumpcap", "-q", "-i", "lo", "-f", f"tcp port {PORT}", "-P", "-w", file)
    try:
        capture.err.wait_for("File:")
        with Programs(build_dir) as programs:
            server = programs.start("jayd", "--port", PORT, "--quiet")
            line = server.err.next_line()
            if line != f"jayd: listening on port {PORT}":
                raise SystemExit(f"record.py: {line}")
            perform()
            wait_for_the_end(file)
    finally:
        capture.stop(signal.SIGINT)


def attached(number):
    client = RawClient(PORT, number)
    client.round_trip()
    return client


def receive(client, payload):
    """Takes messages up to the one with this payload."""
    while client.receive().payload != payload:
        pass


def perform():
    """One thing after another, so that the capture has one order."""
    zero, five = attached(0), attached(5)
    wanted_and_answered(zero, five)
    seven = RawClient(PORT, 7)
    answer(five, seven)
    all_kinds(zero, five, seven)
    pieces(five, seven)
    mistakes(five, seven)
    seven.send(0, LAST_WORDS)
    receive(zero, LAST_WORDS)
    for client in (zero, five, seven):
        client.close()


# The payload of the worked example in docs/protocol.md.
EXAMPLE = b"\x05hello\xfe\xe8\x03\x70\x11\xfe\xff\xff\xff"


def wanted_and_answered(zero, five):
    """Client 7 is not there: the server keeps the message for it and tells client 0."""
    five.send(7, EXAMPLE, priority=1, stamp=EXAMPLE_STAMP, section=42)
    receive(zero, b"")


def answer(five, seven):
    receive(seven, EXAMPLE)
    seven.send(5, b"good day", section=42)
    receive(five, b"good day")


def all_kinds(zero, five, seven):
    five.send(0, b"to all", flag=BROADCAST)
    receive(zero, b"to all")
    receive(seven, b"to all")
    five.send(7, b"answer soon", flag=TIMED, stamp=5000)
    receive(seven, b"answer soon")
    seven.send(5, "안녕하세요".encode("euc-kr"))
    receive(five, "안녕하세요".encode("euc-kr"))
    seven.send(5, bytes(range(128, 160)))
    receive(five, bytes(range(128, 160)))


def pieces(five, seven):
    """A message in three segments, of which the first ends within the header; and three messages in one segment."""
    message = pack(5, 7, b"in three pieces: " + b"x" * 300)
    five.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    for piece in (message[:10], message[10:100], message[100:]):
        five.socket.sendall(piece)
    receive(seven, message[16:])
    five.socket.sendall(pack(5, 7, b"one") + pack(5, 7, b"two") + pack(5, 7, b"three"))
    receive(seven, b"three")


def mistakes(five, seven):
    five.send(40, b"nobody has this id")
    five.socket.sendall(pack(9, 7, b"as somebody else"))
    receive(seven, b"as somebody else")
    five.send(7, b"odd flag", flag=0x80, stamp=0x80000000)
    receive(seven, b"odd flag")
    # The length says 3, so that the header is taken for the whole message; the next message comes as it should.
    header = bytearray(pack(5, 7))
    header[0] = 3
    five.socket.sendall(bytes(header))
    receive(seven, b"")
    # Six bytes more than the length says: they and what follows are taken for a header and its payload.
    five.socket.sendall(pack(5, 7, b"short") + b"\x14\x00\xff\xff\xff\xff" + pack(5, 7, b"lost"))
    receive(seven, b"short")


def wait_for_the_end(file):
    deadline = time.monotonic() + LIMIT
    while Path(file).read_bytes().count(LAST_WORDS) < 2:
        if time.monotonic() > deadline:
            raise SystemExit("record.py: the last message is not in the capture")
        time.sleep(0.05)


if __name__ == "__main__":
    if not 2 <= len(sys.argv) <= 3:
        sys.exit(__doc__)
    record(Path(sys.argv[1]), Path(sys.argv[2] if len(sys.argv) > 2 else FOLDER / "bus.pcap"))
