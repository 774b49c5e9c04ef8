"""Both clients when the connection is lost: what the program is told, and how they come back."""
import asyncio
import os
import socket
import struct
import time

import pytest
from conftest import LIMIT, AsyncioClient, FakeServer, background, eventually

import jaybus.blocking
import jaybus.client
from jaybus import MAX_PAYLOAD, BlockingClient, BusTimeout, ClientClosed, ConnectionFailed, ConnectionLost, Message, NotSent, Reconnect

QUICKLY = Reconnect(first=0.01, longest=0.05)


class Diary:
    """What a client has told of its connection."""

    def __init__(self):
        self.entries = []
        self.options = {"on_connected": lambda: self.entries.append("connected"),
                        "on_lost": lambda loss: self.entries.append(type(loss).__name__)}

    def wait_for(self, *entries):
        eventually(lambda: self.entries == list(entries))


@pytest.fixture
def diary():
    return Diary()


# ---- a loss ----

def test_a_lost_server_is_told_behind_what_had_arrived(connect, server, diary):
    five = connect(5, **diary.options)
    five.send(5, b"one")
    eventually(lambda: five.waiting == 1)
    server.kill()
    diary.wait_for("connected", "ConnectionLost")
    assert not five.connected
    assert five.receive(LIMIT).payload == b"one"
    for operation in (five.receive, five.wait_connected, lambda: next(iter(five))):
        with pytest.raises(ConnectionLost):
            operation()
    for operation in (lambda: five.send(7), lambda: five.request(7)):
        with pytest.raises(NotSent):
            operation()


def test_a_lost_server_ends_requests_under_way(connect, server):
    five, seven = connect(5), connect(7)
    answers = [background(lambda: five.request(7, timeout=LIMIT)) for _ in range(3)]
    eventually(lambda: seven.waiting == 3)  # the questions have been sent
    server.kill()
    for answer in answers:
        with pytest.raises(ConnectionLost) as caught:
            answer.result(LIMIT)
        assert caught.type is ConnectionLost


def test_the_program_may_connect_again_itself(connect, server, diary):
    five = connect(5, **diary.options)
    server.kill()
    diary.wait_for("connected", "ConnectionLost")
    server.start_again()
    five.connect()
    five.request(5, timeout=LIMIT)
    assert diary.entries == ["connected", "ConnectionLost", "connected"]


def test_closing_is_no_loss(connect, diary):
    connect(5, **diary.options).close()
    assert diary.entries == ["connected"]


# ---- coming back ----

def test_a_client_comes_back_each_time_the_server_does(connect, server, diary):
    five = connect(5, reconnect=QUICKLY, **diary.options)
    for _ in range(3):
        del diary.entries[:]
        server.kill()
        diary.wait_for("ConnectionLost")
        with pytest.raises(NotSent):
            five.send(7)
        with pytest.raises(BusTimeout):
            five.receive(0)
        server.start_again()
        five.wait_connected(LIMIT)
        five.request(5, timeout=LIMIT)
        diary.wait_for("ConnectionLost", "connected")


def test_who_waits_for_a_message_waits_over_the_loss(connect, server, make):
    five = connect(5, reconnect=QUICKLY)
    received = []
    thread = background(lambda: received.append(five.receive(LIMIT).payload))
    server.kill()
    server.start_again()
    seven = make(7, port=server.port, reconnect=QUICKLY)
    seven.connect()
    seven.send(5, b"after the loss")
    thread.result(LIMIT)
    assert received == [b"after the loss"]


def test_what_was_sent_when_it_broke_is_never_sent_by_itself(make, fake_server):
    five = make(5, port=fake_server.port, reconnect=QUICKLY)
    five.connect()
    connection = fake_server.accept()
    sender = background(send_until_it_fails, five)
    fake_server.receive_exactly(connection, 1)
    connection.close()
    sender.result(LIMIT)
    again = fake_server.accept()
    five.wait_connected(LIMIT)
    five.send(7, b"fresh")
    assert fake_server.receive_exactly(again, 21)[16:] == b"fresh"


def send_until_it_fails(client):
    with pytest.raises(NotSent):
        while True:
            client.send(7, bytes(MAX_PAYLOAD))


def test_with_reconnect_the_server_may_come_later_than_the_client(make, server, diary):
    server.kill()
    five = make(5, port=server.port, reconnect=QUICKLY, **diary.options)
    thread = background(five.connect)
    with pytest.raises(BusTimeout, match="no connection"):
        five.wait_connected(0.05)
    server.start_again()
    thread.result(LIMIT)
    five.request(5, timeout=LIMIT)
    assert diary.entries == ["connected"]


@pytest.mark.parametrize("lost", [False, True])
def test_closing_ends_the_attempts(make, server, lost):
    five = make(5, port=server.port, reconnect=Reconnect(first=100, longest=100))
    if lost:
        five.connect()
    server.kill()
    if lost:
        eventually(lambda: not five.connected)
    waiting = background(five.connect)
    begin = time.monotonic()
    five.close()
    with pytest.raises(ClientClosed):
        waiting.result(LIMIT)
    assert time.monotonic() - begin < LIMIT


def test_closing_during_an_attempt_ends_it(monkeypatch):
    def close_and_fail():
        five.close()
        raise ConnectionFailed("refused")

    five = BlockingClient(5, port=1, reconnect=QUICKLY)
    monkeypatch.setattr(five, "_open", close_and_fail)
    with pytest.raises(ClientClosed):
        five.connect()


def test_a_callback_that_fails_does_not_keep_the_client_from_coming_back(connect, server, caplog):
    def fail(*_):
        raise ZeroDivisionError("oh")

    five = connect(5, reconnect=QUICKLY, on_lost=fail, on_connected=fail)
    server.kill()
    eventually(lambda: not five.connected)
    server.start_again()
    five.wait_connected(LIMIT)
    five.request(5, timeout=LIMIT)
    assert "ZeroDivisionError" in caplog.text


def test_a_callback_of_a_blocking_client_may_use_it(server):
    told = []

    def connected():
        told.append("connected")
        five.connect()  # does nothing
        five.send(5, b"hello again")

    def lost(_):
        told.append("lost")
        five.close()

    five = BlockingClient(5, port=server.port, reconnect=QUICKLY, on_connected=connected, on_lost=lost)
    with five:
        assert five.receive(LIMIT).payload == b"hello again"
        server.kill()
        assert list(five) == []
    assert told == ["connected", "lost"]


# ---- a server that does not read ----

@pytest.fixture
def impatient(monkeypatch):
    for module in (jaybus.blocking, jaybus.client):
        monkeypatch.setattr(module, "WRITE_LIMIT", 0.2)
        monkeypatch.setattr(module, "CLOSE_LIMIT", 0.2)


def test_a_server_that_takes_nothing_is_given_up(make, fake_server, impatient):
    five = make(5, port=fake_server.port)
    five.connect()
    connection = fake_server.accept()
    sent = 0
    with pytest.raises(NotSent):
        while True:
            five.send(7, bytes(MAX_PAYLOAD))
            sent += 1
    with pytest.raises(ConnectionLost):
        five.receive(LIMIT)
    received = len(FakeServer.receive_exactly(connection, 1 << 40))
    assert sent * 65535 <= received < (sent + 1) * 65535  # what was not sent is cut off, all else is there


def test_closing_does_not_wait_for_a_server_that_does_not_read(make, fake_server, impatient):
    five = make(5, port=fake_server.port)
    five.connect()
    fake_server.accept()
    begin = time.monotonic()
    five.close()
    assert 0.2 <= time.monotonic() - begin < LIMIT


def test_senders_that_wait_are_told_when_the_connection_breaks(make, fake_server):
    five = make(5, port=fake_server.port)
    five.connect()
    connection = fake_server.accept()
    sent = []

    def send_on():
        while True:
            five.send(7, bytes(MAX_PAYLOAD))
            sent.append(1)

    senders = [background(send_on) for _ in range(4)]
    before = -1
    while before != (before := len(sent)):  # until all wait
        time.sleep(0.1)
    connection.close()
    for sender in senders:
        with pytest.raises(NotSent):
            sender.result(LIMIT)


def test_messages_leave_in_the_order_of_the_calls_also_where_they_have_to_wait(fake_server):
    five = AsyncioClient(5, port=fake_server.port)
    five.connect()
    connection = fake_server.accept()
    called = 0

    async def send_some():
        nonlocal called
        for _ in range(25):
            number, called = called, called + 1
            await five.client.send(7, number.to_bytes(2, "little") + bytes(MAX_PAYLOAD - 2))

    senders = [five.start(send_some()) for _ in range(8)]
    for number in range(200):
        assert FakeServer.receive_exactly(connection, 65535)[16:18] == number.to_bytes(2, "little")
    for sender in senders:
        sender.result(LIMIT)
    connection.close()
    five.end()


def test_a_cancelled_send_does_not_cut_its_message_off(fake_server):
    five = AsyncioClient(5, port=fake_server.port)
    five.connect()
    connection = fake_server.accept()

    async def begin(payload):
        """A send that is done, or waits."""
        task = asyncio.ensure_future(five.client.send(7, payload))
        await asyncio.wait({task}, timeout=0.05)
        return task

    async def fill_and_cancel():
        """Sends until a call waits, cancels it, and sends one more."""
        count = 0
        while (task := await begin(count.to_bytes(2, "little") + bytes(MAX_PAYLOAD - 2))).done():
            count += 1
        task.cancel()
        await asyncio.wait({task})
        return count + 1, await begin(b"behind")

    async def finish(task):
        await task

    count, behind = five.start(fill_and_cancel()).result(LIMIT)
    assert not behind.done()
    for number in range(count):
        assert FakeServer.receive_exactly(connection, 65535)[16:18] == number.to_bytes(2, "little")
    assert FakeServer.receive_exactly(connection, 22)[16:] == b"behind"
    five.start(finish(behind)).result(LIMIT)
    connection.close()
    five.end()


# ---- a hostile server ----

def test_any_bytes_give_messages_or_a_loss(make, fake_server):
    for number in range(20):
        five = make(5, port=fake_server.port)
        five.connect()
        connection = fake_server.accept()
        data = os.urandom(50_000) if number else b""
        connection.sendall(data)
        connection.shutdown(socket.SHUT_WR)
        used = 0
        with pytest.raises(ConnectionLost):
            while True:
                used += 16 + len(five.receive(LIMIT).payload)
        assert used <= len(data) < used + 65536


@pytest.mark.parametrize("length", [0, 1, 15, 16])
def test_a_length_below_16_is_a_header_alone(make, fake_server, length):
    five = make(5, port=fake_server.port)
    five.connect()
    fake_server.accept().sendall(struct.pack("<HHHBBIi", length, 5, 7, 0, 0, 1, 2) + Message(5, b"next", 7).encode())
    assert five.receive(LIMIT) == Message(5, b"", 7, 0, 0, 1, 2)
    assert five.receive(LIMIT).payload == b"next"


def test_a_reset_is_a_loss_behind_what_had_arrived(make, fake_server):
    five = make(5, port=fake_server.port)
    five.connect()
    connection = fake_server.accept()
    connection.sendall(Message(5, b"one", 7).encode())
    eventually(lambda: five.waiting == 1)
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    connection.close()
    assert five.receive(LIMIT).payload == b"one"
    with pytest.raises(ConnectionLost, match="reset"):
        five.receive(LIMIT)


def test_what_had_arrived_is_not_lost_by_writing_into_a_dead_connection(make, fake_server):
    five = make(5, port=fake_server.port)
    five.connect()
    connection = fake_server.accept()
    for number in range(100):
        connection.sendall(Message(5, b"%d" % number, 7).encode())
    connection.close()
    try:
        while True:
            five.send(7, b"into the void")
    except NotSent:
        pass
    assert [int(five.receive(LIMIT).payload) for _ in range(100)] == list(range(100))
