"""One connection to the server: a socket that never blocks. Waiting for it is left to the two clients."""
from __future__ import annotations

import os
import socket

from jaybus.errors import ConnectionLost, NotSent

# What the C++ client waits, too: for a connection, and each time that the server takes nothing of a message.
CONNECT_LIMIT = 10.0
WRITE_LIMIT = 10.0

# How long close() waits for the server to read what was sent and to close its end.
CLOSE_LIMIT = 2.0

_READ_SIZE = 256 * 1024


class Link:
    """Takes over a connected socket and greets the server. The reader alone finds that the connection has ended: whoever
    meets its end in writing leaves what has arrived to the reader."""

    def __init__(self, connected: socket.socket, greeting: bytes) -> None:
        self._socket = connected
        connected.setblocking(False)
        connected.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        try:
            connected.send(greeting)  # a new connection has room for it
        except OSError:
            pass  # the connection has ended already, which the reader finds

    def fileno(self) -> int:
        return self._socket.fileno()

    def read(self) -> bytes | None:
        """What has arrived, or None if there is nothing now. Raises ConnectionLost at the end of the connection."""
        try:
            data = self._socket.recv(_READ_SIZE)
        except (BlockingIOError, InterruptedError):
            return None
        except OSError as error:
            raise ConnectionLost(f"connection lost: {reason(error)}") from None
        if not data:
            raise ConnectionLost("connection lost: the server has closed it")
        return data

    def write(self, data: memoryview) -> memoryview:
        """Gives the system what it takes now, and returns the rest. Raises NotSent if the connection has ended."""
        try:
            return data[self._socket.send(data):]
        except (BlockingIOError, InterruptedError):
            return data
        except OSError as error:
            raise NotSent(f"not sent: {reason(error)}") from None

    def end_writing(self) -> None:
        """Tells the server that nothing more comes. It reads what was sent, and closes its end."""
        self._shut_down(socket.SHUT_WR)

    def cut(self) -> None:
        """Ends the connection at once. The reader finds what has arrived, and then the end. Any thread."""
        self._shut_down(socket.SHUT_RDWR)

    def close(self) -> None:
        """Closes the socket. The reader calls it, when it has found the end."""
        self._socket.close()

    def _shut_down(self, how: int) -> None:
        try:
            self._socket.shutdown(how)
        except OSError:
            pass  # it has ended already


def reason(error: Exception) -> str:
    """An error of the system in its own words."""
    if isinstance(error, OSError) and error.errno is not None and error.errno > 0:
        return os.strerror(error.errno)
    return error.strerror if isinstance(error, socket.gaierror) and error.strerror else str(error)
