"""jay send: messages from the command line, from files and from standard input."""
import base64
import json
import os
import signal
import tempfile
import time
from pathlib import Path

from cases import BROADCAST, LIMIT, SYNC, TIMED, JayCase, eventually, handles_interrupts, main, state_of


class JaySend(JayCase):
    def test_a_text_arrives_as_it_is(self):
        seven = self.connect_attached(self.port, 7)
        self.send("--id", "5", "--to", "7", "hello")
        m = seven.receive()
        self.assertEqual((m.length, m.src, m.dest, m.flag, m.priority, m.section, m.payload),
                         (21, 5, 7, 0, 0, 0, b"hello"))
        self.assertLess((int(time.time() * 1000) - m.stamp) % 2**31, 1000 * LIMIT)

    def test_priority_and_section_travel_along(self):
        seven = self.connect_attached(self.port, 7)
        self.send("--id", "5", "--to", "7", "--priority", "255", "--section", "-2", "hello")
        m = seven.receive()
        self.assertEqual((m.priority, m.section), (255, 2**32 - 2))
        for section in ("4294967294", "0xfffffffe"):
            self.send("--id", "5", "--to", "7", "--section", section, "hello")
            self.assertEqual(seven.receive().section, 2**32 - 2)

    def test_an_empty_text_is_a_message_without_payload(self):
        seven = self.connect_attached(self.port, 7)
        self.send("--id", "5", "--to", "7", "")
        self.assertEqual(seven.receive().length, 16)

    def test_the_longest_text_arrives(self):
        seven = self.connect_attached(self.port, 7)
        self.send("--id", "5", "--to", "7", "x" * 65519)
        self.assertEqual(seven.receive().payload, b"x" * 65519)

    def test_a_text_may_look_like_an_option_or_a_command(self):
        seven = self.connect_attached(self.port, 7)
        for text in ("--id", "-1"):
            self.send("--id", "5", "--to", "7", "--", text)
            self.assertEqual(seven.receive().payload, text.encode())
        self.send("--id", "5", "--to", "7", "listen")
        self.assertEqual(seven.receive().payload, b"listen")

    def test_a_sync_message_goes_to_client_0(self):
        zero = self.connect_attached(self.port, 0)
        self.send("--id", "5", "--sync", "--to", "7", "look")
        m = zero.receive()
        self.assertEqual((m.flag, m.dest, m.payload), (SYNC, 7, b"look"))
        self.send("--id", "5", "--sync", "look")
        self.assertEqual(zero.receive().dest, 0)

    def test_a_broadcast_goes_to_all_others(self):
        others = [self.connect_attached(self.port, number) for number in (0, 7, 31)]
        self.send("--id", "5", "--broadcast", "all")
        for other in others:
            m = other.receive()
            self.assertEqual((m.flag, m.src, m.dest, m.payload), (0, 5, other.number, b"all"))

    def test_an_unanswered_timed_message_is_reported_to_client_0(self):
        zero, seven = self.connect_attached(self.port, 0), self.connect_attached(self.port, 7)
        self.send("--id", "5", "--to", "7", "--timed", "300", "answer")
        m = seven.receive()
        self.assertEqual((m.flag, m.payload), (0, b"answer"))
        m = zero.receive()
        self.assertEqual((m.flag, m.src, m.dest), (SYNC, 7, 7))

    def test_the_server_has_the_message_when_it_ends(self):
        texts = [f"message {i} " + "x" * 60000 for i in range(5)]
        for text in texts:
            self.send("--id", "5", "--to", "7", "--priority", "9", text)
        seven = self.connect(self.port, 7)
        self.assertEqual([seven.receive().payload.decode() for _ in texts], texts)

    def test_it_says_when_it_took_messages_away_from_its_id(self):
        seven = self.connect_attached(self.port, 7)
        for _ in range(3):
            seven.send(5, b"waits")
        seven.round_trip()
        status, out, err = self.jay("send", "--id", "5", "--to", "7", "hello")
        self.assertEqual((status, out), (0, ""))
        self.assert_one_line(err, "3 messages for client 5 came meanwhile and are lost")

    def test_an_interrupt_before_the_message_is_confirmed_is_told(self):
        self.server.send_signal(signal.SIGSTOP)
        eventually(lambda: state_of(self.server) == "T")
        process = self.start("jay", "send", "--id", "5", "--to", "7", "--port", self.port, "hello")
        eventually(lambda: handles_interrupts(process))
        self.assertEqual(process.stop(signal.SIGINT), 130)
        self.assert_one_line(process.err.text(), "interrupted")
        self.server.send_signal(signal.SIGCONT)


class JaySendPayload(JayCase):
    """What the payload can be written as, and where it can come from."""

    def setUp(self):
        super().setUp()
        self.seven = self.connect_attached(self.port, 7)

    def arrives(self, *arguments):
        self.send("--id", "5", "--to", "7", *arguments)
        return self.seven.receive().payload

    def refused(self, *arguments):
        """What is told; nothing is sent, and nobody loses the id."""
        five = self.connect_attached(self.port, 5)
        status, out, err = self.jay("send", "--id", "5", "--to", "7", *arguments)
        self.assertEqual((status, out), (2, ""), err)
        self.assert_one_line(err, "jay: ")
        five.round_trip()
        return err

    def file(self, content):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        path = Path(folder.name) / "payload"
        path.write_bytes(content)
        return path

    def test_hex_digits_arrive_as_bytes(self):
        self.assertEqual(self.arrives("--hex", "00 0a", "ff"), b"\x00\x0a\xff")

    def test_typed_items_arrive_in_the_compact_encoding(self):
        self.assertEqual(self.arrives("--items", "int:-2", "str:a b", "var:300", "word:7", "byte:1"),
                         b"\xfe\xff\xff\xff" + b"\x03a b" + b"\xfe\x2c\x01" + b"\x07\x00" + b"\x01")

    def test_a_file_arrives_byte_for_byte(self):
        content = bytes(range(256)) * 255
        self.assertEqual(self.arrives("--file", self.file(content)), content)

    def test_standard_input_is_one_payload_when_it_is_the_file(self):
        process = self.start("jay", "send", "--port", self.port, "--id", "5", "--to", "7", "--file", "-")
        process.write_line("one\ntwo\0")
        process.close_input()
        self.assertEqual(process.wait(), 0)
        self.assertEqual(self.seven.receive().payload, b"one\ntwo\0\n")

    def test_a_file_may_hold_hex_or_items(self):
        self.assertEqual(self.arrives("--hex", "--file", self.file(b"0102 # two\n03\n")), b"\x01\x02\x03")
        self.assertEqual(self.arrives("--items", "--file", self.file(b"byte:1\nstr:x\n")), b"\x01\x01x")

    def test_korean_text_is_sent_in_the_korean_code(self):
        self.assertEqual(self.arrives("--encoding", "euc-kr", "안녕 hi"), "안녕 hi".encode("cp949"))
        self.assertEqual(self.arrives("--encoding", "euc-kr", "--items", "str:가"), b"\x02\xb0\xa1")

    def test_text_that_the_korean_code_lacks_is_refused(self):
        self.assertIn("EUC-KR", self.refused("--encoding", "euc-kr", "\U0001d11e"))

    def test_broken_hex_is_refused_with_its_place(self):
        self.assertIn("column 5", self.refused("--hex", "0102zz"))
        self.refused("--hex", "012")

    def test_broken_items_are_refused(self):
        for item in ("int:abc", "int:99999999999", "byte:256", "frob:1", "abc"):
            self.refused("--items", item)

    def test_files_that_cannot_be_read_or_sent_are_named(self):
        self.assertIn("nowhere/file", self.refused("--file", "nowhere/file"))
        self.assertIn("Is a directory", self.refused("--file", "/"))
        long = self.file(bytes(65520))
        self.assertIn("65519", self.refused("--file", long))
        self.assertIn("65519", self.refused("--hex", "--file", self.file(b"00" * 65520)))
        self.assertIn("65519", self.refused("--file", "/dev/zero"))

    def test_one_payload_only(self):
        for arguments in (["--hex", "--items", "00"], ["--file", "x", "text"], ["--file", "x", "--", "-"], []):
            self.assertIn("--help", self.refused(*arguments))

    def test_every_header_field_can_be_set(self):
        self.send("--id", "5", "--to", "7", "--flags", "8", "--source", "3", "--priority", "2", "--section", "9", "x")
        m = self.seven.receive()
        self.assertEqual((m.src, m.dest, m.flag, m.priority, m.section), (3, 7, 8, 2, 9))

    def test_raw_flags_count_as_the_named_ones(self):
        zero = self.connect_attached(self.port, 0)
        self.send("--id", "5", "--flags", str(SYNC), "x")
        self.assertEqual(zero.receive().flag, SYNC)
        self.send("--id", "5", "--flags", str(BROADCAST), "x")
        self.assertEqual((zero.receive().dest, self.seven.receive().dest), (0, 7))
        self.send("--id", "5", "--to", "7", "--flags", str(TIMED), "--timestamp", "200", "x")
        m = zero.receive()  # nobody answers
        self.assertEqual((m.flag, m.src, m.dest), (SYNC, 7, 7))

    def test_a_time_stamp_that_would_not_be_kept_is_refused(self):
        self.assertIn("--timestamp", self.refused("--timestamp", "5", "x"))
        self.assertIn("--timestamp", self.refused("--timed", "5", "--timestamp", "5", "x"))

    def test_json_shows_what_was_sent(self):
        status, out, err = self.jay("send", "--id", "5", "--to", "7", "--section", "9", "--json", "hello")
        self.assertEqual((status, err), (0, ""))
        sent, m = json.loads(out), self.seven.receive()
        self.assertEqual((sent["source"], sent["destination"], sent["section"], sent["length"], sent["text"]), (5, 7, 9, 21, "hello"))
        self.assertEqual((base64.b64decode(sent["base64"]), sent["timestamp"]), (b"hello", m.stamp))


class JaySendInput(JayCase):
    """A message for each line of standard input."""

    def setUp(self):
        super().setUp()
        self.seven = self.connect_attached(self.port, 7)

    def start_sending(self, *arguments, **options):
        return self.start("jay", "send", "--id", "5", "--to", "7", "--port", self.port, *arguments, "-", **options)

    def test_each_line_arrives_as_soon_as_it_is_there(self):
        sender = self.start_sending()
        for line in ("one", "", "안녕"):
            sender.write_line(line)
            self.assertEqual(self.seven.receive().payload, line.encode())
        sender.close_input()
        self.assertEqual((sender.wait(), sender.err.text()), (0, ""))

    def test_a_last_line_needs_no_end(self):
        reading, writing = os.pipe()
        sender = self.start_sending_from(reading)
        os.write(writing, b"one\ntwo")
        os.close(writing)
        self.assertEqual(sender.wait(), 0)
        self.assertEqual([self.seven.receive().payload for _ in range(2)], [b"one", b"two"])

    def start_sending_from(self, reading):
        sender = self.start("jay", "send", "--id", "5", "--to", "7", "--port", self.port, "-", stdin=reading)
        os.close(reading)
        return sender

    def test_lines_may_be_hex_or_items(self):
        for option, line in (("--hex", "01 78"), ("--items", "str:x")):
            sender = self.start_sending(option)
            sender.write_line(line)
            sender.close_input()
            self.assertEqual(sender.wait(), 0)
            self.assertEqual(self.seven.receive().payload, b"\x01x")

    def test_a_wrong_line_is_told_and_those_before_it_arrive(self):
        sender = self.start_sending("--hex")
        sender.write_line("01")
        sender.write_line("0x")
        self.assertEqual(sender.wait(), 2)
        self.assert_one_line(sender.err.text(), "line 2", "the one before it was sent")
        self.assertEqual(self.seven.receive().payload, b"\x01")

    def test_no_line_is_no_message(self):
        sender = self.start_sending()
        sender.close_input()
        self.assertEqual(sender.wait(), 0)

    def test_a_closed_standard_input_is_not_an_empty_one(self):
        sender = self.start_sending(stdin=None, preexec_fn=lambda: os.close(0))
        self.assertEqual(sender.wait(), 1)
        self.assert_one_line(sender.err.text(), "cannot read standard input: Bad file descriptor")

    def test_an_interrupt_ends_the_wait_for_a_line(self):
        sender = self.start_sending()
        sender.write_line("one")
        self.seven.receive()
        self.assertEqual(sender.stop(signal.SIGINT), 130)
        self.assert_one_line(sender.err.text(), "interrupted")

    def test_a_lost_server_ends_the_wait_for_a_line(self):
        sender = self.start_sending()
        sender.write_line("one")
        self.seven.receive()
        self.server.kill()
        self.assertEqual(sender.wait(), 3)
        self.assert_one_line(sender.err.text(), "lost the connection to")


if __name__ == "__main__":
    main()
