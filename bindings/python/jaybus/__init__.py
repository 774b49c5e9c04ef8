"""Clients of the Jay message bus, in Python alone.

Client is for programs that use asyncio, BlockingClient for all others; both have the same operations. A message and its
header fields is a Message, its flag a sum of Flag. ItemWriter and ItemReader pack and read typed payloads. Reconnect says how
a client comes back after a loss. All exceptions are BusErrors: see jaybus.errors.
"""
from __future__ import annotations

from typing import TYPE_CHECKING, Any

from jaybus.blocking import BlockingClient
from jaybus.errors import (BusError, BusTimeout, ClientClosed, ConnectionFailed, ConnectionLost, InvalidValue, ItemError,
                           NotSent)
from jaybus.items import MAX_PAYLOAD, ItemReader, ItemWriter
from jaybus.message import CLIENTS, DEFAULT_PORT, HEADER_SIZE, Decoder, Flag, Message
from jaybus.session import Payload, Reconnect

if TYPE_CHECKING:
    from jaybus.client import Client

__all__ = [
    "CLIENTS", "DEFAULT_PORT", "HEADER_SIZE", "MAX_PAYLOAD",
    "BlockingClient", "Client", "Decoder", "Flag", "ItemReader", "ItemWriter", "Message", "Payload", "Reconnect",
    "BusError", "BusTimeout", "ClientClosed", "ConnectionFailed", "ConnectionLost", "InvalidValue", "ItemError", "NotSent",
]
__version__ = "1.0.0"


def __getattr__(name: str) -> Any:
    """Loads Client when it is first named: programs without asyncio do not load asyncio."""
    if name != "Client":
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    from jaybus.client import Client
    globals()["Client"] = Client
    return Client
