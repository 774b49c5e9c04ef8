"""jay dump: what is in captures of the wire, and in database files, whole and damaged."""
import os
import random
import struct

from cases import BROADCAST, SYNC, TIMED, main, pack
from files import EXAMPLE, FileCase, database, record

GREETING = pack(5, 0, stamp=595925115)
MESSAGE = pack(5, 7, b"\x05hello\xfe\xe8\x03\x70\x11\xfe\xff\xff\xff", priority=1, stamp=595925115, section=42)
REQUEST = pack(5, 7, flag=SYNC)
CAPTURE = GREETING + MESSAGE + REQUEST

GREETING_LINE = ("offset 0  stamp 595925115  5 -> 0  length 16  empty"
                 "  (the greeting of client 5)\n")
MESSAGE_LINE = ("offset 16  stamp 595925115  5 -> 7  priority 1  section 42  length 31"
                "  hex 05 68 65 6c 6c 6f fe e8 03 70 11 fe ff ff ff\n")
REQUEST_LINE = ("offset 47  stamp 0  5 -> 7  flag sync  length 16  empty"
                "  (a request to wake client 7)\n")
CAPTURE_LINES = GREETING_LINE + MESSAGE_LINE + REQUEST_LINE

EXAMPLE_LINES = ("offset 0  header  records 3  end 52  (file 52)\n"
                 "offset 8  abandoned  length 8  slack 0  text abc\n"
                 "offset 20  record 2  length 13  slack 4  text salt\n"
                 "offset 37  record 3  length 11  slack 0  text abcdef\n")


class DumpCase(FileCase):
    def dump(self, content, *arguments):
        """Shows some bytes: status, standard output, standard error."""
        done = self.jay("dump", "-", *arguments, given=content)
        self.assert_harmless(done[1] + done[2])
        return done

    def show(self, content, *arguments):
        """Shows some bytes without a word on standard error."""
        status, out, err = self.dump(content, *arguments)
        self.assertEqual((status, err), (0, ""))
        return out


class JayDumpWire(DumpCase):
    def test_a_capture_is_shown_a_line_per_message(self):
        self.assertEqual(self.show(CAPTURE), CAPTURE_LINES)
        self.assertEqual(self.jay("dump", self.file("capture", CAPTURE)), (0, CAPTURE_LINES, ""))

    def test_payloads_are_decoded_when_asked_for(self):
        self.assertIn("  items str:hello var:1000 byte:112 byte:17 int:-2\n", self.show(CAPTURE, "--decode"))
        self.assertIn("  text hello\n", self.show(pack(5, 7, b"hello"), "--decode"))

    def test_verbose_shows_all_of_the_header_and_a_hex_dump(self):
        out = self.show(CAPTURE, "--verbose", "--decode")
        for part in ("offset 16\n", "time stamp   595925115\n", "items str:hello var:1000 byte:112 byte:17 int:-2\n",
                     "00000000  05 68 65 6c 6c 6f fe e8  03 70 11 fe ff ff ff     |.hello...p.....|\n"):
            self.assertIn(part, out)

    def test_json_has_all_of_it(self):
        objects = self.objects("dump", "-", "--decode", given=CAPTURE)
        self.assertEqual([object["offset"] for object in objects], [0, 16, 47])
        self.assertEqual(objects[0]["meaning"], "the greeting of client 5")
        self.assertEqual(objects[1]["base64"], "BWhlbGxv/ugDcBH+////")
        self.assertEqual(objects[1]["items"][0], {"type": "str", "value": "hello"})
        self.assertEqual((objects[2]["flags"], objects[2]["destination"]), (["sync"], 7))

    def test_hex_in_any_usual_form_is_the_same_capture(self):
        digits = CAPTURE.hex()
        spaced = " ".join(digits[i:i + 2] for i in range(0, len(digits), 2))
        forms = [digits, digits.upper(), spaced, spaced.replace(" ", "\r\n"), spaced.replace(" ", ", 0x"),
                 spaced.replace(" ", ":"), "# a comment, 0a\n" + spaced + " # 0b"]
        for form in forms:
            self.assertEqual(self.show(form.encode()), CAPTURE_LINES, form)

    def test_the_output_of_dump_programs_is_the_same_capture(self):
        def lines(start, byte, width, between, text):
            for i in range(0, len(CAPTURE), 16):
                row = CAPTURE[i:i + 16]
                yield start % i + byte(row).ljust(width) + between + text(row)

        def printable(row):
            return "".join(chr(c) if 32 <= c < 127 else "." for c in row)

        def halves(row):
            return (row[:8].hex(" ").ljust(25) + row[8:].hex(" ")).rstrip()

        forms = ["\n".join(lines("%08x: ", lambda row: row.hex(" ", 2), 39, "  ", printable)),
                 "\n".join(lines("%08x  ", halves, 48, "  ", lambda row: f"|{printable(row)}|")) + "\n0000003f\n",
                 "\n".join(lines("%04x  ", lambda row: row.hex(" "), 47, "   ", printable))]
        for form in forms:
            self.assertEqual(self.show(form.encode()), CAPTURE_LINES, form)

    def test_its_own_hex_dump_is_read(self):
        dumped = self.show(pack(5, 7, CAPTURE), "--verbose").splitlines()
        self.assertEqual(self.show("\n".join(line for line in dumped if "  |" in line).encode()), CAPTURE_LINES)

    def test_broken_hex_is_told_by_line_and_column(self):
        for text, parts in ((b"10 0g", ("line 1, column 5", "'g'")),
                            (b"10 00\n07 0", ("line 2, column 4", "half a byte in '0'")),
                            (b"10 00 0x", ("line 1, column 9", "after 0x")),
                            (b"\x1b[2J", ()),
                            (b"hello", ("line 1, column 1", "'h'"))):
            err = self.refuse("dump", "-", "--format", "hex", given=text)
            self.assert_harmless(err)
            for part in parts:
                self.assertIn(part, err)

    def test_korean_payloads_are_readable(self):
        out = self.show(pack(5, 7, "한글".encode("euc-kr")), "--encoding", "euc-kr")
        self.assertIn("text 한글\n", out)

    def test_nothing_in_a_payload_reaches_the_terminal_as_it_is(self):
        for payload in (b"\x1b[2J", b"a\x00b", b"\x04\x1b[2J", "\u009b".encode(), bytes(range(256))):
            for options in ((), ("--decode",), ("--verbose",), ("--json",)):
                self.show(pack(5, 7, payload), *options)

    def test_a_capture_cut_at_any_length_is_shown_up_to_there(self):
        ends = [0, 16, 47, 63]
        lines = CAPTURE_LINES.splitlines(keepends=True)
        for length in range(1, len(CAPTURE)):
            status, out, err = self.dump(CAPTURE[:length], "--format", "wire")
            whole = sum(end <= length for end in ends[1:])
            self.assertEqual(out, "".join(lines[:whole]))
            if length in ends:
                self.assertEqual((status, err), (0, ""))
            else:
                self.assertEqual(status, 1)
                self.assert_one_line(err, f"damaged at offset {ends[whole]}", "cut")

    def test_a_header_that_can_be_none_ends_it(self):
        for header, part in ((struct.pack("<HHHBBII", 15, 7, 5, 0, 0, 0, 0), "length is 15"),
                             (pack(5, 32), "destination is client 32"),
                             (pack(32, 5), "source is client 32")):
            status, out, err = self.dump(GREETING + header + MESSAGE)
            self.assertEqual((status, out), (1, GREETING_LINE))
            self.assert_one_line(err, "damaged at offset 16", part)

    def test_a_receiver_goes_on_behind_such_a_header(self):
        header = struct.pack("<HHHBBII", 3, 7, 5, 0, 0, 0, 0)
        status, out, err = self.dump(GREETING + header + MESSAGE, "--keep-going")
        self.assertEqual((status, out.count("\n")), (1, 3))
        self.assert_one_line(err, "damaged at offset 16", "length is 3")

    def test_a_synchronous_message_may_name_any_client(self):
        self.assertIn("5 -> 40  flag sync", self.show(pack(5, 40, flag=SYNC)))
        self.assertIn("flag sync+broadcast+timed+8", self.show(pack(5, 7, flag=SYNC | BROADCAST | TIMED | 8)))

    def test_each_byte_of_a_header_may_be_anything(self):
        for place in range(16):
            for value in (0, 1, 16, 31, 32, 127, 128, 255):
                changed = bytearray(MESSAGE + REQUEST)
                changed[place] = value
                status, out, err = self.dump(bytes(changed), "--format", "wire", "--json")
                self.assertIn(status, (0, 1))
                self.assertEqual(status == 1, "damaged at offset" in err)
                self.assertTrue(out)

    def test_the_longest_message_is_shown(self):
        self.assertIn("length 65535", self.show(pack(5, 7, bytes(65519))))

    def test_random_bytes_do_no_harm(self):
        chance = random.Random(1)
        for i in range(60):
            content = chance.randbytes(chance.randrange(1, 400))
            for options in (("--format", "wire", "--keep-going", "--decode"), ("--format", "db", "--verbose"), ()):
                self.assertIn(self.dump(content, *options)[0], (0, 1, 2))

    def test_random_payloads_are_decoded_without_harm(self):
        chance = random.Random(2)
        for i in range(40):
            payload = bytes(chance.choice((0, 1, 3, 97, 98, 200, 254, 255)) for _ in range(chance.randrange(1, 300)))
            self.show(pack(5, 7, payload), "--decode")


class JayDumpDatabase(DumpCase):
    def test_a_database_is_shown_a_line_per_record(self):
        self.assertEqual(self.show(EXAMPLE), EXAMPLE_LINES)

    def test_json_has_all_of_it(self):
        objects = self.objects("dump", "-", given=EXAMPLE)
        self.assertEqual(objects[0], {"offset": 0, "records": 3, "end": 52, "size": 52})
        self.assertEqual((objects[1]["record"], objects[1]["abandoned"]), (-1, True))
        self.assertEqual((objects[2]["record"], objects[2]["slack"], objects[2]["text"]), (2, 4, "salt"))

    def test_long_texts_have_longer_lengths(self):
        content = database(record(1, b"x" * 253), record(2, b"y" * 254), record(3, b"z" * 60000))
        self.assertEqual([o.get("text", "")[:1] for o in self.objects("dump", "-", given=content)], ["", "x", "y", "z"])

    def test_an_empty_database_is_its_header(self):
        self.assertEqual(self.show(database()), "offset 0  header  records 0  end 8  (file 8)\n")

    def test_a_file_is_not_changed(self):
        for content in (EXAMPLE, EXAMPLE[:-5], EXAMPLE[:3], b""):
            name = self.file("notes.db", content)
            os.utime(self.folder / name, (1, 1))
            self.jay("dump", "--format", "db", name)
            self.assertEqual((self.folder / name).read_bytes(), content)
            self.assertEqual((self.folder / name).stat().st_mtime, 1)

    def test_a_file_cut_at_any_length_is_shown_up_to_there(self):
        ends = [8, 20, 37, 52]
        for length in range(1, len(EXAMPLE)):
            status, out, err = self.dump(EXAMPLE[:length], "--format", "db")
            self.assertEqual(status, 1)
            whole = sum(end <= length for end in ends[1:])
            self.assertEqual(out.splitlines()[1:], EXAMPLE_LINES.splitlines()[1:whole + 1])
            self.assert_one_line(err, f"damaged at offset {ends[whole] if length >= 8 else 0}: ")

    def test_what_is_wrong_is_told_with_its_place(self):
        broken = bytearray(EXAMPLE)
        broken[28] = 200  # the length of the text of record 2
        for content, offset, part in (
                (database(record(1, b"a"), count=-1), 0, "counts -1 records"),
                (database(record(1, b"a"), end=99), 4, "end at offset 99"),
                (database(record(1, b"a"), end=12), 18, "offset 12 according to the header"),
                (database(record(1, b"a"), count=2), 18, "record 2 of 2 is missing"),
                (database(record(1, b"a"), count=2, end=20) + b"xx", 18, "left of 4"),
                (database(struct.pack("<i", -5), end=12), 8, "negative: -5"),
                (database(struct.pack("<i", 2**31 - 1), end=12), 8, "length is 2147483647"),
                (database(record(9, b"a")), 8, "not in 1..1"),
                (database(struct.pack("<i", 2) + b"xx"), 8, "too short for an id"),
                (bytes(broken), 20, "text is longer than the record")):
            status, _, err = self.dump(content, "--format", "db")
            self.assertEqual(status, 1, err)
            self.assert_one_line(err, f"damaged at offset {offset}: ", part)

    def test_damage_is_in_the_json_too(self):
        damage = self.objects("dump", "-", "--format", "db", given=EXAMPLE[:-1], status=1)[-1]
        self.assertEqual(damage["offset"], 37)
        self.assertIn("cut", damage["damage"])

    def test_bytes_behind_the_end_are_no_damage(self):
        status, out, err = self.dump(EXAMPLE + b"what a crash leaves")
        self.assertEqual((status, out), (0, EXAMPLE_LINES.replace("file 52", "file 71")))
        self.assert_one_line(err, "19 bytes from offset 52 on")
        self.assertEqual(self.dump(EXAMPLE + b"what a crash leaves", "--quiet")[2], "")

    def test_each_byte_of_the_file_may_be_anything(self):
        for place in range(29):
            for value in (0, 1, 9, 127, 128, 255):
                changed = bytearray(EXAMPLE)
                changed[place] = value
                status, out, err = self.dump(bytes(changed), "--format", "db")
                self.assertIn(status, (0, 1))
                self.assertEqual(status == 1, "damaged at offset" in err)
                self.assertTrue(out)

    def test_a_great_count_costs_nothing(self):
        status, out, err = self.dump(database(record(1, b"a"), count=2**31 - 1), "--format", "db")
        self.assertEqual((status, out.count("\n")), (1, 2))
        self.assert_one_line(err, "record 2 of 2147483647 is missing")


class JayDumpFiles(DumpCase):
    def test_what_cannot_be_read_is_told(self):
        self.assertIn("No such file", self.refuse("dump", "nothing"))
        self.assertIn("is a directory", self.refuse("dump", ".").lower())
        self.assertIn("is empty", self.refuse("dump", self.file("empty", b"")))
        self.assertIn("--help", self.refuse("dump"))
        self.assertIn("--format", self.refuse("dump", "--format", "xml", "x"))

    def test_a_file_that_may_not_be_read_is_told(self):
        name = self.file("secret", CAPTURE)
        (self.folder / name).chmod(0)
        self.folder.chmod(0o755)
        self.assertIn("Permission denied", self.refuse("dump", name, **self.as_somebody()))

    def test_what_looks_like_nothing_is_told(self):
        self.assertIn("--format", self.refuse("dump", "-", given=b"\xff" * 40))
        self.assertIn("hex", self.refuse("dump", "-", given=b"Dear reader,\n"))

    def test_a_name_is_shown_without_harm(self):
        self.assert_harmless(self.refuse("dump", "\x1b[2J"))

    def test_an_endless_input_is_refused(self):
        if "JAY_EMULATOR" in os.environ and os.environ["JAY_EMULATOR"]:
            self.skipTest("reads 256 MiB, which takes long under emulation")
        with open("/dev/zero", "rb") as zeros:
            process = self.start("jay", "dump", "-", stdin=zeros)
            self.assertEqual(process.wait(), 2)
        self.assert_one_line(process.err.text(), "larger than")

    def test_a_closed_pipe_ends_it_quietly(self):
        reading, writing = os.pipe()
        os.close(reading)
        done = self.jay("dump", "-", given=CAPTURE * 100, stdout=writing)
        os.close(writing)
        self.assertEqual(done, (0, "", ""))

    def test_a_full_output_is_told(self):
        with open("/dev/full", "wb") as full:
            status, _, err = self.jay("dump", "-", given=CAPTURE, stdout=full)
        self.assertEqual(status, 1)
        self.assert_one_line(err, "cannot write: No space left")


if __name__ == "__main__":
    main()
