"""The typed items that payloads are made of. Items carry no type: both sides agree on their order.

    item     written by     bytes                                               values
    byte     put_byte       1                                                   -128 to 255, read as 0 to 255
    word     put_word       2                                                   -32768 to 65535, read as 0 to 65535
    int      put_int        4                                                   -2147483648 to 4294967295, read signed
    varint   put_varint     1 below 254; FE and 2 below 65536; FF and 4 above   0 to 2147483647
    string   put_string     its length in bytes as a varint, then the bytes     text in the codec, or bytes
    bytes    put_bytes      the bytes; their number is for the reader to know

All numbers are little-endian. Text is UTF-8 unless another codec of Python is named; "cp949" is Korean.
"""
from __future__ import annotations

from typing import TypeVar

from jaybus.errors import InvalidValue, ItemError, check_range

MAX_PAYLOAD = 65519

_WORD_MARK, _INT_MARK = 254, 255

_Writer = TypeVar("_Writer", bound="ItemWriter")


class ItemWriter:
    """Builds a payload item by item. Pass the writer itself as a payload, or take bytes(writer).

        payload = ItemWriter().put_string("hello").put_varint(1000).put_int(-2)

    Each call returns the writer. Raises InvalidValue where a number is out of the item's range or the payload would grow
    beyond MAX_PAYLOAD, ItemError where text does not fit the codec; the payload is then as before the call.
    """

    def __init__(self, codec: str = "utf-8", errors: str = "strict") -> None:
        self._data = bytearray()
        self._codec, self._errors = codec, errors

    def __bytes__(self) -> bytes:
        return bytes(self._data)

    def __len__(self) -> int:
        """Bytes so far."""
        return len(self._data)

    def put_byte(self: _Writer, value: int) -> _Writer:
        return self._put_number("byte", value, 1, -0x80, 0xFF)

    def put_word(self: _Writer, value: int) -> _Writer:
        return self._put_number("word", value, 2, -0x8000, 0xFFFF)

    def put_int(self: _Writer, value: int) -> _Writer:
        return self._put_number("int", value, 4, -0x80000000, 0xFFFFFFFF)

    def put_varint(self: _Writer, value: int) -> _Writer:
        check_range("varint", value, 0, 0x7FFFFFFF)
        return self.put_bytes(_varint(value))

    def put_string(self: _Writer, value: str | bytes) -> _Writer:
        """Text in the writer's codec, or bytes as they are. An empty string counts as absent: see get_string()."""
        data = self._encode(value) if isinstance(value, str) else bytes(value)
        return self.put_bytes(_varint(len(data)) + data)

    def put_bytes(self: _Writer, value: bytes | bytearray | memoryview) -> _Writer:
        if len(self._data) + len(value) > MAX_PAYLOAD:
            raise InvalidValue(f"the payload would have {len(self._data) + len(value)} bytes; a message takes {MAX_PAYLOAD}")
        self._data += value
        return self

    def _put_number(self: _Writer, name: str, value: int, size: int, least: int, most: int) -> _Writer:
        check_range(name, value, least, most)
        return self.put_bytes((value & (1 << 8 * size) - 1).to_bytes(size, "little"))

    def _encode(self, text: str) -> bytes:
        try:
            return text.encode(self._codec, self._errors)
        except UnicodeError as error:
            raise ItemError(f"the text does not fit {self._codec}: {error}") from None


class ItemReader:
    """Reads a payload item by item, from its beginning.

        name, number = reader.get_string(), reader.get_int(default=0)

    Nothing beyond the payload is ever read. At the end of the payload a call gives its default, for items that a sender
    may leave out; without a default it raises ItemError. A payload that ends within an item always raises ItemError, and
    the reader stays in front of that item.
    """

    def __init__(self, payload: bytes, codec: str = "utf-8", errors: str = "strict") -> None:
        self._payload = payload
        self._at = 0
        self._codec, self._errors = codec, errors

    @property
    def remaining(self) -> int:
        """Bytes not read yet."""
        return len(self._payload) - self._at

    def get_byte(self, default: int | None = None) -> int:
        """0 to 255."""
        return self._get_number("byte", 1, default)

    def get_word(self, default: int | None = None) -> int:
        """0 to 65535."""
        return self._get_number("word", 2, default)

    def get_int(self, default: int | None = None) -> int:
        """-2147483648 to 2147483647."""
        return self._get_number("int", 4, default, signed=True)

    def get_varint(self, default: int | None = None) -> int:
        """0 to 2147483647; a larger one raises ItemError."""
        if not self.remaining and default is not None:
            return default
        value, self._at = self._varint_at(self._at)
        return value

    def get_string(self, default: str | None = None) -> str:
        """Text in the reader's codec. An empty string counts as absent: it gives the default, or ""."""
        if not self.remaining and default is not None:
            return default
        data, after = self._string_at(self._at)
        try:
            text = data.decode(self._codec, self._errors)
        except UnicodeError as error:
            raise ItemError(f"the string at {self._at} is no {self._codec}: {error}") from None
        self._at = after
        return text if data or default is None else default

    def get_string_bytes(self) -> bytes:
        """The bytes of a string, not decoded."""
        data, self._at = self._string_at(self._at)
        return data

    def get_bytes(self, count: int | None = None) -> bytes:
        """So many bytes, or all that remain."""
        if count is not None:
            check_range("count", count, 0, MAX_PAYLOAD)
        data, self._at = self._bytes_at(self._at, self.remaining if count is None else count, "bytes")
        return data

    def _get_number(self, name: str, size: int, default: int | None, signed: bool = False) -> int:
        if not self.remaining and default is not None:
            return default
        data, self._at = self._bytes_at(self._at, size, name)
        return int.from_bytes(data, "little", signed=signed)

    def _string_at(self, at: int) -> tuple[bytes, int]:
        """A string's bytes, and where it ends."""
        length, begin = self._varint_at(at)
        return self._bytes_at(begin, length, "string")

    def _varint_at(self, at: int) -> tuple[int, int]:
        """A variable integer, and where it ends."""
        first, after = self._bytes_at(at, 1, "varint")
        if first[0] < _WORD_MARK:
            return first[0], after
        data, after = self._bytes_at(after, 2 if first[0] == _WORD_MARK else 4, "varint")
        value = int.from_bytes(data, "little")
        if value > 0x7FFFFFFF:
            raise ItemError(f"the varint at {at} is negative")
        return value, after

    def _bytes_at(self, at: int, count: int, name: str) -> tuple[bytes, int]:
        after = at + count
        if after > len(self._payload):
            raise ItemError(f"the {name} at {self._at} wants {after - len(self._payload)} more bytes than the payload has")
        return self._payload[at:after], after


def _varint(value: int) -> bytes:
    if value < _WORD_MARK:
        return bytes((value,))
    if value <= 0xFFFF:
        return bytes((_WORD_MARK,)) + value.to_bytes(2, "little")
    return bytes((_INT_MARK,)) + value.to_bytes(4, "little")
