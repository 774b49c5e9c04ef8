"""Clients in C, C++ and Python on one bus: 100,000 messages each way."""
import threading

import pytest
from conftest import LIMIT, background

from jaybus import BlockingClient, Client

COUNT = 100_000
PEERS = {"C": "tests/bindings/peer_c", "C++": "tests/bindings/peer_cpp"}


def payload_of(number):
    """What the peers send and expect: see tests/bindings/workload.h."""
    return number.to_bytes(4, "little") + bytes((number * 7 + i) & 0xFF for i in range(4, 4 + number % 61))


# Payloads repeat, apart from the number in front, after 61 * 256.
TAILS = [payload_of(number)[4:] for number in range(61 * 256)]


def numbered():
    for number in range(COUNT):
        yield number.to_bytes(4, "little") + TAILS[number % len(TAILS)]


def start_receiver(programs, server, peer):
    process = programs.start(PEERS[peer], 7, server.port, "receive", COUNT)
    assert process.out.next_line() == "ready"
    return process


def assert_ok(process):
    assert process.out.next_line(10 * LIMIT).startswith("ok ")
    assert process.wait() == 0


@pytest.mark.parametrize("peer", PEERS)
def test_all_messages_to_a_peer_arrive(server, programs, peer):
    process = start_receiver(programs, server, peer)
    with BlockingClient(5, port=server.port) as five:
        for payload in numbered():
            five.send(7, payload, priority=1)
    assert_ok(process)


@pytest.mark.parametrize("peer", PEERS)
def test_all_messages_from_a_peer_arrive(server, programs, peer):
    with BlockingClient(7, port=server.port) as seven:
        seven.request(7, timeout=LIMIT)
        process = programs.start(PEERS[peer], 5, server.port, "send", 7, COUNT)
        for payload in numbered():
            message = seven.receive(LIMIT)
            assert (message.payload, message.source) == (payload, 5)
    assert process.wait() == 0


def test_all_messages_pass_both_ways_at_once(server, programs):
    """From C to asyncio to C++, and from there on nothing is in the way of what comes back."""
    import asyncio

    async def forward():
        async with Client(6, port=server.port) as six:
            await six.request(6, timeout=LIMIT)
            ready.set()
            for _ in range(COUNT):
                message = await six.receive(LIMIT)
                await six.send(7, message.payload, priority=1)

    ready = threading.Event()
    receiver = start_receiver(programs, server, "C++")
    thread = background(lambda: asyncio.run(forward()))
    assert ready.wait(LIMIT)
    sender = programs.start(PEERS["C"], 5, server.port, "send", 6, COUNT)
    assert_ok(receiver)
    thread.result(LIMIT)
    assert sender.wait() == 0
