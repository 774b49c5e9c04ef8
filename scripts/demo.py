#!/usr/bin/env python3
"""Shows messages that travel between processes, and checks every byte. scripts/demo.sh builds the programs and calls this.

usage: scripts/demo.py BUILD_DIR
The exit status is 0 only if every message arrived as announced.
"""
import os
import random
import signal
import sys
import time
from collections import namedtuple
from pathlib import Path

from processes import LIMIT, SLOWNESS, Programs, TimeUp

SYNC, BROADCAST, TIMED = 1, 2, 4
HEADER = 16

Message = namedtuple("Message", "src dest flag priority section stamp length payload")


class Failed(Exception):
    """Something did not happen as announced."""


# ---- output ----

STYLED = sys.stdout.isatty()
UNICODE = (sys.stdout.encoding or "").lower().replace("-", "") == "utf8"
TICK, ARROW = ("✓", "→") if UNICODE else ("ok", "->")


def styled(text, code):
    return f"\033[{code}m{text}\033[0m" if STYLED else text


def title(number, text):
    print(f"\n{styled(f'{number}. {text}', '1')}", flush=True)


def say(text):
    print(f"   {text}", flush=True)


def travels(src, dest, what):
    say(f"  {src:>2} {ARROW} {dest:<3} {what}")


def check(truth, what):
    if not truth:
        raise Failed(what)
    say(f"{styled(TICK, '32')} {what}")


# ---- the processes ----

class Client:
    """A client process: C++ through CA, or plain C through the ca_ functions."""

    def __init__(self, programs, number, port, program):
        self.number = number
        self.process = programs.start(program, number, port)

    def send(self, dest, payload, flag=0, priority=0, section=0, stamp=0):
        self.process.write_line(f"send {dest} {flag} {priority} {section} {stamp} {payload.hex() or '-'}")

    def receive(self, limit=LIMIT):
        line = self.process.out.next_line(limit)
        words = (line or "nothing: it has ended").split()
        if words[0] != "got":
            raise Failed(f"client {self.number}: {line}")
        payload = b"" if words[8] == "-" else bytes.fromhex(words[8])
        return Message(*map(int, words[1:8]), payload)

    def expect(self, src, dest, payload, flag=0, priority=0, section=0, limit=LIMIT):
        """The next message is this one, in every field and every byte."""
        m = self.receive(limit)
        wanted = Message(src, dest, flag, priority, section, m.stamp, HEADER + len(payload), payload)
        if m != wanted:
            raise Failed(f"client {self.number} got\n      {m}\n   instead of\n      {wanted}")
        return m

    def round_trip(self, priority=0):
        """A message to itself: when it is back, the server has read, and routed, all that was sent before it, and
        nothing else has come for this client."""
        self.send(self.number, b"round trip", priority=priority)
        self.expect(self.number, self.number, b"round trip", priority=priority)


class Stage:
    """The server, and the clients that are used in several acts."""

    def __init__(self, programs):
        self.programs = programs
        self.server, self.port = programs.start_server()
        self.clients = {}

    def start(self, number, program="demo_client"):
        """Starts a client, which then connects and receives what waits for it."""
        self.clients[number] = Client(self.programs, number, self.port, program)
        return self.clients[number]

    def connect(self, number, program="demo_client"):
        """Starts a client and waits until it is connected and nothing waits for it."""
        client = self.start(number, program)
        client.round_trip()
        return client

    def __getitem__(self, number):
        return self.clients[number]


# ---- the acts ----

def greeting(stage):
    title(1, "A greeting")
    say("hello_receiver, in plain C, is client 7. hello_sender, in C++, is client 5.")
    receiver = stage.programs.start("hello_receiver", stage.port)
    stage.server.err.wait_for("CA(7) connected")
    sender = stage.programs.start("hello_sender", stage.port)
    travels(5, 7, "hello from C++")
    statuses = receiver.wait(), sender.wait()
    say(f"hello_receiver prints: {receiver.out.text().rstrip()}")
    check(statuses == (0, 0) and receiver.out.text() == "client 5 says: hello from C++\n", "it arrived unchanged")


def every_byte(stage):
    title(2, "Every byte")
    say("Client 5, in C++, sends all 256 byte values to client 7, in C, which sends them back in reverse,")
    say("and then the longest possible message, which client 7 sends back as well.")
    five, seven = stage.connect(5), stage.connect(7, "demo_client_c")
    values = bytes(range(256))
    longest = random.Random(7).randbytes(65535 - HEADER)
    for payload, what in ((values, "00 01 02 ... ff"), (longest, f"{len(longest)} bytes")):
        five.send(7, payload, priority=2, section=-123456789)
        travels(5, 7, what)
        seven.expect(5, 7, payload, priority=2, section=-123456789)
        seven.send(5, payload[::-1], section=2147483647)
        travels(7, 5, "the same in reverse")
        five.expect(7, 5, payload[::-1], section=2147483647)
    check(True, "all bytes and all header fields arrived unchanged, both ways")


def overtaking(stage):
    title(3, "An urgent message overtakes")
    nine = stage.connect(9)
    nine.process.send_signal(signal.SIGSTOP)
    count = messages_beyond_the_system()
    say(f"Client 9 is stopped and reads nothing. {count} messages of priority 5, 60000 bytes each, wait for it.")
    ballast = [random.Random(i).randbytes(60000) for i in range(count)]
    for i, payload in enumerate(ballast):
        stage[5].send(9, payload, priority=5, section=i)
    stage[5].round_trip(priority=5)
    travels(5, 9, f"{count} times priority 5, and then one message of priority 0")
    stage[5].send(9, b"out of my way", priority=0)
    stage[5].round_trip(priority=5)
    say("Client 9 continues.")
    nine.process.send_signal(signal.SIGCONT)
    place = receive_among(nine, ballast)
    check(place < count, f"the urgent message was sent as number {count + 1} and arrived as number {place + 1}")
    check(True, f"the other {count} arrived unchanged and in order")


def messages_beyond_the_system():
    """More messages than fit into the system's buffers between the server and a stopped client, whatever their sizes: the
    default size on the client's side, because that buffer grows only while it is read; the largest on the server's side."""
    def sizes(name):
        return [int(size) for size in Path(f"/proc/sys/net/ipv4/{name}").read_text().split()]
    return (sizes("tcp_rmem")[1] + sizes("tcp_wmem")[2]) // 60000 + 30


def receive_among(client, ballast):
    """Receives the ballast, in order, and one urgent message, whose place is returned."""
    place, following = None, 0
    while following < len(ballast) or place is None:
        m = client.receive()
        if m.priority == 0:
            place = following
            wanted = (5, 9, 0, 0, 0, b"out of my way")
        elif following < len(ballast):
            wanted = (5, 9, 0, 5, following, ballast[following])
            following += 1
        if (m.src, m.dest, m.flag, m.priority, m.section, m.payload) != wanted:
            raise Failed(f"client 9: number {following} is not what was sent")
    return place


def sync(stage):
    title(4, "A SYNC message goes to client 0, whatever its destination")
    stage[5].send(7, b"look after 7, please", flag=SYNC, priority=3)
    travels(5, 7, "SYNC, \"look after 7, please\"")
    stage[0].expect(5, 7, b"look after 7, please", flag=SYNC, priority=3)
    stage[7].round_trip()
    check(True, "client 0 has received it, with client 7 as destination; client 7 has received nothing")


def broadcast(stage):
    title(5, "A broadcast")
    stage[5].send(0, b"to all", flag=BROADCAST, priority=1)
    travels(5, "all", "\"to all\"")
    for number in (0, 7, 9):
        stage[number].expect(5, number, b"to all", priority=1)
    stage[5].round_trip()
    check(True, "clients 0, 7 and 9 have received a copy each, with their own id as destination; the sender has not")


def waiting(stage):
    title(6, "Messages for a client that is not connected")
    messages = ((2, b"first"), (3, b"second"), (0, b"third, but urgent"))
    for priority, payload in messages:
        stage[5].send(11, payload, priority=priority)
        travels(5, 11, f"priority {priority}, \"{payload.decode()}\"")
    stage[0].expect(5, 11, b"", flag=SYNC)
    travels("", 0, "SYNC from the server: messages wait for client 11, the first from client 5")
    check(True, "client 0 has been notified and can start client 11, which now connects")
    eleven = stage.start(11)
    for priority, payload in (messages[2], messages[0], messages[1]):
        eleven.expect(5, 11, payload, priority=priority)
    check(True, "client 11 has received all three, the urgent one first")


def timed(stage):
    title(7, "Answer within a second")
    sent = ask(stage, b"are you well?")
    stage[7].send(5, b"yes")
    travels(7, 5, "\"yes\"")
    stage[5].expect(7, 5, b"yes")
    answered = time.time() - sent
    say(f"Answered after {answered * 1000:.0f} ms. For two seconds, client 0 must get no message ...")
    time.sleep(max(0, 2.2 - answered))
    stage[0].round_trip()
    check(True, "answered in time, and client 0 was not notified")

    sent = ask(stage, b"and now?")
    say("This time client 7 does not answer.")
    stage[0].expect(7, 7, b"", flag=SYNC, limit=3 + LIMIT)
    waited = time.time() - sent
    travels("", 0, f"SYNC from the server after {waited:.1f} s: client 7 has not answered")
    check(waited >= 1, "client 0 was notified, and not before the second was over")
    stage[5].send(7, b"welcome back")
    travels(5, 7, "\"welcome back\" waits: nothing is sent to a client that has not answered")
    stage[5].round_trip()
    check(stage[7].process.out.is_empty(), "client 7 has not received it")
    say("Client 7 is restarted.")
    stage[7].process.close_input()
    stage[7].process.wait()
    stage.start(7, "demo_client_c").expect(5, 7, b"welcome back")
    check(True, "now client 7 has received it")


def ask(stage, question):
    """A TIMED message from 5 to 7: it arrives without the flag, and with the time of delivery as its stamp."""
    before = time.time()
    stage[5].send(7, question, flag=TIMED, stamp=1000)
    travels(5, 7, f"TIMED 1000 ms, \"{question.decode()}\"")
    m = stage[7].expect(5, 7, question)
    delay = (m.stamp - int(before * 1000)) % 2**31
    if delay > 1000 * LIMIT:
        raise Failed(f"the stamp {m.stamp} is not the time of delivery")
    return before


def farewell(stage):
    title(8, "The end")
    for client in stage.clients.values():
        client.round_trip()
    check(True, "no client has received anything else")
    say("jayd gets SIGTERM while all clients are connected.")
    started = time.monotonic()
    status = stage.server.stop(signal.SIGTERM)
    took = time.monotonic() - started
    check(status == 0 and took < 2 * SLOWNESS, f"jayd ended with status {status} after {took:.1f} s")
    for number in (0, 5, 9):
        stage[number].process.out.wait_for("lost")
    check(True, "its clients have noticed the end of their connections")


ACTS = (greeting, every_byte, overtaking, sync, broadcast, waiting, timed, farewell)


def perform(programs):
    print("One bus server, jayd, and several clients, each in its own process. Each client has an id from 0 to 31.")
    stage = Stage(programs)
    say(f"jayd runs on port {stage.port}, process {stage.server.pid}.")
    stage.connect(0)
    for act in ACTS:
        act(stage)


ENDING_SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)


def end_on_signal(number, _):
    for other in ENDING_SIGNALS:
        signal.signal(other, signal.SIG_IGN)  # while the processes are ended
    os.write(sys.stderr.fileno(), b"\ndemo.py: interrupted; all its processes are ended\n")
    raise SystemExit(128 + number)


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    for number in ENDING_SIGNALS:
        signal.signal(number, end_on_signal)
    started = time.monotonic()
    try:
        with Programs(sys.argv[1]) as programs:
            perform(programs)
    except (Failed, TimeUp, OSError, RuntimeError) as error:
        print(f"\n{styled('FAILED', '31')}: {error}", flush=True)
        return 1
    print(f"\nEvery message arrived as announced, in {time.monotonic() - started:.0f} seconds.")
    return 0


if __name__ == "__main__":
    sys.exit(main())
