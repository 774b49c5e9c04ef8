"""The header, and how messages are found in a stream."""
import random
import re
import struct
import time
from pathlib import Path

import pytest

from jaybus import MAX_PAYLOAD, Decoder, Flag, InvalidValue, ItemError, ItemWriter, Message
from jaybus.message import clock_stamp, encode
from jaybus.session import Session, Settings

PROTOCOL = Path(__file__).resolve().parents[3] / "docs" / "protocol.md"


def session(client_id=5):
    return Session(Settings.checked(client_id, "127.0.0.1", 1, 1.0, False, None, None))


def documented(name):
    """The bytes of a worked example in the description of the protocol."""
    block = re.search(rf"```bytes {name}\n(.*?)```", PROTOCOL.read_text(), re.DOTALL).group(1)
    return b"".join(bytes.fromhex(re.match(r"((?:[0-9a-f]{2}(?:\s|$))*)", line).group(1)) for line in block.splitlines())


# ---- the header ----

def test_the_worked_example_of_the_protocol_is_written_and_read():
    payload = ItemWriter().put_string("hello").put_varint(1000).put_word(70000 & 0xFFFF).put_int(-2)
    message = Message(7, bytes(payload), source=5, priority=1, stamp=595925115, section=42)
    assert message.encode() == documented("message") == documented("delivered")
    assert Decoder().feed(documented("message")) == [message]
    assert Message(0, source=5, stamp=595925115).encode() == documented("greeting")


@pytest.mark.parametrize("field, value, data", [
    ("destination", 31, "1000 1f00 0000 00 00 00000000 00000000"), ("source", 31, "1000 0000 1f00 00 00 00000000 00000000"),
    ("flag", 255, "1000 0000 0000 ff 00 00000000 00000000"), ("priority", 255, "1000 0000 0000 00 ff 00000000 00000000"),
    ("stamp", 0x7FFFFFFF, "1000 0000 0000 00 00 ffffff7f 00000000"), ("section", -2, "1000 0000 0000 00 00 00000000 feffffff"),
    ("payload", b"abc", "1300 0000 0000 00 00 00000000 00000000 616263")])
def test_each_field_stands_in_its_place(field, value, data):
    message = Message(0)._replace(**{field: value})
    assert message.encode() == encode(*message) == bytes.fromhex(data)
    assert Decoder().feed(message.encode()) == [message]


@pytest.mark.parametrize("field, values", [
    ("destination", (-1, 32, 1.0, "7", None)), ("source", (-1, 32)), ("flag", (-1, 256)), ("priority", (-1, 256)),
    ("stamp", (-1, 0x80000000)), ("section", (-0x80000001, 0x100000000)), ("payload", (bytes(MAX_PAYLOAD + 1),))])
def test_a_field_out_of_range_is_refused(field, values):
    for value in values:
        message = Message(0)._replace(**{field: value})
        for write in (message.encode, lambda: encode(*message)):
            with pytest.raises(InvalidValue, match=field):
                write()


def test_a_section_may_be_given_unsigned():
    message = Message(0, section=0xFFFFFFFE)
    assert message.encode() == encode(*message)
    assert Decoder().feed(message.encode())[0].section == -2


def test_a_stamp_is_the_clock_unless_it_is_given():
    before = time.time_ns() // 1_000_000 & 0x7FFFFFFF
    (message,) = Decoder().feed(session().compose(7, b""))
    assert (message.stamp - before) % 2**31 < 10_000
    assert Decoder().feed(session().compose(7, b"", stamp=3000, flag=Flag.TIMED))[0].stamp == 3000
    with pytest.raises(InvalidValue, match="TIMED"):
        session().compose(7, b"", flag=Flag.TIMED | Flag.SYNC)


def test_the_stamp_begins_again_after_31_bits(monkeypatch):
    monkeypatch.setattr(time, "time_ns", lambda: (2**31 + 5) * 1_000_000)
    assert clock_stamp() == 5


def test_the_source_is_our_id_unless_it_is_given():
    assert Decoder().feed(session(5).compose(7, b""))[0].source == 5
    assert Decoder().feed(session(5).compose(7, b"", source=9))[0].source == 9


def test_a_payload_is_bytes_or_turns_into_bytes():
    for payload in (b"abc", bytearray(b"abc"), memoryview(b"abc"), ItemWriter().put_bytes(b"abc")):
        assert Decoder().feed(session().compose(7, payload))[0].payload == b"abc"
    for wrong in ("abc", 3):
        with pytest.raises(InvalidValue, match="payload"):
            session().compose(7, wrong)


def test_text_takes_a_codec():
    assert Message(0, "김민준".encode("cp949")).text("cp949") == "김민준"
    assert Message(0, "김민준".encode()).text() == "김민준"
    with pytest.raises(ItemError, match="utf-8"):
        Message(0, b"\xff").text()
    assert Message(0, b"\x02\xb1\xe8").items("cp949").get_string() == "김"


# ---- framing ----

MESSAGES = [Message(7, b"", 5), Message(7, b"a", 5, section=1), Message(0, b"bc" * 20, 31, 255, 255, 0x7FFFFFFF, -1), Message(1)]
STREAM = b"".join(message.encode() for message in MESSAGES)


def test_messages_are_found_however_the_stream_is_cut():
    for first in range(len(STREAM) + 1):
        for second in range(first, len(STREAM) + 1):
            decoder, found = Decoder(), []
            for piece in (STREAM[:first], STREAM[first:second], STREAM[second:]):
                found += decoder.feed(piece)
            assert found == MESSAGES


def test_messages_are_found_byte_by_byte_each_with_its_last():
    decoder, at = Decoder(), 0
    for message in MESSAGES:
        data = message.encode()
        for byte in data[:-1]:
            assert decoder.feed(bytes((byte,))) == []
        assert decoder.feed(data[-1:]) == [message]
        at += len(data)


@pytest.mark.parametrize("size", [0, 1, 2, 239, 240, 241, 4095, 65518, 65519])
def test_every_size_passes(size):
    message = Message(7, random.Random(size).randbytes(size), 5)
    assert Decoder().feed(message.encode() * 3) == [message] * 3


@pytest.mark.parametrize("length", range(17))
def test_a_length_below_16_stands_for_a_header_alone(length):
    data = struct.pack("<HHHBBIi", length, 40000, 50000, 7, 9, 0xFFFFFFFF, -1)
    assert Decoder().feed(data + STREAM) == [Message(40000, b"", 50000, 7, 9, 0xFFFFFFFF, -1), *MESSAGES]


def test_any_bytes_are_messages_and_none_is_lost_or_invented():
    chance = random.Random(3)
    for _ in range(200):
        data, decoder, used, at = chance.randbytes(chance.randrange(200_000)), Decoder(), 0, 0
        while at < len(data):
            size = chance.choice((1, 7, 16, 1000, 70_000))
            used += sum(16 + len(message.payload) for message in decoder.feed(data[at:at + size]))
            at += size
        assert used <= len(data) < used + 65536


def test_a_large_message_in_small_pieces_takes_time_in_proportion():
    data = Message(7, bytes(MAX_PAYLOAD)).encode()
    decoder, begin = Decoder(), time.process_time()
    found = [message for _ in range(10) for byte in data for message in decoder.feed(bytes((byte,)))]
    assert len(found) == 10
    assert time.process_time() - begin < 20  # far more than it takes; copying all at each byte takes minutes
