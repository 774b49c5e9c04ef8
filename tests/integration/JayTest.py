"""jay: what all its commands have in common."""
import contextlib
import os
import socket
import threading
import time

from cases import SLOWNESS, Case, main


class JayCommandLine(Case):
    def refuse(self, *arguments):
        status, out, err = self.run_program("jay", *arguments)
        self.assertEqual((status, out), (2, ""), err)
        self.assert_one_line(err, "jay: ", "--help")
        return err

    def test_help_goes_to_standard_output_and_shows_examples(self):
        for arguments in (["--help"], *([command, "--help"] for command in ("listen", "send", "request", "ping", "echo", "bench"))):
            status, out, err = self.run_program("jay", *arguments)
            self.assertEqual((status, err), (0, ""))
            for part in ("Usage: jay", "examples:", "exit status"):
                self.assertIn(part, out)

    def test_version_goes_to_standard_output(self):
        status, out, err = self.run_program("jay", "--version")
        self.assertEqual((status, err), (0, ""))
        self.assertRegex(out, r"^jay \d+\.\d+\.\d+\n$")

    def test_help_that_cannot_be_written_is_told(self):
        for arguments in (["--help"], ["--version"], ["send", "--help"]):
            with open("/dev/full", "wb") as full:
                process = self.start("jay", *arguments, stdout=full)
            self.assertEqual(process.wait(), 1)
            self.assert_one_line(process.err.text(), "cannot write", "No space left")

    def test_a_command_is_wanted(self):
        self.assertIn("command", self.refuse())

    def test_an_unknown_command_is_named_and_the_nearest_one_suggested(self):
        self.assertIn("no command 'frobnicate' (commands: listen, send, ", self.refuse("frobnicate"))
        self.assertIn("no command 'sned'; did you mean 'send'?", self.refuse("sned", "--id", "5", "--to", "7", "hello"))
        self.assertIn("no command 'rm' (commands: list, get, add, set)", self.refuse("db", "rm", "notes.db", "3"))
        self.assertIn("no command 'lits'; did you mean 'list'?; 'jay db --help'", self.refuse("db", "lits", "notes.db"))

    def test_an_unknown_option_is_named_and_the_nearest_one_suggested(self):
        self.assertIn("no option '--nonsense';", self.refuse("listen", "--id", "7", "--nonsense"))
        self.assertIn("no option '--prot'; did you mean '--port'?", self.refuse("listen", "--id", "7", "--prot", "5"))
        self.assertIn("'5' was not expected", self.refuse("listen", "--id", "7", "5"))

    def test_an_id_outside_0_to_31_is_refused(self):
        for number in ("32", "40", "-1", "seven", ""):
            self.assertIn("--id", self.refuse("listen", "--id", number))
            self.assertIn("--id", self.refuse("send", "--id", number, "--to", "7", "hello"))
            self.assertIn("--to", self.refuse("send", "--id", "7", "--to", number, "hello"))

    def test_an_id_is_wanted_where_messages_are_received(self):
        for command in ("listen", "echo"):
            self.assertIn("--id", self.refuse(command))

    def test_a_broadcast_has_no_destination(self):
        self.assertIn("--broadcast excludes --to", self.refuse("send", "--broadcast", "--to", "7", "hello"))

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
        for option, value in (("--priority", "256"), ("--priority", "-1"), ("--timed", "0"), ("--section", "4294967296"), ("--section", "-2147483649")):
            self.assertIn(option, self.refuse("send", "--id", "5", "--to", "7", option, value, "hello"))
        for option, value in (("--count", "0"), ("--timeout", "-1")):
            self.assertIn(option, self.refuse("listen", "--id", "5", option, value))
        self.assertIn("--count: '0' is not a number from 1 to 2147483647", self.refuse("ping", "--id", "5", "--to", "7", "--count", "0"))
        self.assertIn("--id: '' is not a number from 0 to 31", self.refuse("ping", "--id", "", "--to", "7"))

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
        for arguments in (["listen", "--id", "7"], ["send", "--id", "5", "--to", "7", "hello"],
                          ["send", "--id", "5", "--to", "7", "-"], ["request", "--id", "5", "--to", "7", "hello"],
                          ["ping", "--id", "5", "--to", "7"], ["echo", "--id", "7"], ["bench"]):
            self.assertEqual(self.no_server(port, *arguments), expected)

    def test_a_server_of_another_kind_is_given_up_after_the_timeout(self):
        with socket.create_server(("127.0.0.1", self.closed_port())) as other:
            port = other.getsockname()[1]
            err = self.no_server(port, "send", "--id", "5", "--to", "7", "--timeout", "100", "hello")
            self.assert_one_line(err, f"no answer from 127.0.0.1:{port} within 100 ms")
            err = self.no_server(port, "listen", "--id", "7", "--timeout", "100")  # a server is given some seconds
            self.assert_one_line(err, f"no answer from 127.0.0.1:{port} within 2000 ms")

    def test_a_server_of_another_kind_that_never_stops_talking_is_told(self):
        def talk(listener):
            with contextlib.suppress(OSError), listener.accept()[0] as connection:
                while True:
                    connection.sendall(b"the quick brown fox jumps over the lazy dog\r\n" * 100)

        with socket.create_server(("127.0.0.1", self.closed_port())) as other:
            port = other.getsockname()[1]
            for arguments in (["listen", "--id", "7"], ["listen", "--id", "0"], ["send", "--id", "5", "--to", "7", "hello"]):
                talker = threading.Thread(target=talk, args=[other], daemon=True)
                talker.start()
                self.assert_one_line(self.no_server(port, *arguments),
                                     f"what answers at 127.0.0.1:{port} is not a bus server")
                talker.join()

    def test_a_host_without_an_address_is_told(self):
        err = self.no_server(7000, "listen", "--id", "7", "--host", "256.256.256.256")
        self.assert_one_line(err, "cannot find the host '256.256.256.256': ")

    def test_a_closed_standard_output_is_told_before_anything_is_done(self):
        for arguments in (["listen", "--id", "7"], ["request", "--to", "7", "x"], ["ping", "--to", "7"], ["bench"], ["send", "--to", "7", "--json", "x"]):
            process = self.start("jay", *arguments, stdout=None, preexec_fn=lambda: os.close(1))
            self.assertEqual(process.wait(), 1)
            self.assertEqual(process.err.text(), "jay: standard output is closed\n")

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


if __name__ == "__main__":
    main()
