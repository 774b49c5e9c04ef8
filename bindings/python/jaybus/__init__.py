"""Clients of the Jay message bus, in Python alone.

A message and its header fields is a Message, its flag a sum of Flag. ItemWriter and ItemReader pack and read typed payloads.
All exceptions are BusErrors: see jaybus.errors.
"""
from jaybus.errors import (BusError, BusTimeout, ClientClosed, ConnectionFailed, ConnectionLost, InvalidValue, ItemError,
                           NotSent)
from jaybus.items import MAX_PAYLOAD, ItemReader, ItemWriter
from jaybus.message import CLIENTS, DEFAULT_PORT, HEADER_SIZE, Decoder, Flag, Message
from jaybus.session import Payload, Reconnect
