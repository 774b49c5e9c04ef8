"""jay: being a client from the command line."""
import fcntl
import os
import re
import signal
import socket
import struct
import termios
import threading
import time

from cases import BROADCAST, LIMIT, SLOWNESS, SYNC, TIMED, Case, eventually, main, pack, state_of

LINE = re.compile(r"^\d\d:\d\d:\d\d\.\d{3}  (\d+) -> (\d+)  flag (\S+)  priority (\d+)  section (-?\d+)  "
                  r"length (\d+)  (.*)$")


class JayCase(Case):
    def setUp(self):
        super().setUp()
        self.server, self.port = self.start_server()

    def jay(self, command, *arguments, **options):
        return self.run_program("jay", command, "--port", self.port, *arguments, **options)

    def send(self, *arguments):
        """Sends, which is done without a word."""
        self.assertEqual(self.jay("send", *arguments), (0, "", ""))

    def listen(self, number, *arguments, **options):
        """A listener that the server has attached."""
        process = self.start("jay", "listen", "--id", number, "--port", self.port, *arguments, **options)
        self.assertEqual(process.err.next_line(), f"jay: listening as client {number} at 127.0.0.1:{self.port}")
        return process

    def shown(self, listener):
        """What the next line shows: source, destination, flag, priority, section, length, payload."""
        line = listener.out.next_line()
        match = LINE.match(line or "")
        self.assertTrue(match, line)
        return match.groups()


class JayCommandLine(Case):
    def refuse(self, *arguments):
        status, out, err = self.run_program("jay", *arguments)
        self.assertEqual((status, out), (2, ""), err)
        self.assert_one_line(err, "jay: ", "--help")
        return err

    def test_help_goes_to_standard_output_and_shows_examples(self):
        for arguments in (["--help"], ["listen", "--help"], ["send", "--help"]):
            status, out, err = self.run_program("jay", *arguments)
            self.assertEqual((status, err), (0, ""))
            for part in ("Usage: jay", "examples:", "exit status"):
                self.assertIn(part, out)

    def test_version_goes_to_standard_output(self):
        status, out, err = self.run_program("jay", "--version")
        self.assertEqual((status, err), (0, ""))
        self.assertRegex(out, r"^jay \d+\.\d+\.\d+\n$")

    def test_a_command_is_wanted(self):
        self.assertIn("command", self.refuse())

    def test_an_unknown_command_is_named(self):
        self.assertIn("frobnicate", self.refuse("frobnicate"))

    def test_an_unknown_option_is_named(self):
        self.assertIn("--nonsense", self.refuse("listen", "--id", "7", "--nonsense"))

    def test_an_id_outside_0_to_31_is_refused(self):
        for number in ("32", "40", "-1", "seven", ""):
            self.assertIn("--id", self.refuse("listen", "--id", number))
            self.assertIn("--id", self.refuse("send", "--id", number, "--to", "7", "hello"))
            self.assertIn("--to", self.refuse("send", "--id", "7", "--to", number, "hello"))

    def test_an_id_is_wanted(self):
        self.assertIn("--id", self.refuse("listen"))
        self.assertIn("--id", self.refuse("send", "--to", "7", "hello"))

    def test_a_port_outside_1_to_65535_is_refused(self):
        for port in ("0", "65536", "abc"):
            self.assertIn("--port", self.refuse("listen", "--id", "7", "--port", port))

    def test_a_text_is_wanted(self):
        self.assertIn("TEXT", self.refuse("send", "--id", "5", "--to", "7"))

    def test_one_text_only(self):
        self.assertIn("world", self.refuse("send", "--id", "5", "--to", "7", "hello", "world"))

    def test_somebody_to_send_to_is_wanted(self):
        self.assertIn("--to", self.refuse("send", "--id", "5", "hello"))

    def test_a_broadcast_cannot_be_timed(self):
        self.assertIn("--timed", self.refuse("send", "--id", "5", "--broadcast", "--timed", "100", "hello"))

    def test_numbers_that_do_not_fit_are_refused(self):
        for option, value in (("--priority", "256"), ("--priority", "-1"), ("--timed", "0"), ("--section", "2147483648")):
            self.assertIn(option, self.refuse("send", "--id", "5", "--to", "7", option, value, "hello"))
        for option, value in (("--count", "0"), ("--timeout", "-1")):
            self.assertIn(option, self.refuse("listen", "--id", "5", option, value))

    def test_a_text_longer_than_a_message_is_refused(self):
        status, out, err = self.run_program("jay", "send", "--id", "5", "--to", "7", "x" * 65520)
        self.assertEqual((status, out), (2, ""))
        self.assert_one_line(err, "longer than the 65519 bytes")


class JayWithoutServer(Case):
    def no_server(self, port, *arguments):
        status, out, err = self.run_program("jay", *arguments, "--port", port)
        self.assertEqual((status, out), (3, ""))
        return err

    def test_a_closed_port_is_told(self):
        port = self.closed_port()
        expected = f"jay: cannot reach a bus server at 127.0.0.1:{port}; is jayd running?\n"
        self.assertEqual(self.no_server(port, "listen", "--id", "7"), expected)
        self.assertEqual(self.no_server(port, "send", "--id", "5", "--to", "7", "hello"), expected)

    def test_a_host_without_an_address_is_told(self):
        err = self.no_server(7000, "listen", "--id", "7", "--host", "256.256.256.256")
        self.assert_one_line(err, "cannot reach a bus server at 256.256.256.256:7000")

    def test_a_server_that_hangs_up_is_told(self):
        with socket.create_server(("127.0.0.1", self.closed_port())) as other:
            threading.Thread(target=lambda: other.accept()[0].close(), daemon=True).start()
            self.assert_one_line(self.no_server(other.getsockname()[1], "listen", "--id", "7"), "cannot reach")


class JayWithoutServerSlow(Case):
    def test_a_server_of_another_kind_is_given_up_after_ten_seconds(self):
        with socket.create_server(("127.0.0.1", self.closed_port())) as other:
            port = other.getsockname()[1]
            started = time.monotonic()
            processes = [self.start("jay", "listen", "--id", "7", "--port", port),
                         self.start("jay", "send", "--id", "5", "--to", "7", "--port", port, "hello")]
            for process in processes:
                self.assertEqual(process.wait(15 * SLOWNESS), 3)
                self.assertGreaterEqual(time.monotonic() - started, 9.9)
                self.assert_one_line(process.err.text(), f"no answer from 127.0.0.1:{port}")


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
        self.assert_one_line(err, "3 message(s) for client 5")

    def test_an_interrupt_before_the_message_is_confirmed_is_told(self):
        self.server.send_signal(signal.SIGSTOP)
        eventually(lambda: state_of(self.server) == "T")
        process = self.start("jay", "send", "--id", "5", "--to", "7", "--port", self.port, "hello")
        eventually(lambda: handles_interrupts(process))
        self.assertEqual(process.stop(signal.SIGINT), 1)
        self.assert_one_line(process.err.text(), "interrupted")
        self.server.send_signal(signal.SIGCONT)


def handles_interrupts(process):
    """Whether the process has a handler of its own for SIGINT."""
    with open(f"/proc/{process.pid}/status", encoding="ascii") as status:
        caught = next(line for line in status if line.startswith("SigCgt:"))
    return int(caught.split()[1], 16) & 1 << (signal.SIGINT - 1) != 0


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

    def test_signals_end_it_with_status_0(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            listener = self.listen(7)
            self.assertEqual(listener.stop(number), 0)

    def test_an_interrupt_before_the_count_is_full_is_status_1(self):
        self.assertEqual(self.listen(7, "--count", "1").stop(signal.SIGINT), 1)

    def test_an_interrupt_ends_a_write_that_nobody_reads(self):
        reading, writing = os.pipe()
        listener = self.listen(7, stdout=writing)
        os.close(writing)
        five = self.connect_attached(self.port, 5)
        for _ in range(10):
            five.send(7, b"x" * 60000)
        eventually(lambda: pipe_is_full(reading))
        self.assertEqual(listener.stop(signal.SIGINT), 1)
        os.close(reading)

    def test_a_lost_server_is_status_3(self):
        listener = self.listen(7)
        self.send("--id", "5", "--to", "7", "last words")
        self.assertEqual(self.shown(listener)[6], "text last words")
        self.server.kill()
        self.assertEqual(listener.wait(), 3)
        self.assertIn(f"jay: lost the bus server at 127.0.0.1:{self.port}; ", listener.err.text())

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

    def test_a_closed_standard_output_is_never_taken_for_the_connection(self):
        listener = self.listen(7, "--count", "1", stdout=None, preexec_fn=lambda: os.close(1))
        self.send("--id", "5", "--to", "7", "hello")
        self.assertEqual(listener.wait(), 0)

    def test_another_client_with_its_id_takes_its_place(self):
        listener = self.listen(7)
        self.connect_attached(self.port, 7)
        self.assertEqual(listener.wait(), 3)
        self.assertIn("lost the bus server", listener.err.text())

    def test_the_question_of_an_earlier_run_is_not_printed(self):
        five = self.connect_attached(self.port, 5)
        five.send(7, b"x", priority=9)
        five.socket.sendall(pack(7, 7, b"jay: is anybody there? 1 2"))  # from a run that was killed
        five.round_trip(priority=9)
        self.assertEqual(self.listen(7, "--count", "1").out.next_line()[-6:], "text x")

    def test_the_debug_output_stays_off_unless_asked_for(self):
        self.assertEqual(self.listen(7).stop(signal.SIGINT), 0)
        self.listen(7, "--debug")


def pipe_is_full(reading):
    waiting = struct.unpack("i", fcntl.ioctl(reading, termios.FIONREAD, bytes(4)))[0]
    return waiting >= fcntl.fcntl(reading, 1032) - 4096  # F_GETPIPE_SZ; a page may be partly filled


if __name__ == "__main__":
    main()
