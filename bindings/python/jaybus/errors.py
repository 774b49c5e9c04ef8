"""What can go wrong. Every exception that this package raises on purpose is a BusError.

    BusError
      InvalidValue       an argument is out of its range; nothing was sent         (also a ValueError)
      ItemError          a payload does not hold the item that was asked for        (also a ValueError)
      ConnectionFailed   no connection came about                                   (also a ConnectionError)
      ConnectionLost     the connection has ended                                   (also a ConnectionError)
        NotSent          the message that was passed in has not left, or not wholly
      BusTimeout         what was waited for did not come in time                   (also a TimeoutError)
      ClientClosed       the client is not open: not yet connected, or closed
"""
from __future__ import annotations


class BusError(Exception):
    """The base of all exceptions of this package."""


class InvalidValue(BusError, ValueError):
    """An argument is out of its range. Nothing was sent."""


class ItemError(BusError, ValueError):
    """A payload ends before the item that was asked for, the item is none, or its text does not fit the codec."""


class ConnectionFailed(BusError, ConnectionError):
    """No connection came about: nobody listens, the host is unknown, or the time was up."""


class ConnectionLost(BusError, ConnectionError):
    """The connection has ended. The server closes it, too, when another client connects with the same id."""


class NotSent(ConnectionLost):
    """The message passed to send() or request() has not left, or not wholly: the server does not deliver it.

    The client never sends it again by itself; whether to do so is for the program to decide.
    """


class BusTimeout(BusError, TimeoutError):
    """No message, no answer or no connection came in time."""


class ClientClosed(BusError):
    """The client has not been connected yet, or has been closed."""


def check_range(name: str, value: int, least: int, most: int) -> None:
    """Raises InvalidValue unless the value is an int from least to most."""
    if not isinstance(value, int) or not least <= value <= most:
        raise InvalidValue(f"{name} is {value!r}; it takes {least} to {most}")
