"""What the tests share: a server of the build, a server that the test plays itself, and both clients behind one face."""
from __future__ import annotations

import asyncio
import concurrent.futures
import inspect
import os
import socket
import sys
import threading
import time
from pathlib import Path
from typing import Any, Callable, Iterator

import pytest

ROOT = Path(__file__).resolve().parents[3]
BUILD_DIR = Path(os.environ.get("JAY_BUILD_DIR", ROOT / "build" / "debug"))
sys.path[:0] = [str(ROOT / "bindings" / "python"), str(ROOT / "scripts")]

from processes import LIMIT, Programs  # noqa: E402  (the path comes first)

import jaybus  # noqa: E402


class Server:
    """A jayd on a port of its own, which can be killed and started again."""

    def __init__(self, programs: Programs) -> None:
        self.programs = programs
        self.process, self.port = programs.start_server("--quiet")

    def kill(self) -> None:
        self.process.kill()

    def start_again(self) -> None:
        self.process = self.programs.start("jayd", "--quiet", "--port", self.port)
        assert self.process.err.next_line() == f"jayd: listening on port {self.port}"


class FakeServer:
    """A server that does what the test says, to one client."""

    def __init__(self, receive_buffer: int | None = None) -> None:
        self._listener = socket.socket()
        if receive_buffer is not None:
            self._listener.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)
        self._listener.bind(("127.0.0.1", 0))
        self._listener.listen()
        self._listener.settimeout(LIMIT)
        self.port = self._listener.getsockname()[1]
        self._connections: list[socket.socket] = []

    def accept(self) -> socket.socket:
        """The next connection, behind its greeting."""
        connection, _ = self._listener.accept()
        self._connections.append(connection)
        connection.settimeout(LIMIT)
        assert len(self.receive_exactly(connection, 16)) == 16
        return connection

    @staticmethod
    def receive_exactly(connection: socket.socket, count: int) -> bytes:
        received = b""
        while len(received) < count and (some := connection.recv(min(count - len(received), 1 << 20))):
            received += some
        return received

    def close(self) -> None:
        for one in (*self._connections, self._listener):
            one.close()


class AsyncioClient:
    """A Client in an event loop of its own, whose operations block as those of a BlockingClient do."""

    def __init__(self, *arguments: Any, **options: Any) -> None:
        self.loop = asyncio.new_event_loop()
        self._thread = threading.Thread(target=self.loop.run_forever, daemon=True)
        self._thread.start()
        self.client = jaybus.Client(*arguments, **options)

    def __getattr__(self, name: str) -> Any:
        attribute = getattr(self.client, name)
        if not inspect.iscoroutinefunction(attribute):
            return attribute
        return lambda *arguments, **options: self.start(attribute(*arguments, **options)).result(LIMIT)

    def start(self, operation: Any) -> Any:
        """Begins an operation; its result comes with .result()."""
        return asyncio.run_coroutine_threadsafe(operation, self.loop)

    def __enter__(self) -> AsyncioClient:
        self.connect()
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __iter__(self) -> Iterator[jaybus.Message]:
        while True:
            try:
                yield self.__anext__()
            except StopAsyncIteration:
                return

    def end(self) -> None:
        self.close()
        self.loop.call_soon_threadsafe(self.loop.stop)
        self._thread.join(LIMIT)
        self.loop.close()


@pytest.fixture
def programs() -> Iterator[Programs]:
    with Programs(BUILD_DIR) as started:
        yield started


@pytest.fixture
def server(programs: Programs) -> Server:
    return Server(programs)


@pytest.fixture
def fake_server() -> Iterator[FakeServer]:
    fake = FakeServer()
    yield fake
    fake.close()


@pytest.fixture(params=["asyncio", "blocking"])
def make(request: pytest.FixtureRequest) -> Iterator[Callable[..., Any]]:
    """Makes a client of one kind, not connected yet; closes all at the end."""
    made: list[Any] = []

    def make_client(*arguments: Any, **options: Any) -> Any:
        kind = AsyncioClient if request.param == "asyncio" else jaybus.BlockingClient
        made.append(kind(*arguments, **options))
        return made[-1]

    yield make_client
    for client in made:
        client.end() if isinstance(client, AsyncioClient) else client.close()


@pytest.fixture
def connect(make: Callable[..., Any], server: Server) -> Callable[..., Any]:
    """Makes a client that the server has attached: a message to itself has come back."""

    def connect_client(client_id: int, **options: Any) -> Any:
        client = make(client_id, port=server.port, **options)
        client.connect()
        client.request(client_id, timeout=LIMIT)
        return client

    return connect_client


def background(operation: Callable[..., Any], *arguments: Any) -> concurrent.futures.Future[Any]:
    """Runs an operation in a thread of its own. Its result, or what it has raised, comes with .result(LIMIT)."""
    future: concurrent.futures.Future[Any] = concurrent.futures.Future()

    def run() -> None:
        try:
            future.set_result(operation(*arguments))
        except BaseException as error:  # whatever it is, the test is to see it
            future.set_exception(error)

    threading.Thread(target=run, daemon=True).start()
    return future


def eventually(condition: Callable[[], Any], limit: float = LIMIT) -> None:
    """Waits until the condition holds."""
    deadline = time.monotonic() + limit
    while not condition():
        assert time.monotonic() < deadline, "what was waited for did not happen"
        time.sleep(0.002)
