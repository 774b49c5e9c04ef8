"""One contract for the clients of all languages: the same cases for each, by a server that speaks in raw bytes.

usage: ConformanceTest.py CLIENT [Conformance.test_...]     CLIENT is one of CLIENTS below

A client takes part by a small program that is called with ID and PORT, reads what to send from standard input, and writes what
comes to standard output: examples/demo/client.cpp describes the lines, and client.py here those of clients that can do more.
"""
import random
import socket
import sys
import time
from collections import namedtuple
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "integration"))

from cases import BROADCAST, HEADER, LIMIT, SYNC, TIMED, Case, Message, main, pack  # noqa: E402  (the path comes first)
from processes import Process  # noqa: E402

# program: of the build, or with its interpreter; can: what it does beyond sending and receiving.
Kind = namedtuple("Kind", "program can")
OURS = Path(__file__).with_name("client.py")
TELLS_LOSS, COMES_BACK, TELLS_NOT_SENT = "tell of a loss", "come back", "tell what was not sent"
CLIENTS = {
    "C++": Kind(["demo_client"], {TELLS_LOSS}),
    "C": Kind(["demo_client_c"], set()),
    "Python.Client": Kind([sys.executable, OURS, "asyncio"], {TELLS_LOSS, COMES_BACK, TELLS_NOT_SENT}),
    "Python.BlockingClient": Kind([sys.executable, OURS, "blocking"], {TELLS_LOSS, COMES_BACK, TELLS_NOT_SENT}),
}

ID = 7
SIZES = (0, 1, 2, 15, 16, 17, 239, 240, 241, 4095, 4096, 32768, 65518, 65519)
BURST = 10_000


class Conformance(Case):
    kind = None  # one of CLIENTS

    def setUp(self):
        super().setUp()
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.listener.settimeout(LIMIT)
        self.addCleanup(self.listener.close)

    # ---- what the cases are made of ----

    def start_client(self, *options):
        words = (ID, self.listener.getsockname()[1], *options)
        if len(self.kind.program) == 1:
            self.client = self.start(self.kind.program[0], *words)
        else:
            self.client = Process(*self.kind.program, *words)
            self.addCleanup(self.client.kill)
        self.accept()

    def accept(self):
        """The client's next connection, and its greeting."""
        self.connection, _ = self.listener.accept()
        self.connection.settimeout(LIMIT)
        self.addCleanup(self.connection.close)
        self.greeting = self.receive()

    def receive(self):
        """The next message of the client."""
        header = HEADER.unpack(self.receive_exactly(HEADER.size))
        return Message(*header, self.receive_exactly(header[0] - HEADER.size))

    def receive_exactly(self, count):
        received = b""
        while len(received) < count:
            some = self.connection.recv(count - len(received))
            self.assertTrue(some, "the client has closed its connection")
            received += some
        return received

    def tell_to_send(self, dest, payload=b"", flag=0, priority=0, section=0, stamp=0):
        self.client.write_line(f"send {dest} {flag} {priority} {section} {stamp} {payload.hex() or '-'}")

    def got(self):
        """The next message that the client has received, without its length."""
        line = self.client.out.next_line() or "the end of its output"
        self.assertTrue(line.startswith("got "), line[:80])
        source, dest, flag, priority, section, stamp, _, payload = line.split()[1:]
        return (int(source), int(dest), int(flag), int(priority), int(section), int(stamp), bytes.fromhex(payload.strip("-")))

    def expect_got(self, payload):
        self.assertEqual(self.got(), (5, ID, 0, 0, 0, 0, payload))

    def expect_line(self, line):
        self.assertEqual(self.client.out.next_line(), line)

    def needs(self, ability):
        if ability not in self.kind.can:
            self.skipTest(f"this client does not {ability}")

    def assert_clock(self, stamp):
        now = time.time_ns() // 1_000_000
        self.assertLess((now - stamp) % 2**31, LIMIT * 1000)

    # ---- connecting and sending ----

    def test_a_greeting_is_a_header_that_names_the_client(self):
        self.start_client()
        self.assertEqual(self.greeting._replace(stamp=0), Message(16, 0, ID, 0, 0, 0, 0, b""))
        self.assert_clock(self.greeting.stamp)

    def test_every_field_is_sent_in_its_place(self):
        self.start_client()
        self.tell_to_send(31, b"abc", flag=SYNC | BROADCAST, priority=255, section=-2)
        message = self.receive()
        self.assertEqual(message._replace(stamp=0), Message(19, 31, ID, SYNC | BROADCAST, 255, 0, 2**32 - 2, b"abc"))
        self.assert_clock(message.stamp)
        self.tell_to_send(5, flag=TIMED, section=2**31 - 1, stamp=3000)
        self.assertEqual(self.receive(), Message(16, 5, ID, TIMED, 0, 3000, 2**31 - 1, b""))

    def test_payloads_of_every_size_are_sent(self):
        self.start_client()
        for size in SIZES:
            payload = random.Random(size).randbytes(size)
            self.tell_to_send(5, payload)
            self.assertEqual(self.receive().payload, payload)

    def test_a_burst_is_sent_whole_and_in_order(self):
        self.start_client()
        for number in range(BURST):
            self.tell_to_send(5, b"%d" % number)
        self.assertEqual([int(self.receive().payload) for _ in range(BURST)], list(range(BURST)))

    # ---- receiving ----

    def test_every_field_is_received(self):
        self.start_client()
        self.connection.sendall(pack(31, 30, b"abc", flag=255, priority=254, stamp=2**31 - 1, section=2**32 - 2))
        self.assertEqual(self.got(), (31, 30, 255, 254, -2, 2**31 - 1, b"abc"))

    def test_payloads_of_every_size_are_received(self):
        self.start_client()
        for size in SIZES:
            payload = random.Random(size).randbytes(size)
            self.connection.sendall(pack(5, ID, payload))
            self.expect_got(payload)

    def test_a_burst_is_received_whole_and_in_order(self):
        self.start_client()
        self.connection.sendall(b"".join(pack(5, ID, b"%d" % number) for number in range(BURST)))
        self.assertEqual([int(self.got()[-1]) for _ in range(BURST)], list(range(BURST)))

    def test_messages_are_found_however_they_are_cut(self):
        self.start_client()
        stream = pack(5, ID, b"one") + pack(5, ID) + pack(5, ID, b"three")
        for size in (1, 5, 16, 17, 19, 40):
            for begin in range(0, len(stream), size):
                self.connection.sendall(stream[begin:begin + size])
            for payload in (b"one", b"", b"three"):
                self.expect_got(payload)

    def test_a_length_below_16_is_a_header_alone(self):
        self.start_client()
        for length in range(16):
            self.connection.sendall(HEADER.pack(length, ID, 5, 0, 0, 0, 0) + pack(5, ID, b"next"))
            self.expect_got(b"")
            self.expect_got(b"next")

    # ---- losing and coming back ----

    def test_a_loss_is_told_behind_what_had_arrived(self):
        self.needs(TELLS_LOSS)
        self.start_client()
        self.connection.sendall(pack(5, ID, b"one"))
        self.connection.close()
        self.expect_got(b"one")
        self.expect_line("lost")

    def test_a_message_cut_short_is_dropped(self):
        self.needs(TELLS_LOSS)
        self.start_client()
        self.connection.sendall(pack(5, ID, b"one") + pack(5, ID, b"two")[:-1])
        self.connection.close()
        self.expect_got(b"one")
        self.expect_line("lost")

    def test_it_comes_back_under_the_same_id(self):
        self.needs(COMES_BACK)
        self.start_client("--reconnect")
        self.expect_line("connected")
        for number in range(3):
            self.connection.sendall(pack(5, ID, b"cut short")[:-1])
            self.connection.close()
            self.expect_line("lost")
            self.accept()
            self.assertEqual(self.greeting._replace(stamp=0), Message(16, 0, ID, 0, 0, 0, 0, b""))
            self.expect_line("connected")
            self.connection.sendall(pack(5, ID, b"%d" % number))
            self.expect_got(b"%d" % number)

    def test_what_was_not_sent_is_told_and_never_sent_by_itself(self):
        self.needs(TELLS_NOT_SENT)
        self.start_client("--reconnect")
        self.expect_line("connected")
        address = self.listener.getsockname()
        self.listener.close()
        self.connection.close()
        self.expect_line("lost")
        self.tell_to_send(5, b"stale")
        self.expect_line("not sent")
        self.listener = socket.create_server(address)
        self.addCleanup(self.listener.close)
        self.listener.settimeout(LIMIT)
        self.accept()
        self.expect_line("connected")
        self.tell_to_send(5, b"fresh")
        self.assertEqual(self.receive().payload, b"fresh")


if __name__ == "__main__":
    if len(sys.argv) < 2 or sys.argv[1] not in CLIENTS:
        sys.exit(f"usage: ConformanceTest.py {'|'.join(CLIENTS)} [TEST...]")
    Conformance.kind = CLIENTS[sys.argv.pop(1)]
    main()
