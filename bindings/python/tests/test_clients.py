"""Both clients at a real server: sending, receiving, requests, waiting, closing."""
import asyncio
import os
import random
import select
import socket
import subprocess
import sys
import threading
import time
from pathlib import Path

import pytest
from conftest import LIMIT, ROOT, background, eventually
from processes import Process

from jaybus import (MAX_PAYLOAD, BlockingClient, BusTimeout, Client, ClientClosed, ConnectionFailed, ConnectionLost, Flag,
                    InvalidValue, ItemWriter, Message, NotSent)

PACKAGE = str(ROOT / "bindings" / "python")
SHORT = 0.05  # a time that is to pass


# ---- sending and receiving ----

def test_every_field_of_the_header_arrives(connect):
    five, seven = connect(5), connect(7)
    before = time.time_ns() // 1_000_000 & 0x7FFFFFFF
    five.send(7, b"hello", priority=200, section=-42, flag=0x80)
    message = seven.receive(LIMIT)
    assert message._replace(stamp=0) == Message(7, b"hello", 5, 0x80, 200, 0, -42)
    assert (message.stamp - before) % 2**31 < LIMIT * 1000
    five.send(7, stamp=123, source=9, section=0xFFFFFFFE)
    assert seven.receive(LIMIT) == Message(7, b"", 9, 0, 0, 123, -2)


def test_sync_goes_to_client_0(connect):
    zero, five = connect(0), connect(5)
    five.send(7, b"look", flag=Flag.SYNC)
    message = zero.receive(LIMIT)
    assert (message.destination, message.source, message.flag, message.payload) == (7, 5, Flag.SYNC, b"look")


def test_a_broadcast_goes_to_all_others(connect):
    three, four, five = connect(3), connect(4), connect(5)
    five.send(0, b"all", flag=Flag.BROADCAST)
    for client, number in ((three, 3), (four, 4)):
        message = client.receive(LIMIT)
        assert (message.destination, message.source, message.flag, message.payload) == (number, 5, 0, b"all")
    assert five.waiting == 0


def test_a_timed_message_arrives_with_the_clock_and_its_loss_of_time_is_told_to_client_0(connect):
    zero, five, seven = connect(0), connect(5), connect(7)
    five.send(7, b"are you alive?", flag=Flag.TIMED, stamp=100)
    message = seven.receive(LIMIT)
    assert message.flag == 0 and message.stamp != 100
    alarm = zero.receive(LIMIT)  # client 7 was not heard from
    assert (alarm.destination, alarm.flag) == (7, Flag.SYNC)


def test_what_was_kept_is_delivered_to_who_connects(connect, make, server):
    five = connect(5)
    for number in range(20):
        five.send(9, b"kept %d" % number)
    nine = make(9, port=server.port)
    nine.connect()
    assert [nine.receive(LIMIT).payload for _ in range(20)] == [b"kept %d" % number for number in range(20)]


@pytest.mark.parametrize("size", [0, 1, 15, 16, 17, 239, 240, 4096, 32768, 65518, MAX_PAYLOAD])
def test_payloads_of_every_size_pass(connect, size):
    five, seven = connect(5), connect(7)
    payload = random.Random(size).randbytes(size)
    five.send(7, payload)
    assert seven.receive(LIMIT).payload == payload


def test_a_burst_arrives_whole_and_in_order(connect):
    five, seven = connect(5), connect(7)
    sizes = random.Random(4)
    payloads = [number.to_bytes(4, "little") * sizes.randrange(1, 100) for number in range(20_000)]
    sender = background(lambda: [five.send(7, payload) for payload in payloads])
    assert [seven.receive(LIMIT).payload for _ in payloads] == payloads
    sender.result(LIMIT)


def test_large_messages_of_many_senders_do_not_mix(connect):
    five, seven = connect(5), connect(7)
    senders = [background(lambda mark=mark: [five.send(7, bytes((mark,)) * MAX_PAYLOAD) for _ in range(40)]) for mark in range(4)]
    payloads = [seven.receive(LIMIT).payload for _ in range(160)]
    for sender in senders:
        sender.result(LIMIT)
    assert all(payload == payload[:1] * MAX_PAYLOAD for payload in payloads)
    assert sorted(payload[0] for payload in payloads) == sorted([0, 1, 2, 3] * 40)


def test_a_message_that_cannot_be_is_refused_and_the_next_one_passes(connect):
    five, seven = connect(5), connect(7)
    for wrong in (lambda: five.send(32), lambda: five.send(7, bytes(MAX_PAYLOAD + 1)), lambda: five.send(7, priority=256),
                  lambda: five.send(7, flag=Flag.TIMED), lambda: five.request(7, section=2**32), lambda: five.request(32)):
        with pytest.raises(InvalidValue):
            wrong()
    five.send(7, ItemWriter().put_string("right"))
    assert seven.receive(LIMIT).items().get_string() == "right"


# ---- requests ----

def test_a_request_is_answered_and_all_else_is_kept(connect):
    five, seven = connect(5), connect(7)

    def answer():
        question = seven.receive(LIMIT)
        seven.send(5, b"something else", section=question.section + 1)
        seven.reply(question, question.payload.upper())
        seven.reply(question, b"once more")

    thread = background(answer)
    reply = five.request(7, b"hello", timeout=LIMIT)
    thread.result(LIMIT)
    assert (reply.source, reply.payload) == (7, b"HELLO")
    assert [five.receive(LIMIT).payload for _ in range(2)] == [b"something else", b"once more"]


def test_a_request_carries_the_section_that_was_given(connect):
    five, seven = connect(5), connect(7)
    thread = background(lambda: seven.reply(seven.receive(LIMIT), b"yes"))
    assert five.request(7, timeout=LIMIT, section=4_000_000_000, priority=3).section == 4_000_000_000 - 2**32
    thread.result(LIMIT)


def test_many_requests_at_once_find_their_answers_in_any_order(connect):
    five, seven = connect(5), connect(7)
    found = {}

    def ask(number):
        found[number] = five.request(7, b"%d" % number, timeout=LIMIT).payload

    threads = [background(ask, number) for number in range(50)]
    questions = [seven.receive(LIMIT) for _ in threads]
    for question in reversed(questions):
        seven.reply(question, question.payload * 2)
    for thread in threads:
        thread.result(LIMIT)
    assert found == {number: b"%d" % number * 2 for number in range(50)}


def test_an_answer_too_late_is_an_ordinary_message(connect):
    five, seven = connect(5), connect(7)
    begin = time.monotonic()
    with pytest.raises(BusTimeout, match="no answer from client 7 within 0.05 s"):
        five.request(7, timeout=SHORT)
    assert SHORT <= time.monotonic() - begin < LIMIT
    seven.reply(seven.receive(LIMIT), b"late")
    assert five.receive(LIMIT).payload == b"late"


# ---- waiting ----

def test_receiving_ends_with_its_time(connect):
    five = connect(5)
    for timeout in (0, SHORT):
        begin = time.monotonic()
        with pytest.raises(BusTimeout, match="no message"):
            five.receive(timeout)
        assert timeout <= time.monotonic() - begin < LIMIT
    five.send(5, b"still here")
    assert five.receive(LIMIT).payload == b"still here"


def test_waiting_counts_what_was_not_taken(connect):
    five = connect(5)
    for _ in range(3):
        five.send(5)
    eventually(lambda: five.waiting == 3)
    five.receive(0)
    assert five.waiting == 2


def test_iteration_gives_messages_until_the_client_is_closed(connect):
    five, seven = connect(5), connect(7)
    seen = []
    thread = background(lambda: seen.extend(message.payload for message in seven))
    five.send(7, b"one")
    five.send(7, b"two")
    eventually(lambda: len(seen) == 2)
    seven.close()
    thread.result(LIMIT)
    assert seen == [b"one", b"two"]


# ---- connecting and closing ----

def test_where_nobody_listens_there_is_no_connection(make, fake_server):
    fake_server.close()
    client = make(5, port=fake_server.port)
    with pytest.raises(ConnectionFailed, match=f"127.0.0.1 port {fake_server.port}.*refused"):
        client.connect()
    assert not client.connected
    for operation in (lambda: client.receive(0), lambda: client.wait_connected(0)):
        with pytest.raises(ClientClosed, match="not connected yet"):
            operation()
    with pytest.raises(NotSent):
        client.send(7)


@pytest.mark.parametrize("host", ["no-such-host.invalid", "256.1.2.3", "a" * 70, "host..name"])
def test_a_host_that_does_not_exist_is_told(make, host):
    with pytest.raises(ConnectionFailed, match=host[:20]):
        make(5, host=host, port=1).connect()


def test_a_connection_that_takes_too_long_is_given_up(make):
    with socket.socket() as listener:  # its queue is full: a further connection is neither accepted nor refused
        listener.bind(("127.0.0.1", 0))
        listener.listen(0)
        fillers = [socket.socket() for _ in range(2)]
        for filler in fillers:
            filler.setblocking(False)
            filler.connect_ex(listener.getsockname())
        with pytest.raises(ConnectionFailed):
            make(5, port=listener.getsockname()[1], connect_timeout=0.2).connect()
        for filler in fillers:
            filler.close()


def test_connecting_again_changes_nothing(connect):
    five = connect(5)
    five.connect()
    five.request(5, timeout=LIMIT)


def test_a_closed_client_stays_closed(connect):
    five = connect(5)
    five.close()
    five.close()
    assert not five.connected
    for operation in (five.connect, five.receive, lambda: five.send(7), lambda: five.request(7), five.wait_connected):
        with pytest.raises(ClientClosed, match="closed"):
            operation()


def test_closing_ends_what_waits(connect):
    five = connect(5)
    ended = []

    def expect_the_end(operation):
        with pytest.raises(ClientClosed):
            operation()
        ended.append(operation)

    threads = [background(expect_the_end, operation)
               for operation in (five.receive, lambda: five.request(6, timeout=LIMIT))]
    eventually(lambda: five._session._questions)
    five.close()
    for thread in threads:
        thread.result(LIMIT)
    assert len(ended) == 2


def test_what_was_sent_before_closing_arrives(connect, make, server):
    seven = connect(7)
    for _ in range(20):
        five = make(5, port=server.port)
        five.connect()
        for number in range(10):
            five.send(7, b"%d" % number)
        five.close()
    assert [int(seven.receive(LIMIT).payload) for _ in range(200)] == list(range(10)) * 20


def test_another_client_with_the_id_ends_the_connection(connect):
    first = connect(5)
    second = connect(5)
    with pytest.raises(ConnectionLost):
        first.receive(LIMIT)
    with pytest.raises(NotSent):
        first.send(7)
    second.request(5, timeout=LIMIT)


def test_two_that_connect_at_once_make_one_connection(make, fake_server):
    five = make(5, port=fake_server.port)
    connecting = [background(five.connect) for _ in range(2)]
    for one in connecting:
        one.result(LIMIT)
    connection = fake_server.accept()
    five.send(7, b"by the one")
    assert fake_server.receive_exactly(connection, 26)[16:] == b"by the one"


# ---- with asyncio ----

def test_a_task_that_only_sends_lets_others_run(server):
    async def send_beside_another():
        turns = 0

        async def take_turns():
            nonlocal turns
            while True:
                turns += 1
                await asyncio.sleep(0)

        async with Client(5, port=server.port) as five:
            other = asyncio.ensure_future(take_turns())
            for _ in range(1000):
                await five.send(7)
            other.cancel()
        return turns

    assert asyncio.run(send_beside_another()) > 5


# ---- without asyncio ----

def readable(client):
    return bool(select.select([client], [], [], 0)[0])


def test_the_descriptor_of_a_blocking_client_is_readable_while_a_message_waits(server):
    with BlockingClient(5, port=server.port) as five:
        assert not readable(five)
        five.send(5, b"one")
        five.send(5, b"two")
        assert select.select([five], [], [], LIMIT)[0]
        eventually(lambda: five.waiting == 2)
        five.receive(0)
        assert readable(five)
        five.receive(0)
        assert not readable(five)
        server.kill()
        assert select.select([five], [], [], LIMIT)[0]
        with pytest.raises(ConnectionLost):
            five.receive(0)
        assert readable(five)


def test_the_descriptor_knows_of_what_came_before_it_was_asked_for(server):
    with BlockingClient(5, port=server.port) as five:
        five.send(5)
        eventually(lambda: five.waiting == 1)
        assert readable(five)


def test_a_program_without_asyncio_does_not_load_it():
    program = "import sys; from jaybus import BlockingClient; sys.exit('asyncio' in sys.modules)"
    subprocess.run([sys.executable, "-I", "-c", f"import sys; sys.path.insert(0, {PACKAGE!r}); {program}"],
                   check=True, timeout=LIMIT)


# ---- idle ----

IDLE = """
import asyncio
from jaybus import {kind}

async def idle():
    async with Client(7, port={port}, reconnect=True) as bus:
        await bus.send(5, b"ready")
        await bus.receive()

def block():
    with BlockingClient(7, port={port}, reconnect=True) as bus:
        bus.send(5, b"ready")
        bus.receive()

asyncio.run(idle()) if "{kind}" == "Client" else block()
"""


def wake_ups(process):
    """How often each thread of a process has gone to sleep, or was interrupted."""
    return [line for task in sorted(Path(f"/proc/{process.pid}/task").iterdir())
            for line in (task / "status").read_text().splitlines() if "ctxt_switches" in line]


def settled_wake_ups(process):
    """The same, once nothing has changed for a while."""
    before = None
    while before != (now := wake_ups(process)):
        before = now
        threading.Event().wait(0.2)
    return now


@pytest.mark.parametrize("kind", ["Client", "BlockingClient"])
def test_an_idle_client_never_wakes_up(connect, server, kind):
    five = connect(5)
    process = Process(sys.executable, "-c", IDLE.format(kind=kind, port=server.port), env={**os.environ, "PYTHONPATH": PACKAGE})
    try:
        assert five.receive(LIMIT).payload == b"ready"
        before = settled_wake_ups(process)
        threading.Event().wait(1.5)  # the time in which nothing is to happen
        assert wake_ups(process) == before
    finally:
        process.kill()
