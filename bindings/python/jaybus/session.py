"""What the two clients have in common, apart from waiting: no input or output here, and no locks.

A Session knows the client's id, what has arrived, and who waits for an answer. One session outlives the connections of
its client.
"""
from __future__ import annotations

import collections
import logging
import random
import time
from typing import Callable, Generic, Iterator, NamedTuple, Protocol, TypeVar, Union

from jaybus.errors import BusError, ClientClosed, ConnectionFailed, ConnectionLost, InvalidValue, NotSent, check_range
from jaybus.message import Decoder, Flag, Message, check_id, clock_stamp, encode, signed_section

_TIMED = int(Flag.TIMED)  # a plain int: & makes no Flag of it, which takes longer than all else of a message

LOG = logging.getLogger("jaybus")


class _HasBytes(Protocol):
    def __bytes__(self) -> bytes: ...


Payload = Union[bytes, bytearray, memoryview, _HasBytes]
"""What a message can be made of: bytes, or something like an ItemWriter that turns into bytes."""


class Reconnect(NamedTuple):
    """How a client comes back after it has lost its connection.

    It waits `first` seconds before it tries again, then each time `factor` times as long, and never longer than
    `longest`. Of each of these times a random part is left out, up to the share `jitter`, so that the clients of a
    server that has come back do not all connect at once. The times begin anew once a connection has lasted `longest`
    seconds: two clients that use the same id, and so end each other's connections, do not do so all the time.
    """

    first: float = 0.1
    longest: float = 10.0
    factor: float = 2.0
    jitter: float = 0.5

    def check(self) -> None:
        """Raises InvalidValue if the numbers make no sense."""
        if not (0 < self.first <= self.longest and self.factor >= 1 and 0 <= self.jitter <= 1):
            raise InvalidValue(f"{self}: wanted 0 < first <= longest, factor >= 1 and jitter from 0 to 1")

    def delays(self) -> Iterator[float]:
        """How many seconds to wait before each attempt, without end."""
        whole = self.first
        while True:
            yield whole * (1 - self.jitter * random.random())
            whole = min(whole * self.factor, self.longest)


class Settings(NamedTuple):
    """What a client was made with."""

    client_id: int
    host: str
    port: int
    connect_timeout: float
    reconnect: Reconnect | None
    on_connected: Callable[[], object] | None
    on_lost: Callable[[ConnectionLost], object] | None

    @classmethod
    def checked(cls, client_id: int, host: str, port: int, connect_timeout: float, reconnect: bool | Reconnect,
                on_connected: Callable[[], object] | None, on_lost: Callable[[ConnectionLost], object] | None) -> Settings:
        """The same, or InvalidValue."""
        check_id("client id", client_id)
        check_range("port", port, 1, 65535)
        policy = Reconnect() if reconnect is True else reconnect or None
        if policy is not None:
            policy.check()
        return cls(client_id, host, port, connect_timeout, policy, on_connected, on_lost)

    def failure(self, reason: str) -> ConnectionFailed:
        """What to raise when no connection has come about."""
        return ConnectionFailed(f"no connection to {self.host} port {self.port}: {reason}")

    def greeting(self) -> bytes:
        """The first bytes of a connection: a header that names the client."""
        return Message(0, source=self.client_id, stamp=clock_stamp()).encode()


Waiter = TypeVar("Waiter")


class Session(Generic[Waiter]):
    """What has arrived, who waits for an answer, and whether there is a connection.

    An answer is a message from the client that was asked, with the section of the question. The first such message goes
    to who waits for it; all others, late answers among them, go into the inbox in the order of their arrival.
    """

    def __init__(self, settings: Settings) -> None:
        self.settings = settings
        self.inbox: collections.deque[Message] = collections.deque()
        self.connected = False
        self.closed = False
        self._loss: ConnectionLost | None = None
        self._decoder = Decoder()
        self._questions: dict[tuple[int, int], Waiter] = {}
        self._section = random.getrandbits(31)
        self._delays = self._new_delays()
        self._connected_at = 0.0

    # ---- the connection ----

    def open(self) -> None:
        """A connection has come about."""
        self._decoder = Decoder()
        self.connected = True
        self._loss = None
        self._connected_at = time.monotonic()

    def receive(self, data: bytes) -> list[tuple[Waiter, Message]]:
        """Takes what has arrived: answers are returned with who waits for them, all else goes into the inbox."""
        answers = []
        for message in self._decoder.feed(data):
            key = message.source, message.section
            if key in self._questions:
                answers.append((self._questions.pop(key), message))
            else:
                self.inbox.append(message)
        return answers

    def lose(self, loss: ConnectionLost) -> list[Waiter]:
        """The connection has ended. Returns those whose answers are not waited for any longer."""
        self.connected = False
        self._loss = loss
        policy = self.settings.reconnect
        if policy is not None and time.monotonic() - self._connected_at >= policy.longest:
            self._delays = self._new_delays()
        waiters = list(self._questions.values())
        self._questions.clear()
        return waiters

    def next_delay(self) -> float | None:
        """Seconds until the next attempt to connect; None when none is to be made."""
        return None if self.closed else next(self._delays, None)

    def why_no_answer(self) -> BusError:
        """What to tell those whose answers are not waited for any longer."""
        return ClientClosed("the client is closed") if self.closed else ConnectionLost(str(self._loss))

    def check_open(self) -> None:
        """Raises ClientClosed if the client is closed for good."""
        if self.closed:
            raise ClientClosed("the client is closed")

    def check_usable(self) -> None:
        """Raises what keeps a message from ever arriving; nothing while there is, or will be, a connection."""
        self.check_open()
        if not self.connected and self.settings.reconnect is None:
            raise ConnectionLost(str(self._loss)) if self._loss else ClientClosed("the client is not connected yet; call connect()")

    def is_ready(self) -> bool:
        """Whether a message waits, or none can come."""
        return bool(self.inbox) or self.closed or (not self.connected and self.settings.reconnect is None)

    def check_connected(self) -> None:
        """Raises what keeps a message from being sent now."""
        self.check_open()
        if not self.connected:
            raise NotSent("not sent: there is no connection")

    # ---- messages ----

    def take(self) -> Message | None:
        """The next message of the inbox."""
        return self.inbox.popleft() if self.inbox else None

    def compose(self, destination: int, payload: Payload, source: int | None = None, flag: int = 0, priority: int = 0,
                stamp: int | None = None, section: int = 0) -> bytes:
        """A message of this client as it is on the wire. Raises InvalidValue."""
        if isinstance(payload, (str, int)):
            raise InvalidValue(f"a payload is bytes, not {type(payload).__name__}; encode text first")
        if stamp is None and flag & _TIMED:
            raise InvalidValue("a TIMED message wants its time-out, in milliseconds, as stamp")
        return encode(destination, bytes(payload), self.settings.client_id if source is None else source, flag, priority,
                      clock_stamp() if stamp is None else stamp, section)

    def ask(self, destination: int, section: int | None, waiter: Waiter) -> int:
        """Notes who waits for an answer; returns the section of the question, a fresh one if none was given."""
        if section is None:
            section = self._fresh_section(destination)
        elif (destination, signed_section(section)) in self._questions:
            raise InvalidValue(f"a request to client {destination} with section {section} is under way already")
        self._questions[destination, signed_section(section)] = waiter
        return section

    def forget(self, destination: int, section: int, waiter: Waiter) -> None:
        """The answer is not waited for any longer; if it comes, it goes into the inbox."""
        key = destination, signed_section(section)
        if self._questions.get(key) is waiter:
            del self._questions[key]

    def _new_delays(self) -> Iterator[float]:
        policy = self.settings.reconnect
        return policy.delays() if policy is not None else iter(())

    def _fresh_section(self, destination: int) -> int:
        while True:
            self._section = self._section + 1 & 0x7FFFFFFF
            if (destination, self._section) not in self._questions:
                return self._section


def tell(callback: Callable[..., object] | None, *arguments: ConnectionLost) -> None:
    """Calls a program's callback. What it raises is logged: the connection does not depend on it."""
    if callback is None:
        return
    try:
        callback(*arguments)
    except Exception:  # noqa: BLE001  (whatever it is)
        LOG.exception("a callback has failed")
