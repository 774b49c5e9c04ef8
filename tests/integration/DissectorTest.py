"""tools/wireshark/jaybus.lua in tshark, on a recorded run (captures/bus.pcap, made by captures/record.py) and on random bytes."""
import json
import random
import re
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

from cases import ROOT, Case, main, pack

SCRIPT = ROOT / "tools" / "wireshark" / "jaybus.lua"
CAPTURE = Path(__file__).parent / "captures" / "bus.pcap"
PORT = 23117


def tshark(capture, *arguments):
    """Its standard output. A fault in the script appears as a field of the packet, or on standard error."""
    done = subprocess.run(["tshark", "-n", "-2", "-X", f"lua_script:{SCRIPT}", "-r", capture, *arguments], check=True,
                          capture_output=True, text=True, timeout=120)
    if "Lua Error" in done.stdout + done.stderr or re.search(r"jaybus\.lua:\d+", done.stderr):
        raise AssertionError(done.stdout + done.stderr)
    return done.stdout


class Message(dict):
    """A message's fields, of all depths, without the "jaybus."; its frame and the TCP stream."""

    def __init__(self, fields, frame, layers):
        super().__init__()
        self.frame, self.stream, self.tcp = frame, layers["tcp"]["tcp.stream"], layers
        self._add(fields)

    def _add(self, fields):
        for name, value in fields.items():
            if isinstance(value, dict):
                self._add(value)
            else:
                self[name.replace("jaybus.", "", 1)] = value

    @property
    def way(self):
        return "to server" if self["to_server"] == "1" else "from server"


def messages_of(capture, *arguments):
    messages = []
    for packet in json.loads(tshark(capture, "-T", "json", "--no-duplicate-keys", "-Y", "jaybus", *arguments)):
        layers = packet["_source"]["layers"]
        found = layers["jaybus"] if isinstance(layers["jaybus"], list) else [layers["jaybus"]]
        messages += [Message(fields, int(layers["frame"]["frame.number"]), layers) for fields in found]
    return messages


class Dissector(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.messages = messages_of(CAPTURE)

    def of_client(self, client, way):
        return [m for m in self.messages if m.get("client") == str(client) and m.way == way]

    def the_one(self, way, **fields):
        found = [m for m in self.messages if m.way == way and fields.items() <= m.items()]
        self.assertEqual(len(found), 1, fields)
        return found[0]

    def assert_noted(self, message, name, severity):
        self.assertIn(f"{name}", message)
        self.assertEqual(int(message["_ws.expert.severity"]), severity)

    def test_the_port_is_the_one_of_the_tools(self):
        header = (ROOT / "tools" / "common" / "DefaultPort.h").read_text(encoding="utf-8")
        self.assertIn(f"DEFAULT_PORT = {PORT};", header)
        self.assertIn(f'"{PORT}"', SCRIPT.read_text(encoding="utf-8"))

    def test_every_message_is_found_in_its_order(self):
        def row(client, way):
            return [m.get("text") or m.get("items") or (m["kind"] if m["length"] == "16" else m["length"])
                    for m in self.of_client(client, way)]
        example = 'str:"hello" var:1000 byte:112 byte:17 int:-2'
        pieces = "in three pieces: " + "x" * 300
        self.assertEqual(row(0, "to server"), ["greeting", "round trip"])
        self.assertEqual(row(0, "from server"), ["round trip", "wake-up", "to all", "that was all"])
        self.assertEqual(row(7, "to server"), ["greeting", "good day", "안녕하세요", "48", "that was all"])
        self.assertEqual(row(7, "from server"), [example, "to all", "answer soon", pieces, "one", "two", "three",
                                                 "as somebody else", "odd flag", "message", "short"])
        self.assertEqual(row(5, "from server"), ["round trip", "good day", "안녕하세요", "48"])
        self.assertEqual(row(5, "to server"), ["greeting", "round trip", example, "to all", "answer soon", pieces, "one", "two",
                                               "three", "nobody has this id", "as somebody else", "odd flag", "3", "short", "int:0"])

    def test_each_field_of_the_header(self):
        m = self.of_client(7, "from server")[0]
        self.assertEqual([m[name] for name in ("length", "dest", "src", "flag", "priority", "timestamp", "section")],
                         ["31", "7", "5", "0x00", "1", "595925115", "42"])

    def test_flags_and_what_the_time_stamp_is_then(self):
        m = self.the_one("to server", text="answer soon")
        self.assertEqual((m["flag.timed"], m["flag.sync"], m["timeout"]), ("1", "0", "5000"))
        self.assertNotIn("timestamp", m)
        m = self.the_one("to server", text="to all")
        self.assertEqual((m["flag.broadcast"], m["flag.timed"]), ("1", "0"))
        m = self.the_one("from server", kind="wake-up")
        self.assertEqual((m["flag.sync"], m["dest"], m["src"]), ("1", "7", "5"))
        self.assert_noted(m, "wake_up", 0x200000)

    def test_items_of_the_payload_are_guessed(self):
        m = self.of_client(7, "from server")[0]
        self.assertEqual([m[f"item.{kind}"] for kind in ("str", "var", "int")], ["hello", "1000", "-2"])

    def test_an_answer_is_found_by_its_section_on_both_connections(self):
        for client, there, back in ((5, "to server", "from server"), (7, "from server", "to server")):
            request = next(m for m in self.of_client(client, there) if m["section"] == "42")
            answer = next(m for m in self.of_client(client, back) if m["section"] == "42")
            self.assertEqual((request["answer_in"], answer["request_in"]), (str(answer.frame), str(request.frame)))
            self.assertGreater(float(answer["answer_time"]), 0)
        self.assertEqual(sum("request_in" in m for m in self.messages), 2)

    def test_a_message_in_three_segments_is_put_together(self):
        m = next(m for m in self.of_client(5, "to server") if m["length"] == "333")
        self.assertEqual(m.tcp["tcp.segments"]["tcp.segment.count"], "3")

    def test_three_messages_in_one_segment_are_told_apart(self):
        one = self.the_one("to server", text="one")
        self.assertEqual([m["text"] for m in self.messages if m.frame == one.frame], ["one", "two", "three"])

    def test_a_length_below_the_header_is_an_error_and_the_next_message_is_found(self):
        m = self.the_one("to server", length="3")
        self.assert_noted(m, "length.bad", 0x800000)
        self.assertIn("Length 3", m["_ws.expert.message"])

    def test_what_is_no_header_is_an_error(self):
        self.assert_noted(self.the_one("to server", dest="65535"), "header.bad", 0x800000)

    def test_what_the_server_drops_or_the_library_never_sends_is_noted(self):
        self.assert_noted(self.the_one("to server", dest="40"), "dest.bad", 0x600000)
        self.assert_noted(self.the_one("to server", src="9"), "src.foreign", 0x400000)
        m = self.the_one("to server", text="odd flag")
        self.assertIn("flag.bad", m)
        self.assertIn("timestamp.bad", m)

    def test_nothing_else_is_noted(self):
        noted = {m.frame for m in self.messages if "_ws.expert.message" in m}
        self.assertEqual(len(noted), 7)  # the odd flag on both its ways

    def test_the_list_of_packets_tells_the_story(self):
        lines = tshark(CAPTURE, "-Y", "jaybus", "-T", "fields", "-e", "_ws.col.Info").splitlines()
        for line in ("client 5 greets", '5 -> 7 priority 1 section 42 str:"hello" var:1000 byte:112 byte:17 int:-2',
                     "client 7 is wanted by client 5", '5 -> 7 "one"; 5 -> 7 "two"; 5 -> 7 "three"', "5 -> 7 317 bytes"):
            self.assertIn(line, lines)

    def test_the_port_is_a_preference(self):
        self.assertEqual(tshark(CAPTURE, "-o", "jaybus.port:7000", "-Y", "jaybus"), "")
        self.assertEqual(len(messages_of(CAPTURE, "-o", f"jaybus.port:7000,{PORT - 1}-{PORT + 1}")), len(self.messages))


class DissectorMade(unittest.TestCase):
    def read(self, *connections, port=PORT, options=()):
        """What tshark makes of connections to a server, each told by the segments that its client sends."""
        with tempfile.TemporaryDirectory() as folder:
            capture = Path(folder) / "made.pcap"
            capture.write_bytes(capture_of(connections, port))
            return tshark(capture, "-V", *options)

    def test_no_bytes_make_the_script_fail(self):
        numbers = random.Random(5)

        def damaged():
            message = bytearray(pack(5, 7, numbers.randbytes(numbers.choice((0, 1, 5, 40, 300)))))
            for _ in range(numbers.randrange(4)):
                message[numbers.randrange(min(len(message), 24))] = numbers.choice((0, 1, 0x7F, 0x80, 0xFE, 0xFF))
            return bytes(message[:numbers.choice((len(message), numbers.randrange(1, len(message) + 1)))])

        text = self.read(*([damaged() for _ in range(5)] for _ in range(100)))
        self.assertGreater(text.count("Jay message bus"), 100)

    def test_a_text_that_ends_within_a_character_is_shown_as_text_all_the_same(self):
        # The string has one byte, which with the next one would be a character.
        text = self.read([pack(5, 0), pack(5, 7, b"\x05hello\x01\xcb\x99")])
        self.assertIn('str:"\N{REPLACEMENT CHARACTER}"', text)

    def test_the_longest_message_is_read(self):
        message = pack(5, 7, b"\x05hello" * 10919 + b"12345")
        self.assertEqual(len(message), 65535)
        text = self.read([pack(5, 0), *(message[i:i + 1400] for i in range(0, len(message), 1400))])
        self.assertIn("5 -> 7 65519 bytes", text)

    def test_a_port_picked_by_hand_is_the_server_s(self):
        text = self.read([pack(5, 0), pack(5, 7, b"hello")], port=7000, options=("-d", "tcp.port==7000,jaybus"))
        self.assertIn("client 5 greets", text)
        self.assertIn('5 -> 7 "hello"', text)
        self.assertEqual(text.count("[To the server: True]"), 2)

    def test_a_greeting_of_no_client_is_noted(self):
        self.assertIn("above 31: the server leaves the connection unused", self.read([pack(32, 0)]))

    def test_a_capture_that_begins_in_the_middle_of_a_message_gets_no_further_than_an_error(self):
        text = self.read([b"\x20\x00and so on, behind a header that nobody saw"])
        self.assertIn("This is no header", text)


class DissectorAndTool(Case):
    """Both guess what a payload is made of; a reader should not be told two things."""

    def test_the_guess_is_that_of_jay_dump(self):
        messages = [pack(5, 7, payload) for payload in payloads(random.Random(7), 400)]
        with tempfile.TemporaryDirectory() as folder:
            capture, wire = Path(folder) / "made.pcap", Path(folder) / "made.bin"
            capture.write_bytes(capture_of([[pack(5, 0), *messages]], PORT))
            wire.write_bytes(b"".join(messages))
            seen = [m.get("items") or m.get("text") for m in messages_of(capture)[1:]]
            status, out, err = self.run_program("jay", "dump", "--format", "wire", "--decode", "--json", wire)
        self.assertEqual((status, err), (0, ""))
        told = [guess_of(json.loads(line)) for line in out.splitlines()]
        self.assertEqual(len(told), len(messages))
        self.assertEqual(seen, told)
        self.assertGreater(sum(guess is not None and ":" in guess for guess in told), 100)


def guess_of(message):
    """What `jay dump` tells of a payload, in the words of the dissector."""
    words = [item["type"] + (":\"%s\"" if item["type"] == "str" else ":%d") % item["value"] for item in message.get("items", [])]
    return " ".join(words) or message.get("text") or None


def payloads(numbers, count):
    """Payloads of items, of text, and of any bytes; small ones, so that there is much to be mistaken about."""
    def item():
        kind = numbers.randrange(6)
        if kind == 0:
            return struct.pack("<B", numbers.choice((0, 1, 7, 200, 255)))
        if kind == 1:
            return struct.pack("<H", numbers.choice((0, 3, 1000, 65535)))
        if kind == 2:
            return struct.pack("<i", numbers.choice((0, 5, -1, 70000, 2147483647)))
        if kind == 3:
            return b"\xfe" + struct.pack("<H", numbers.choice((254, 300, 65535)))
        if kind == 4:
            return b"\xff" + struct.pack("<i", numbers.choice((65536, 1000000)))
        text = numbers.choice((b"a", b"hello", b"a longer text with blanks"))
        return bytes([len(text)]) + text

    for _ in range(count // 4):
        yield b"".join(item() for _ in range(numbers.randrange(1, 6)))
        yield b"".join(item() for _ in range(numbers.randrange(1, 6)))
        yield bytes(numbers.choice(b"abc defg.,") for _ in range(numbers.randrange(1, 30)))
        yield bytes(numbers.randrange(128) for _ in range(numbers.randrange(1, 12)))  # no Korean, which only the one reads unasked


def capture_of(connections, port):
    """A capture file, of IP packets without a frame around."""
    packets = []
    for client, segments in enumerate(connections):
        sequence = 1000
        for payload in segments:
            tcp = struct.pack(">HHIIBBHHH", 40000 + client, port, sequence, 1, 0x50, 0x18, 65535, 0, 0) + payload
            ip = struct.pack(">BBHHHBBHII", 0x45, 0, 20 + len(tcp), 0, 0, 64, 6, 0, 0x7F000001, 0x7F000001) + tcp
            packets.append(struct.pack("<IIII", len(packets), 0, len(ip), len(ip)) + ip)
            sequence += len(payload)
    raw_ip = 101
    return struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, raw_ip) + b"".join(packets)


if __name__ == "__main__":
    main()
