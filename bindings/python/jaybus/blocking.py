"""A client of the bus for programs without asyncio.

    from jaybus import BlockingClient

    with BlockingClient(7) as bus:
        bus.send(5, b"hello")
        answer = bus.request(5, b"what time is it?", timeout=2)
        print(answer.text())
        for message in bus:
            bus.reply(message, message.payload.upper())

The operations have the names, arguments and results of those of Client.
"""
from __future__ import annotations

import os
import select
import socket
import threading
import time
from types import TracebackType
from typing import Callable, TypeVar

from jaybus.errors import BusError, BusTimeout, ClientClosed, ConnectionFailed, ConnectionLost, NotSent
from jaybus.link import CLOSE_LIMIT, CONNECT_LIMIT, WRITE_LIMIT, Link, reason
from jaybus.message import DEFAULT_PORT, Message
from jaybus.session import LOG, Payload, Reconnect, Session, Settings, tell

_Self = TypeVar("_Self", bound="BlockingClient")
_Result = TypeVar("_Result")


class BlockingClient:
    """A client of the bus. Any thread may call any operation at any time.

    A thread of the client's own receives. It sleeps while nothing arrives. What arrives is kept until the program takes it,
    without a limit.

    The arguments are those of Client. on_connected is called by the thread that calls connect(), and after a loss by the
    client's own; on_lost by the client's own thread. Nothing is received while they run: they may send and close, but must
    not wait for a message, an answer or a connection.
    """

    def __init__(self, client_id: int, host: str = "127.0.0.1", port: int = DEFAULT_PORT, *,
                 connect_timeout: float = CONNECT_LIMIT, reconnect: bool | Reconnect = False,
                 on_connected: Callable[[], object] | None = None,
                 on_lost: Callable[[ConnectionLost], object] | None = None) -> None:
        self._settings = Settings.checked(client_id, host, port, connect_timeout, reconnect, on_connected, on_lost)
        # Taken in this order: _connecting, _writing, _lock.
        self._connecting = threading.Lock()  # one thread connects
        self._writing = threading.Lock()     # one message is leaving, and the link is not closed meanwhile
        self._lock = threading.Lock()        # guards all below
        self._changed = threading.Condition(self._lock)  # something has arrived, or the connection has come or gone
        self._session: Session[_Answer] = Session(self._settings)
        self._link: Link | None = None
        self._thread: threading.Thread | None = None
        self._ready: _ReadyDescriptor | None = None

    # ---- the connection ----

    def connect(self) -> None:
        """Connects and greets the server. `with` calls it. Nothing happens if there is a connection already.

        Raises ConnectionFailed. With `reconnect`, tries until there is a connection or close() is called. Without, it may be
        called again after a loss.
        """
        if self._is_connected():  # also for a callback, which is called with _connecting held
            return
        with self._connecting:
            if self._is_connected():  # another thread was faster
                return
            coming_back = self._settings.reconnect is not None and self._thread is not None
            if not coming_back:
                link = self._connect()
                self._thread = threading.Thread(target=self._run, args=(link,), name=f"jaybus {self._settings.client_id}",
                                                daemon=True)
                self._thread.start()
                return
        self.wait_connected()

    def close(self) -> None:
        """Closes the connection, after the server has read what was sent, for which it waits up to two seconds.

        `with` calls it. What has arrived and was not taken is lost; calls that wait raise ClientClosed. A closed client cannot be
        connected again.
        """
        with self._lock:
            if self._session.closed:
                return
            self._session.closed = True
            link, thread = self._link, self._thread
            self._announce()
        if link is not None:
            self._end_writing(link)
        if thread is not None and thread is not threading.current_thread():
            thread.join(CLOSE_LIMIT)
            if link is not None:
                link.cut()
                thread.join(CLOSE_LIMIT)
        with self._lock:
            self._session.inbox.clear()
            if self._ready is not None:
                self._ready.close()
                self._ready = None

    @property
    def connected(self) -> bool:
        """Whether there is a connection, as far as is known: a server that vanished without a word is not noticed."""
        return self._session.connected

    def wait_connected(self, timeout: float | None = None) -> None:
        """Waits until there is a connection. Raises BusTimeout, and what receive() raises."""
        self._until(lambda: self._session.connected or None, timeout, "no connection")

    def __enter__(self: _Self) -> _Self:
        self.connect()
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None) -> None:
        self.close()

    # ---- sending ----

    def send(self, destination: int, payload: Payload = b"", *, flag: int = 0, priority: int = 0, section: int = 0,
             stamp: int | None = None, source: int | None = None) -> None:
        """Sends one message. Returns when the system has taken all of it, which says nothing about whether it arrives.

        Blocks while the server does not read: for up to 10 seconds each time that it takes nothing; then the connection is ended.
        The arguments and exceptions are those of Client.send(). Messages leave in the order of the calls.
        """
        self._send(self._session.compose(destination, payload, source, flag, priority, stamp, section))

    def reply(self, question: Message, payload: Payload = b"", *, priority: int = 0) -> None:
        """Answers a message: to its source, with its section. As send()."""
        self.send(question.source, payload, priority=priority, section=question.section)

    def request(self, destination: int, payload: Payload = b"", *, timeout: float | None = 5.0, priority: int = 0,
                section: int | None = None) -> Message:
        """Sends a message, and waits for the answer: a message from that client with the same section number.

        The arguments, results and exceptions are those of Client.request(); several threads may have requests under way.
        """
        answer = _Answer(self._lock)
        with self._lock:
            section = self._session.ask(destination, section, answer)
        try:
            self._send(self._session.compose(destination, payload, priority=priority, section=section))
            with self._lock:
                answer.arrived.wait_for(lambda: answer.outcome is not None, timeout)
        finally:
            with self._lock:
                self._session.forget(destination, section, answer)
        if answer.outcome is None:
            raise BusTimeout(f"no answer from client {destination} within {timeout:g} s")
        if isinstance(answer.outcome, BusError):
            raise answer.outcome
        return answer.outcome

    # ---- receiving ----

    def receive(self, timeout: float | None = None) -> Message:
        """Takes the next message, in the order of their arrival, and waits for it up to `timeout` seconds; 0: not at all.

        Raises BusTimeout. When the connection is lost, gives what had arrived before, and then raises ConnectionLost; with
        `reconnect`, goes on waiting instead.
        """
        return self._until(self._take, timeout, "no message")

    @property
    def waiting(self) -> int:
        """How many messages have arrived and were not taken yet."""
        return len(self._session.inbox)

    def fileno(self) -> int:
        """A descriptor for select, poll or another event loop: readable as long as receive(0) gives a message or raises
        something other than BusTimeout. It stays the same over all connections. Do not read it; close() closes it.
        """
        with self._lock:
            self._session.check_open()
            if self._ready is None:
                self._ready = _ReadyDescriptor()
                self._ready.set(self._session.is_ready())
            return self._ready.reading

    def __iter__(self: _Self) -> _Self:
        """`for` takes message after message, and ends when the client is closed. Raises as receive()."""
        return self

    def __next__(self) -> Message:
        try:
            return self.receive()
        except ClientClosed:
            if not self._session.closed:
                raise
            raise StopIteration from None

    # ---- calling threads ----

    def _is_connected(self) -> bool:
        with self._lock:
            self._session.check_open()
            return self._link is not None

    def _connect(self) -> Link:
        """Tries once, or with `reconnect` until there is a connection."""
        while True:
            try:
                link = Link(self._open(), self._settings.greeting())
                break
            except ConnectionFailed as error:
                self._session.check_open()
                delay = self._session.next_delay()
                if delay is None:
                    raise
                LOG.info("%s; trying again in %.1f s", error, delay)
                self._pause(delay)
        with self._lock:
            if self._session.closed:
                link.close()
            self._session.check_open()
            self._session.open()
            self._link = link
            self._announce()
        tell(self._settings.on_connected)
        return link

    def _open(self) -> socket.socket:
        fresh = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        try:
            fresh.settimeout(self._settings.connect_timeout)
            fresh.connect((self._settings.host, self._settings.port))
            self._session.check_open()
            return fresh
        except (OSError, UnicodeError) as error:
            fresh.close()
            raise self._settings.failure(reason(error)) from None
        except BaseException:
            fresh.close()
            raise

    def _pause(self, delay: float) -> None:
        """Waits, unless the client is closed meanwhile."""
        with self._lock:
            self._changed.wait_for(lambda: self._session.closed, delay)
            self._session.check_open()

    def _send(self, data: bytes) -> None:
        with self._writing:
            with self._lock:
                self._session.check_connected()
                link = self._link
            assert link is not None  # it is there while the session is connected
            rest = link.write(memoryview(data))
            if rest:
                self._write_rest(link, rest)

    def _write_rest(self, link: Link, rest: memoryview) -> None:
        poller = select.poll()
        poller.register(link, select.POLLOUT)
        try:
            while rest:
                if not poller.poll(WRITE_LIMIT * 1000):
                    raise NotSent(f"not sent: the server has taken nothing for {WRITE_LIMIT:g} s")
                rest = link.write(rest)
        except BaseException:
            link.cut()  # with half a message sent, the server could not find the next one
            raise

    def _end_writing(self, link: Link) -> None:
        """Once the message that is leaving has left."""
        if self._writing.acquire(timeout=CLOSE_LIMIT):
            try:
                link.end_writing()
            finally:
                self._writing.release()

    def _take(self) -> Message | None:
        message = self._session.take()
        if self._ready is not None:
            self._ready.set(self._session.is_ready())
        return message

    def _until(self, condition: Callable[[], _Result | None], timeout: float | None, otherwise: str) -> _Result:
        """Waits until the condition gives something."""
        deadline = None if timeout is None else time.monotonic() + timeout
        with self._lock:
            while (result := condition()) is None:
                self._session.check_usable()
                left = None if deadline is None else deadline - time.monotonic()
                if left is not None and left <= 0:
                    raise BusTimeout(f"{otherwise} within {timeout:g} s")
                self._changed.wait(left)
        return result

    def _announce(self) -> None:
        """Wakes up whoever waits. With the lock held."""
        self._changed.notify_all()
        if self._ready is not None:
            self._ready.set(self._session.is_ready())

    # ---- the client's own thread ----

    def _run(self, link: Link) -> None:
        """Receives, and connects again where it should."""
        try:
            while self._survive(link, self._read_to_the_end(link)):
                link = self._connect()
        except ClientClosed:
            pass

    def _read_to_the_end(self, link: Link) -> ConnectionLost:
        poller = select.poll()
        poller.register(link, select.POLLIN)
        while True:
            try:
                data = link.read()
            except ConnectionLost as loss:
                return loss
            if data is None:
                poller.poll()
            else:
                self._arrived(data)

    def _arrived(self, data: bytes) -> None:
        with self._lock:
            for waiter, answer in self._session.receive(data):
                waiter.give(answer)
            if self._session.inbox:
                self._announce()

    def _survive(self, link: Link, loss: ConnectionLost) -> bool:
        """Ends the connection; after the pause that is due, tells whether to connect again."""
        link.cut()  # ends the wait of whoever is sending
        with self._writing, self._lock:
            self._link = None
            for waiter in self._session.lose(loss):
                waiter.give(self._session.why_no_answer())
            self._announce()
            link.close()
            if self._session.closed:
                return False
        tell(self._settings.on_lost, loss)
        delay = self._session.next_delay()
        if delay is not None:
            self._pause(delay)
        return delay is not None


class _Answer:
    """A thread that waits for an answer. To be used with the client's lock held."""

    def __init__(self, lock: threading.Lock) -> None:
        self.arrived = threading.Condition(lock)
        self.outcome: Message | BusError | None = None

    def give(self, outcome: Message | BusError) -> None:
        self.outcome = outcome
        self.arrived.notify()


class _ReadyDescriptor:
    """A pipe that holds one byte while it is set."""

    def __init__(self) -> None:
        self.reading, self._writing = os.pipe()
        self._is_set = False

    def set(self, wanted: bool) -> None:
        if wanted != self._is_set:
            self._is_set = wanted
            if wanted:
                os.write(self._writing, b"!")
            else:
                os.read(self.reading, 1)

    def close(self) -> None:
        os.close(self.reading)
        os.close(self._writing)
