"""jay listen: messages as they come."""
import base64
import json
import os
import signal
import time

from cases import BROADCAST, LIMIT, SYNC, TIMED, JayCase, Terminal, eventually, main, pack, pipe_is_full, state_of


class JayListen(JayCase):
    def test_a_line_shows_all_there_is_to_know(self):
        listener = self.listen(7)
        five = self.connect_attached(self.port, 5)
        five.send(7, b"hello", priority=3, section=2**32 - 4)
        self.assertEqual(self.shown(listener), ("5", "7", "none", "3", "-4", "21", "text hello"))
        five.send(7)
        self.assertEqual(self.shown(listener), ("5", "7", "none", "0", "0", "16", "empty"))

    def test_flags_are_shown_by_name(self):
        listener = self.listen(0)
        five = self.connect_attached(self.port, 5)
        for flag, name in ((SYNC, "sync"), (8, "8"), (SYNC | 64, "sync+64"), (TIMED, "none")):
            five.send(0, b"x", flag=flag, stamp=60000)
            self.assertEqual(self.shown(listener)[2], name)
        five.send(0, b"x", flag=BROADCAST)
        self.assertEqual(self.shown(listener)[2], "none")

    def test_what_could_harm_a_terminal_is_shown_in_hex(self):
        listener = self.listen(7)
        five = self.connect_attached(self.port, 5)
        for payload, shown in (
                (b"tab\there", "hex 74 61 62 09 68 65 72 65"),
                (b"\x1b[2J", "hex 1b 5b 32 4a"),
                (b"line\n", "hex 6c 69 6e 65 0a"),
                (b"\x00", "hex 00"),
                (b"\x7f", "hex 7f"),
                (b"\xc2\x9b", "hex c2 9b"),          # U+009B, which terminals take for ESC [
                (b"\xc0\xaf", "hex c0 af"),          # a slash, longer than need be
                (b"\xe0\x80\xaf", "hex e0 80 af"),
                (b"\xed\xa0\x80", "hex ed a0 80"),   # half a surrogate pair
                (b"\xf4\x90\x80\x80", "hex f4 90 80 80"),
                (b"\xe2\x82", "hex e2 82"),          # cut short
                (b"\xff\xfe", "hex ff fe"),
                (b"\xb0\xa1", "hex b0 a1"),          # a letter in EUC-KR
        ):
            five.send(7, payload)
            self.assertEqual(self.shown(listener)[6], shown)

    def test_text_in_any_script_is_shown_as_text(self):
        listener = self.listen(7)
        five = self.connect_attached(self.port, 5)
        for text in ("~ \"quoted\" 'too' \\", "안녕", "é\u00a0€", "\U0001d11e", "\uffff"):
            five.send(7, text.encode())
            self.assertEqual(self.shown(listener)[6], "text " + text)

    def test_the_longest_message_is_one_line(self):
        listener = self.listen(7)
        self.connect_attached(self.port, 5).send(7, bytes(65519))
        self.assertEqual(self.shown(listener)[5:], ("65535", "hex" + " 00" * 65519))

    def test_messages_come_in_the_order_of_their_arrival(self):
        listener = self.listen(7)
        five = self.connect_attached(self.port, 5)
        listener.send_signal(signal.SIGSTOP)  # so that they arrive in one piece
        eventually(lambda: state_of(listener) == "T")
        for section in range(60):
            five.send(7, b"x", priority=1 + section % 3, section=section)
            five.round_trip(priority=2)
        listener.send_signal(signal.SIGCONT)
        self.assertEqual([int(self.shown(listener)[4]) for _ in range(60)], list(range(60)))

    def test_it_ends_after_count_messages(self):
        listener = self.listen(7, "--count", "2")
        self.send("--id", "5", "--to", "7", "one")
        self.send("--id", "5", "--to", "7", "two")
        self.assertEqual(listener.wait(), 0)
        self.assertEqual([line[-8:] for line in listener.out.text().splitlines()], ["text one", "text two"])

    def test_messages_that_wait_in_the_server_are_printed(self):
        for i in range(3):
            self.send("--id", "5", "--to", "7", f"waited {i}")
        listener = self.listen(7, "--count", "3")
        self.assertEqual(listener.wait(), 0)
        self.assertEqual([line[-8:] for line in listener.out.text().splitlines()], [f"waited {i}" for i in range(3)])

    def test_a_time_without_messages_ends_it_with_status_1(self):
        self.assertEqual(self.jay("listen", "--id", "7", "--timeout", "200")[:2], (1, ""))
        self.assertEqual(self.jay("listen", "--id", "7", "--timeout", "0")[:2], (1, ""))

    def test_a_time_without_messages_ends_it_with_status_1_before_the_count_is_full(self):
        self.send("--id", "5", "--to", "7", "one")
        status, out, _ = self.jay("listen", "--id", "7", "--count", "2", "--timeout", "200")
        self.assertEqual((status, out.count("\n")), (1, 1))

    def test_with_a_time_and_no_count_one_message_is_enough(self):
        self.send("--id", "5", "--to", "7", "one")
        status, out, _ = self.jay("listen", "--id", "7", "--timeout", "200")
        self.assertEqual((status, out.count("\n")), (0, 1))

    def test_signals_end_it_with_status_128_and_their_number(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            listener = self.listen(7)
            self.assertEqual(listener.stop(number), 128 + number)

    def test_an_interrupt_before_the_count_is_full_is_status_130(self):
        self.assertEqual(self.listen(7, "--count", "1").stop(signal.SIGINT), 130)

    def test_an_interrupt_ends_a_write_that_nobody_reads(self):
        reading, writing = os.pipe()
        listener = self.listen(7, stdout=writing)
        os.close(writing)
        five = self.connect_attached(self.port, 5)
        for _ in range(10):
            five.send(7, b"x" * 60000)
        eventually(lambda: pipe_is_full(reading))
        self.assertEqual(listener.stop(signal.SIGINT), 130)
        os.close(reading)

    def test_a_lost_server_is_status_3(self):
        listener = self.listen(7)
        self.send("--id", "5", "--to", "7", "last words")
        self.assertEqual(self.shown(listener)[6], "text last words")
        self.server.kill()
        self.assertEqual(listener.wait(), 3)
        self.assertIn(f"jay: lost the connection to 127.0.0.1:{self.port}; ", listener.err.text())

    def test_it_ends_at_once_when_the_reader_of_its_output_goes(self):
        reading, writing = os.pipe()
        listener = self.listen(7, stdout=writing)
        os.close(writing)
        os.close(reading)
        self.assertEqual(listener.wait(), 0)
        self.server.err.wait_for("SA(7)>> disconnected!!!")
        self.send("--id", "5", "--to", "7", "kept")
        self.assertIn("text kept", self.jay("listen", "--id", "7", "--count", "1")[1])

    def test_an_output_that_is_full_is_told(self):
        with open("/dev/full", "wb") as full:
            listener = self.listen(7, stdout=full)
        self.send("--id", "5", "--to", "7", "hello")
        self.assertEqual(listener.wait(), 1)
        self.assertIn("cannot write: No space left on device", listener.err.text())

    def test_a_closed_standard_output_loses_no_message(self):
        self.send("--id", "5", "--to", "7", "hello")
        listener = self.start("jay", "listen", "--id", "7", "--port", self.port, stdout=None, preexec_fn=lambda: os.close(1))
        self.assertEqual(listener.wait(), 1)
        self.assertEqual(listener.err.text(), "jay: standard output is closed\n")
        self.assertIn("text hello", self.jay("listen", "--id", "7", "--count", "1")[1])

    def test_another_client_with_its_id_takes_its_place(self):
        listener = self.listen(7)
        self.connect_attached(self.port, 7)
        self.assertEqual(listener.wait(), 3)
        self.assertIn("lost the connection", listener.err.text())

    def test_the_question_of_an_earlier_run_is_not_printed(self):
        five = self.connect_attached(self.port, 5)
        five.send(7, b"x", priority=9)
        five.socket.sendall(pack(7, 7, b"jay: is anybody there? 1 2"))  # from a run that was killed
        five.round_trip(priority=9)
        self.assertEqual(self.listen(7, "--count", "1").out.next_line()[-6:], "text x")

    def test_the_debug_output_stays_off_unless_asked_for(self):
        self.assertEqual(self.listen(7).stop(signal.SIGINT), 130)
        self.listen(7, "--debug")


class JayListenView(JayCase):
    """The other ways in which messages are shown."""

    def test_json_is_one_object_per_line_and_holds_every_byte(self):
        listener = self.listen(7, "--json")
        five = self.connect_attached(self.port, 5)
        five.send(7, "안녕\n".encode(), priority=3, section=9)
        shown = json.loads(listener.out.next_line())
        self.assertLess(abs(shown.pop("time") - time.time() * 1000), 60000)
        self.assertEqual(base64.b64decode(shown.pop("base64")), "안녕\n".encode())
        stamp = shown.pop("timestamp")
        self.assertEqual((stamp, shown), (0, {"client": 7, "source": 5, "destination": 7, "flag": 0, "flags": [], "priority": 3,
                                              "section": 9, "length": 23, "text": "안녕\n"}))

    def test_json_has_no_text_where_there_is_none(self):
        listener = self.listen(7, "--json")
        five = self.connect_attached(self.port, 5)
        for payload in (b"\x1b[2J", b"\x7f", b"\xc2\x9b", b"\xff", b"\x00", bytes(range(256)), b"\xed\xa0\x80"):
            five.send(7, payload)
            line = listener.out.next_line()
            self.assertTrue(line.isprintable(), line)
            shown = json.loads(line)
            self.assertNotIn("text", shown)
            self.assertEqual(base64.b64decode(shown["base64"]), payload)

    def test_base64_is_that_of_everybody(self):
        listener = self.listen(7, "--json")
        five = self.connect_attached(self.port, 5)
        for size in range(8):
            payload = bytes(range(250, 250 - size, -1))
            five.send(7, payload)
            self.assertEqual(json.loads(listener.out.next_line())["base64"], base64.b64encode(payload).decode())

    def test_characters_that_change_the_order_of_others_do_not_reach_the_terminal(self):
        listener, as_json = self.listen(7), self.listen(8, "--json")
        five = self.connect_attached(self.port, 5)
        for character in "\u202e\u2066\u200f\u061c\u2028":
            payload = f"a{character}b".encode()
            for number in (7, 8):
                five.send(number, payload)
            self.assertEqual(self.shown(listener)[6], "hex " + payload.hex(" "))
            line = as_json.out.next_line()
            self.assertIn(f'"text":"a\\u{ord(character):04x}b"', line)
            self.assertEqual(json.loads(line)["text"], f"a{character}b")

    def test_a_long_payload_is_shortened_on_a_terminal_unless_full_is_given(self):
        for options, limit in (([], 600), (["--verbose"], 3600), (["--full"], None), (["--verbose", "--full"], None)):
            terminal = Terminal(80)
            listener = self.listen(7, "--count", "1", *options, stdout=terminal.slave)
            self.connect_attached(self.port, 5).send(7, b"x" * 60000)
            shown = terminal.read_all()
            self.assertEqual(listener.wait(), 0)
            self.assertEqual("(--full shows all 60000 bytes)" in shown, limit is not None, shown[-100:])
            self.assertLess(len(shown), limit or 1000000)
            self.assertGreater(len(shown), 400 if limit else 60000)
        listener = self.listen(7, "--count", "1")
        self.connect_attached(self.port, 5).send(7, b"x" * 60000)
        self.assertEqual(self.shown(listener)[6], "text " + "x" * 60000)

    def test_flags_are_named_in_json(self):
        listener = self.listen(0, "--json")
        self.connect_attached(self.port, 5).send(3, b"x", flag=SYNC | 64)
        shown = json.loads(listener.out.next_line())
        self.assertEqual((shown["flag"], shown["flags"], shown["client"], shown["destination"]), (65, ["sync"], 0, 3))

    def test_verbose_shows_all_of_the_header_and_a_hex_dump(self):
        listener = self.listen(7, "--verbose", "--count", "1")
        self.connect_attached(self.port, 5).send(7, b"hello\x1b", priority=3, section=9)
        self.assertEqual(listener.wait(), 0)
        text = listener.out.text()
        for part in ("for client 7\n", "length       22 (header 16, payload 6)\n", "destination  7\n", "source       5\n",
                     "flag         0 (none)\n", "priority     3\n", "time stamp   0\n", "section      9\n",
                     "00000000  68 65 6c 6c 6f 1b ", "|hello.|\n"):
            self.assertIn(part, text)

    def test_verbose_shows_a_message_without_payload(self):
        listener = self.listen(7, "--verbose", "--count", "1")
        self.connect_attached(self.port, 5).send(7)
        self.assertEqual(listener.wait(), 0)
        self.assertTrue(listener.out.text().endswith("payload      empty\n"), listener.out.text())

    def test_decode_shows_typed_items(self):
        listener, as_json = self.listen(7, "--decode"), self.listen(8, "--decode", "--json")
        for number in (7, 8):
            self.send("--id", "5", "--to", number, "--items", "str:hello", "var:300", "int:-2")
        self.assertEqual(self.shown(listener)[6], "items str:hello var:300 int:-2")
        self.assertEqual(json.loads(as_json.out.next_line())["items"],
                         [{"type": "str", "value": "hello"}, {"type": "var", "value": 300}, {"type": "int", "value": -2}])

    def test_korean_payloads_are_readable(self):
        listener = self.listen(7, "--encoding", "euc-kr")
        five = self.connect_attached(self.port, 5)
        for payload, shown in (("안녕 hi".encode("cp949"), "text 안녕 hi"),
                               (b"\xb0", "hex b0"),        # half a letter
                               (b"\xb0\x1b", "hex b0 1b"),  # no second half
                               (b"\xa1\xff", "hex a1 ff"),
                               (b"?", "text ?"),
                               (b"\x1b[2J", "hex 1b 5b 32 4a")):
            five.send(7, payload)
            self.assertEqual(self.shown(listener)[6], shown)

    def test_korean_strings_are_decoded_and_readable(self):
        listener = self.listen(7, "--encoding", "euc-kr", "--decode")
        self.send("--id", "5", "--to", "7", "--encoding", "euc-kr", "--items", "str:안녕하세요")
        self.assertEqual(self.shown(listener)[6], "items str:안녕하세요")

    def test_raw_takes_only_ascii_for_text(self):
        listener = self.listen(7, "--encoding", "raw")
        five = self.connect_attached(self.port, 5)
        for payload, shown in ((b"ascii", "text ascii"), ("é".encode(), "hex c3 a9")):
            five.send(7, payload)
            self.assertEqual(self.shown(listener)[6], shown)

    def test_quiet_says_nothing_but_the_messages(self):
        self.send("--id", "5", "--to", "7", "waits")
        status, out, err = self.jay("listen", "--id", "7", "--quiet", "--count", "1")
        self.assertEqual((status, out.count("\n"), err), (0, 1, ""))


class JayListenSeveral(JayCase):
    def start_listening(self, *arguments):
        process = self.start("jay", "listen", "--port", self.port, *arguments)
        self.assertEqual(process.err.next_line(), f"jay: listening as clients 5, 7 at 127.0.0.1:{self.port}")
        return process

    def test_several_ids_listen_at_once(self):
        for arguments in (["--id", "5,7"], ["--id", "5", "--id", "7"], ["--id", "5,7", "--id", "5"]):
            listener = self.start_listening(*arguments, "--json")
            for number in (7, 5, 7):
                self.send("--id", "9", "--to", number, "hello")
                self.assertEqual(json.loads(listener.out.next_line())["client"], number)
            self.assertEqual(listener.stop(signal.SIGINT), 130)

    def test_the_loss_of_one_of_them_is_status_3(self):
        listener = self.start_listening("--id", "5,7")
        self.connect_attached(self.port, 7)
        self.assertEqual(listener.wait(), 3)
        self.assertIn("lost the connection", listener.err.text())

    def test_an_id_in_the_list_that_is_none_is_refused(self):
        for ids in ("5,40", "5,x", "5;7"):
            status, out, err = self.jay("listen", "--id", ids)
            self.assertEqual((status, out), (2, ""))
            self.assert_one_line(err, "--id")


class JayListenTime(JayCase):
    def test_it_ends_when_its_time_is_over_whatever_comes(self):
        listener = self.listen(7, "--for", "500")
        five = self.connect_attached(self.port, 5)
        started = time.monotonic()
        while listener.is_running():
            five.send(7, b"x")
            time.sleep(0.01)  # the pace of the messages, not a wait for something
            self.assertLess(time.monotonic() - started, LIMIT)
        self.assertEqual(listener.wait(), 0)

    def test_nothing_in_that_time_is_status_1(self):
        self.assertEqual(self.jay("listen", "--id", "7", "--for", "100")[:2], (1, ""))

    def test_the_shorter_of_both_times_counts(self):
        for arguments in (["--for", "60000", "--timeout", "100"], ["--for", "100", "--timeout", "60000"]):
            self.assertEqual(self.jay("listen", "--id", "7", *arguments)[:2], (1, ""))


if __name__ == "__main__":
    main()
