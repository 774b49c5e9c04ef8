"""The example service, as a process at a real server."""
import os
import signal
import socket
import struct
import sys

import pytest
from conftest import LIMIT, ROOT
from processes import Process

from jaybus import BlockingClient, Message


class Service:
    def __init__(self, port, book):
        self.process = Process(sys.executable, ROOT / "examples" / "service" / "service.py", "--port", port, "--book", book,
                               env={**os.environ, "PYTHONPATH": str(ROOT / "bindings" / "python")})

    def told(self):
        return self.process.err.next_line()


@pytest.fixture
def start(server, tmp_path):
    started = []

    def start_service():
        started.append(Service(server.port, tmp_path / "book.json"))
        return started[-1]

    yield start_service
    for service in started:
        service.process.kill()


def ask(client, request):
    return client.request(8, request if isinstance(request, bytes) else request.encode(), timeout=LIMIT).text()


def test_it_keeps_what_it_is_told(start, server):
    service = start()
    with BlockingClient(5, port=server.port) as five:
        assert ask(five, "set anna 02-312-4455") == "ok"
        assert ask(five, "set 김민준 031-204-7781") == "ok"
        assert ask(five, "get anna") == "02-312-4455"
        assert ask(five, "get nobody") == "not found"
        assert ask(five, "list") == "anna 김민준"
        assert service.process.stop() == 0
        assert service.process.err.text() == "service: connected\nservice: ended\n"
        start()
        assert ask(five, "get 김민준") == "031-204-7781"


def test_it_survives_the_servers_restart(start, server):
    service = start()
    assert service.told() == "service: connected"
    server.kill()
    assert service.told().startswith("service: connection lost")
    server.start_again()
    assert service.told() == "service: connected"
    with BlockingClient(5, port=server.port) as five:
        assert ask(five, "get anna") == "not found"


def test_it_may_start_before_the_server(start, server):
    server.kill()
    service = start()
    server.start_again()
    assert service.told() == "service: connected"


def test_it_answers_what_it_does_not_understand(start, server):
    start()
    with BlockingClient(5, port=server.port) as five:
        for wrong in ("", "set anna", "get", "dial anna", b"\xff\xfe", bytes(65519)):
            assert ask(five, wrong).startswith("error: ")


def test_it_survives_what_it_cannot_answer(start, server):
    service = start()
    with BlockingClient(5, port=server.port) as five:
        for number in range(3):
            assert ask(five, f"set {str(number) * 40_000} 1") == "ok"
        assert len(ask(five, "list")) == 65519
        assert service.told() == "service: connected"
        with socket.create_connection(("127.0.0.1", server.port)) as raw:
            raw.sendall(Message(0, source=6).encode() + struct.pack("<HHHBBIi", 20, 8, 40000, 0, 0, 0, 0) + b"list")
            assert service.told() == "service: no answer to client 40000: destination is 40000; it takes 0 to 31"
        assert ask(five, "get anna") == "not found"


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_it_ends_on_a_signal_also_while_there_is_no_server(start, server, number):
    service = start()
    assert service.told() == "service: connected"
    server.kill()
    assert service.told().startswith("service: connection lost")
    assert service.process.stop(number) == 0
