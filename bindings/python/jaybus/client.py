"""A client of the bus for programs that use asyncio.

    import asyncio
    from jaybus import Client

    async def main() -> None:
        async with Client(7) as bus:
            await bus.send(5, b"hello")
            answer = await bus.request(5, b"what time is it?", timeout=2)
            print(answer.text())
            async for message in bus:
                await bus.reply(message, message.payload.upper())

    asyncio.run(main())

BlockingClient is the same without asyncio: the operations have the same names, arguments and results.
"""
from __future__ import annotations

import asyncio
import socket
from types import TracebackType
from typing import Callable, TypeVar, Union

from jaybus.errors import BusError, BusTimeout, ClientClosed, ConnectionFailed, ConnectionLost, NotSent
from jaybus.link import CLOSE_LIMIT, CONNECT_LIMIT, WRITE_LIMIT, Link, reason
from jaybus.message import DEFAULT_PORT, Message
from jaybus.session import LOG, Payload, Reconnect, Session, Settings, tell

_Self = TypeVar("_Self", bound="Client")
_Result = TypeVar("_Result")
_Outcome = Union[Message, BusError, None]  # of a request; None: the time is up

# As long as the system takes all that is sent, send() does not suspend its task; after so many messages it lets others run.
_MESSAGES_AT_A_STRETCH = 64


class Client:
    """A client of the bus. To be used in one event loop; any number of its tasks may call it at the same time.

    client_id        our id, 0 to 31. To the server we are the client with that id: it closes the connection of the one that
                     had it until now, and delivers to us what waits for it.
    host, port       where the server listens; the host is a name or an IPv4 address.
    connect_timeout  seconds that one attempt to connect may take.
    reconnect        False: a lost connection stays lost, and receive() says so. True, or a Reconnect with bounds of its own:
                     the client connects again by itself, under the same id.
    on_connected     called after each connection that came about, the first included.
    on_lost          called with a ConnectionLost after each loss. Both are called in the event loop and must not block; what
                     they raise is logged (logger "jaybus").

    What arrives is kept until the program takes it, without a limit. Nothing in a client wakes up regularly: one that waits uses
    no processor time.
    """

    def __init__(self, client_id: int, host: str = "127.0.0.1", port: int = DEFAULT_PORT, *,
                 connect_timeout: float = CONNECT_LIMIT, reconnect: bool | Reconnect = False,
                 on_connected: Callable[[], object] | None = None,
                 on_lost: Callable[[ConnectionLost], object] | None = None) -> None:
        self._settings = Settings.checked(client_id, host, port, connect_timeout, reconnect, on_connected, on_lost)
        self._session: Session[asyncio.Future[_Outcome]] = Session(self._settings)
        self._wire: _Wire | None = None
        self._coming_back: asyncio.Task[None] | None = None
        self._waiting: set[asyncio.Future[bool]] = set()

    # ---- the connection ----

    async def connect(self) -> None:
        """Connects and greets the server. `async with` calls it. Nothing happens if there is a connection already.

        Raises ConnectionFailed. With `reconnect`, tries until there is a connection; cancel it to give up. Without, it may be
        called again after a loss.
        """
        self._session.check_open()
        if self._coming_back is not None:
            await self.wait_connected()
        else:
            await self._connect()

    async def close(self) -> None:
        """Closes the connection, after the server has read what was sent, for which it waits up to two seconds.

        `async with` calls it. What has arrived and was not taken is lost; calls that wait raise ClientClosed. A closed client
        cannot be connected again.
        """
        if self._session.closed:
            return
        self._session.closed = True
        if self._coming_back is not None:
            self._coming_back.cancel()
        try:
            if self._wire is not None:
                await self._wire.finish()
        finally:
            self._session.inbox.clear()
            self._wake_all()

    @property
    def connected(self) -> bool:
        """Whether there is a connection, as far as is known: a server that vanished without a word is not noticed."""
        return self._session.connected

    async def wait_connected(self, timeout: float | None = None) -> None:
        """Waits until there is a connection. Raises BusTimeout, and what receive() raises."""
        await self._until(lambda: self._session.connected or None, timeout, "no connection")

    async def __aenter__(self: _Self) -> _Self:
        await self.connect()
        return self

    async def __aexit__(self, kind: type[BaseException] | None, error: BaseException | None,
                        trace: TracebackType | None) -> None:
        await self.close()

    # ---- sending ----

    async def send(self, destination: int, payload: Payload = b"", *, flag: int = 0, priority: int = 0, section: int = 0,
                   stamp: int | None = None, source: int | None = None) -> None:
        """Sends one message. Returns when the system has taken all of it, which says nothing about whether it arrives.

        destination  client id, 0 to 31; a BROADCAST needs one, too, and does not look at it.
        payload      up to 65519 bytes, or an ItemWriter.
        flag         a sum of Flag.
        priority     0 to 255; 0 is the most urgent.
        section      the application's own number, signed or unsigned 32 bits.
        stamp        None: the clock. Otherwise 0 to 2147483647: the milliseconds that a TIMED message needs.
        source       None: our id.

        Raises InvalidValue; NotSent if there is no connection, or it ends before the system has taken the whole message.
        Messages leave in the order of the calls. A call that is cancelled while its message is leaving does not cut it off: the
        message is sent all the same.
        """
        await self._send(self._session.compose(destination, payload, source, flag, priority, stamp, section))

    async def reply(self, question: Message, payload: Payload = b"", *, priority: int = 0) -> None:
        """Answers a message: to its source, with its section. As send()."""
        await self.send(question.source, payload, priority=priority, section=question.section)

    async def request(self, destination: int, payload: Payload = b"", *, timeout: float | None = 5.0, priority: int = 0,
                      section: int | None = None) -> Message:
        """Sends a message, and waits for the answer: a message from that client with the same section number.

        section   the number by which the answer is known; None: a fresh one.
        timeout   seconds that the answer may take; None: any time.

        Other messages that come meanwhile are kept for receive(), and so is an answer that comes too late. Any number of
        requests may be under way. Raises as send(), BusTimeout, and ConnectionLost if the connection ends first: whether the
        question has arrived is not known then.
        """
        answer: asyncio.Future[_Outcome] = asyncio.get_running_loop().create_future()
        section = self._session.ask(destination, section, answer)
        try:
            await self._send(self._session.compose(destination, payload, priority=priority, section=section))
            outcome = await _within(timeout, answer, None)
        finally:
            self._session.forget(destination, section, answer)
        if outcome is None:
            raise BusTimeout(f"no answer from client {destination} within {timeout:g} s")
        if isinstance(outcome, BusError):
            raise outcome
        return outcome

    # ---- receiving ----

    async def receive(self, timeout: float | None = None) -> Message:
        """Takes the next message, in the order of their arrival, and waits for it up to `timeout` seconds.

        Raises BusTimeout. When the connection is lost, gives what had arrived before, and then raises ConnectionLost; with
        `reconnect`, goes on waiting instead.
        """
        return await self._until(self._session.take, timeout, "no message")

    @property
    def waiting(self) -> int:
        """How many messages have arrived and were not taken yet."""
        return len(self._session.inbox)

    def __aiter__(self: _Self) -> _Self:
        """`async for` takes message after message, and ends when the client is closed. Raises as receive()."""
        return self

    async def __anext__(self) -> Message:
        try:
            return await self.receive()
        except ClientClosed:
            if not self._session.closed:
                raise
            raise StopAsyncIteration from None

    # ---- inside ----

    async def _connect(self) -> None:
        """Tries once, or with `reconnect` until there is a connection."""
        while self._wire is None:
            try:
                await self._connect_once()
            except ConnectionFailed as error:
                self._session.check_open()
                delay = self._session.next_delay()
                if delay is None:
                    raise
                LOG.info("%s; trying again in %.1f s", error, delay)
                await self._pause(delay)

    async def _pause(self, delay: float) -> None:
        """Waits; raises ClientClosed as soon as the client is closed."""
        try:
            await self._until(lambda: None, delay, "nothing")
        except BusTimeout:
            pass

    async def _connect_once(self) -> None:
        try:
            fresh = await self._open()
        except asyncio.TimeoutError:
            raise self._settings.failure("timed out") from None
        except (OSError, UnicodeError) as error:
            raise self._settings.failure(reason(error)) from None
        if self._wire is None:
            self._attend(Link(fresh, self._settings.greeting()))
        else:
            fresh.close()  # another task was faster

    async def _open(self) -> socket.socket:
        fresh = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        try:
            fresh.setblocking(False)
            address = self._settings.host, self._settings.port
            await asyncio.wait_for(asyncio.get_running_loop().sock_connect(fresh, address), self._settings.connect_timeout)
            self._session.check_open()
            return fresh
        except BaseException:
            fresh.close()
            raise

    def _attend(self, link: Link) -> None:
        """Takes the new connection into use."""
        self._session.open()
        self._wire = _Wire(link, self._arrived, self._lost)
        self._wake_all()
        tell(self._settings.on_connected)

    def _arrived(self, data: bytes) -> None:
        for waiter, answer in self._session.receive(data):
            _resolve(waiter, answer)
        if self._session.inbox:
            self._wake_all()

    def _lost(self, loss: ConnectionLost) -> None:
        self._wire = None
        for waiter in self._session.lose(loss):
            _resolve(waiter, self._session.why_no_answer())
        self._wake_all()
        if self._session.closed:
            return
        tell(self._settings.on_lost, loss)
        delay = self._session.next_delay()
        if delay is not None:
            self._coming_back = asyncio.get_running_loop().create_task(self._come_back(delay))

    async def _come_back(self, delay: float) -> None:
        try:
            await self._pause(delay)
            await self._connect()
        finally:
            self._coming_back = None

    async def _send(self, data: bytes) -> None:
        self._session.check_connected()
        assert self._wire is not None  # it is there while the session is connected
        await self._wire.write(data)

    async def _until(self, condition: Callable[[], _Result | None], timeout: float | None, otherwise: str) -> _Result:
        """Waits until the condition gives something."""
        loop = asyncio.get_running_loop()
        deadline = None if timeout is None else loop.time() + timeout
        while (result := condition()) is None:
            self._session.check_usable()
            change: asyncio.Future[bool] = loop.create_future()
            self._waiting.add(change)
            try:
                if not await _within(None if deadline is None else deadline - loop.time(), change, False):
                    raise BusTimeout(f"{otherwise} within {timeout:g} s")
            finally:
                self._waiting.discard(change)
        return result

    def _wake_all(self) -> None:
        waiting, self._waiting = self._waiting, set()
        for change in waiting:
            _resolve(change, True)


class _Wire:
    """A connection that the event loop attends to. It is over when `on_end` has been called, which happens once."""

    def __init__(self, link: Link, on_data: Callable[[bytes], None], on_end: Callable[[ConnectionLost], None]) -> None:
        self._link, self._on_data, self._on_end = link, on_data, on_end
        self._loop = asyncio.get_running_loop()
        self._turn = asyncio.Lock()
        self._senders = 0  # that have the turn or wait for it
        self._rest = memoryview(b"")  # of the message that is leaving
        self._written = 0
        self._failure: NotSent | None = None
        self._flushed: asyncio.Future[None] | None = None  # while the system has no room for the rest
        self._limit: asyncio.TimerHandle | None = None
        self._ended: asyncio.Future[None] = self._loop.create_future()
        self._loop.add_reader(link, self._readable)

    async def write(self, data: bytes) -> None:
        """Sends a whole message, or raises NotSent."""
        if not self._senders and not self._rest:
            self._try_to_write(memoryview(data))
            data = b""  # what the system did not take is the rest, for which the turn is taken
        if data or self._rest or self._failure:
            await self._write_in_turn(data)
        self._written += 1
        if self._written % _MESSAGES_AT_A_STRETCH == 0:
            await asyncio.sleep(0)

    async def _write_in_turn(self, data: bytes) -> None:
        """The same where somebody else's message may be leaving."""
        self._senders += 1
        try:
            async with self._turn:  # whoever waits here has not sent anything
                await self._flush()  # the rest of a message whose sender was cancelled
                self._try_to_write(memoryview(data))
                await self._flush()
        finally:
            self._senders -= 1

    async def finish(self) -> None:
        """Ends the connection as soon as the server has read everything, or when the time is up."""
        try:
            await asyncio.wait_for(self._end_in_peace(), CLOSE_LIMIT)
        except (asyncio.TimeoutError, NotSent):
            pass
        finally:
            self._end(ConnectionLost("connection lost: the client is closed"))

    async def _end_in_peace(self) -> None:
        async with self._turn:
            await self._flush()
            self._link.end_writing()
        await asyncio.shield(self._ended)

    async def _flush(self) -> None:
        """Waits until the system has taken the rest."""
        if self._rest:
            if self._flushed is None:
                self._flushed = self._loop.create_future()
                self._loop.add_writer(self._link, self._writable)
                self._limit = self._loop.call_later(WRITE_LIMIT, self._link.cut)
            await asyncio.shield(self._flushed)
        if self._failure is not None:
            raise NotSent(str(self._failure))

    def _writable(self) -> None:
        self._try_to_write(self._rest)
        if self._limit is not None:
            self._limit.cancel()
        if self._rest:
            self._limit = self._loop.call_later(WRITE_LIMIT, self._link.cut)
        else:
            self._stop_flushing()

    def _try_to_write(self, data: memoryview) -> None:
        try:
            self._rest = self._link.write(data)
        except NotSent as failure:
            self._fail(failure)

    def _fail(self, failure: NotSent) -> None:
        """Nothing more can be sent."""
        self._failure = self._failure or failure
        self._rest = memoryview(b"")
        self._stop_flushing()

    def _stop_flushing(self) -> None:
        if self._flushed is not None:
            self._loop.remove_writer(self._link)
            _resolve(self._flushed, None)
            self._flushed = None
        if self._limit is not None:
            self._limit.cancel()
            self._limit = None

    def _readable(self) -> None:
        try:
            data = self._link.read()
        except ConnectionLost as loss:
            self._end(loss)
        else:
            if data is not None:
                self._on_data(data)

    def _end(self, loss: ConnectionLost) -> None:
        if self._ended.done():
            return
        self._ended.set_result(None)
        self._fail(NotSent(f"not sent: {loss}"))
        self._loop.remove_reader(self._link)
        self._link.close()
        self._on_end(loss)


async def _within(timeout: float | None, future: asyncio.Future[_Result], otherwise: _Result) -> _Result:
    """Waits for a future that nobody else waits for; `otherwise` is its result when the time is up."""
    if timeout is None:
        return await future
    timer = future.get_loop().call_later(max(0.0, timeout), _resolve, future, otherwise)
    try:
        return await future
    finally:
        timer.cancel()


def _resolve(future: asyncio.Future[_Result], result: _Result) -> None:
    """Gives a future its result, unless whoever waited for it has been cancelled."""
    if not future.done():
        future.set_result(result)
