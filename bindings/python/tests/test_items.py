"""The typed items of payloads."""
import random

import pytest

from jaybus import MAX_PAYLOAD, BusError, InvalidValue, ItemError, ItemReader, ItemWriter

EDGES = {
    "byte": (-0x80, 0xFF),
    "word": (-0x8000, 0xFFFF),
    "int": (-0x80000000, 0xFFFFFFFF),
    "varint": (0, 0x7FFFFFFF),
}


def put(writer, kind, value):
    return getattr(writer, f"put_{kind}")(value)


def test_each_item_has_its_bytes():
    assert bytes(ItemWriter().put_byte(0x1FF & 0xFF)) == b"\xff"
    assert bytes(ItemWriter().put_byte(-2)) == b"\xfe"
    assert bytes(ItemWriter().put_word(0x1170)) == b"\x70\x11"
    assert bytes(ItemWriter().put_int(-2)) == b"\xfe\xff\xff\xff"
    assert bytes(ItemWriter().put_string("hello")) == b"\x05hello"
    assert bytes(ItemWriter().put_string(b"\x00\xff")) == b"\x02\x00\xff"
    assert bytes(ItemWriter().put_string("")) == b"\x00"
    assert bytes(ItemWriter().put_bytes(b"abc")) == b"abc"


@pytest.mark.parametrize("value, data", [
    (0, b"\x00"), (253, b"\xfd"), (254, b"\xfe\xfe\x00"), (65535, b"\xfe\xff\xff"),
    (65536, b"\xff\x00\x00\x01\x00"), (0x7FFFFFFF, b"\xff\xff\xff\xff\x7f")])
def test_a_varint_takes_one_three_or_five_bytes(value, data):
    assert bytes(ItemWriter().put_varint(value)) == data
    assert ItemReader(data).get_varint() == value


@pytest.mark.parametrize("kind", EDGES)
def test_a_number_out_of_range_is_refused_and_changes_nothing(kind):
    writer = ItemWriter().put_byte(1)
    for wrong in (EDGES[kind][0] - 1, EDGES[kind][1] + 1, "7", 1.5, None):
        with pytest.raises(InvalidValue):
            put(writer, kind, wrong)
    assert bytes(writer) == b"\x01"
    for right in EDGES[kind]:
        put(writer, kind, right)


def test_numbers_are_read_as_the_reader_documents():
    reader = ItemReader(bytes(ItemWriter().put_byte(-1).put_word(-1).put_int(0xFFFFFFFF).put_int(-0x80000000)))
    assert (reader.get_byte(), reader.get_word(), reader.get_int(), reader.get_int()) == (255, 65535, -1, -0x80000000)


def test_any_row_of_items_comes_back():
    chance = random.Random(1)
    for _ in range(300):
        row, writer = [], ItemWriter()
        for _ in range(chance.randrange(12)):
            kind = chance.choice(("byte", "word", "int", "varint", "string", "bytes"))
            value = {"byte": lambda: chance.randrange(256), "word": lambda: chance.randrange(65536),
                     "int": lambda: chance.randrange(-2**31, 2**31), "varint": lambda: chance.randrange(2**31),
                     "string": lambda: "é" * chance.choice((1, 126, 127, 300)), "bytes": lambda: chance.randbytes(5)}[kind]()
            put(writer, kind, value)
            row.append((kind, value))
        reader = ItemReader(bytes(writer))
        for kind, value in row:
            assert (reader.get_bytes(5) if kind == "bytes" else getattr(reader, f"get_{kind}")()) == value
        assert reader.remaining == 0


READERS = [lambda r: r.get_word(), lambda r: r.get_int(), lambda r: r.get_varint(), lambda r: r.get_string(),
           lambda r: r.get_string_bytes(), lambda r: r.get_bytes(5)]
WHOLE = [b"\x01\x02", b"\x01\x02\x03\x04", b"\xff\x00\x00\x01\x00", b"\x03abc", b"\x03abc", b"abcde"]


@pytest.mark.parametrize("read, data", zip(READERS, WHOLE))
def test_a_payload_cut_within_an_item_is_told_and_the_reader_stays(read, data):
    read(ItemReader(data))
    for length in range(len(data)):
        reader = ItemReader(data[:length])
        with pytest.raises(ItemError):
            read(reader)
        assert reader.remaining == length


def test_at_the_end_a_default_is_given():
    reader = ItemReader(b"")
    assert reader.get_byte(1) == 1
    assert reader.get_word(2) == 2
    assert reader.get_int(default=-3) == -3
    assert reader.get_varint(4) == 4
    assert reader.get_string("five") == "five"
    assert reader.get_bytes() == b""
    with pytest.raises(ItemError):
        ItemReader(b"\x01").get_int(default=0)


def test_an_empty_string_counts_as_absent():
    assert ItemReader(b"\x00").get_string("nobody") == "nobody"
    assert ItemReader(b"\x00").get_string() == ""


def test_a_length_that_is_negative_or_beyond_the_payload_is_refused():
    for hostile in (b"\xff\xff\xff\xff\xff", b"\xff\x00\x00\x00\x80", b"\xff\xff\xff\xff\x7fabc", b"\xfe\xff\xffabc"):
        with pytest.raises(ItemError):
            ItemReader(hostile).get_string()


def test_random_bytes_raise_nothing_but_item_errors():
    chance = random.Random(2)
    readers = [*READERS, lambda r: r.get_byte(), lambda r: r.get_string("x"), lambda r: r.get_int(7)]
    for _ in range(5000):
        payload = chance.randbytes(chance.randrange(40))
        reader = ItemReader(payload)
        for _ in range(8):
            try:
                chance.choice(readers)(reader)
            except ItemError:
                pass
            assert 0 <= reader.remaining <= len(payload)


def test_korean_text_takes_a_codec():
    payload = bytes(ItemWriter("cp949").put_string("김민준"))
    assert payload == b"\x06\xb1\xe8\xb9\xce\xc1\xd8"
    assert ItemReader(payload, "cp949").get_string() == "김민준"
    with pytest.raises(ItemError, match="utf-8"):
        ItemReader(payload).get_string()
    assert ItemReader(payload, errors="replace").get_string()
    with pytest.raises(ItemError, match="cp949"):
        ItemWriter("cp949").put_string("\U0001F600")


def test_a_payload_does_not_grow_beyond_what_a_message_takes():
    writer = ItemWriter().put_bytes(bytes(MAX_PAYLOAD - 1)).put_byte(1)
    assert len(writer) == MAX_PAYLOAD
    with pytest.raises(InvalidValue, match=str(MAX_PAYLOAD)):
        writer.put_byte(1)
    assert len(writer) == MAX_PAYLOAD


def test_a_count_is_not_negative():
    reader = ItemReader(b"abc")
    with pytest.raises(BusError):
        reader.get_bytes(-1)
    assert reader.get_bytes() == b"abc"
