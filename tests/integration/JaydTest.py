"""jayd: its options, its errors, and its end."""
import os
import signal
import socket
import time
import unittest
from pathlib import Path

from cases import BUILD_DIR, STOP_LIMIT, Case, eventually, main, tcp_connections

WITHOUT_THREADS = "some threads did not end in time"


class JaydOptions(Case):
    def refuse(self, *arguments):
        status, out, err = self.run_program("jayd", *arguments)
        self.assertEqual(status, 2, err)
        self.assertEqual(out, "")
        self.assert_one_line(err, "jayd: ", "--help")
        return err

    def test_help_goes_to_standard_output_and_shows_examples(self):
        for option in ("--help", "-h"):
            status, out, err = self.run_program("jayd", option)
            self.assertEqual((status, err), (0, ""))
            for part in ("usage: jayd", "--port", "--quiet", "examples:", "jay listen"):
                self.assertIn(part, out)

    def test_version_goes_to_standard_output(self):
        status, out, err = self.run_program("jayd", "--version")
        self.assertEqual((status, err), (0, ""))
        self.assertRegex(out, r"^jayd \d+\.\d+\.\d+\n$")

    def test_help_that_cannot_be_written_is_a_failure(self):
        with open("/dev/full", "wb") as full:
            process = self.start("jayd", "--help", stdout=full)
        self.assertEqual(process.wait(), 1)
        self.assert_one_line(process.err.text(), "cannot write", "No space left")

    def test_a_port_outside_1_to_65535_is_refused(self):
        for port in ("0", "65536", "-1", "99999999999999999999"):
            self.assertIn(f"'{port}'", self.refuse("--port", port))

    def test_a_port_that_is_no_number_is_refused(self):
        for port in ("abc", "", "80x", " 80", "+80", "0x50"):
            self.assertIn(f"'{port}'", self.refuse("--port", port))
        self.assertIn("'abc'", self.refuse("--port=abc"))
        self.assertIn("'abc'", self.refuse("-pabc"))

    def test_an_option_without_its_value_is_refused(self):
        self.assertIn("'--port'", self.refuse("--port"))
        self.assertIn("'-p'", self.refuse("-p"))

    def test_an_unknown_option_is_refused(self):
        self.assertIn("'--nonsense'", self.refuse("--nonsense"))
        self.assertIn("'-x'", self.refuse("-x"))

    def test_an_option_that_takes_no_value_is_named_as_it_was_given(self):
        for argument in ("--quiet=3", "--help=me", "--local-only=yes"):
            self.assertIn(f"'{argument}'", self.refuse(argument))

    def test_what_could_harm_a_terminal_is_escaped_in_errors(self):
        for arguments in (["--bad\x1b[31m\n"], ["\x1b"], ["--port", "80\n"], ["--port", b"\xff\x9b"], ["-\x01"]):
            self.assertRegex(self.refuse(*arguments), r"\\x[0-9a-f]{2}")
        for option in ("--log", "--pid-file"):
            status, _, err = self.run_program("jayd", option, "/nowhere/\x1b[31m\n")
            self.assertEqual(status, 1)
            self.assert_one_line(err, "/nowhere/\\x1b[31m\\x0a")

    def test_an_argument_that_is_no_option_is_refused(self):
        self.assertIn("'7000'", self.refuse("7000"))

    def test_each_message_is_told_on_standard_error(self):
        server, port = self.start_server()
        self.connect(port, 5).round_trip()
        # Two threads tell these; either may come first.
        awaited = {"CM>> CA(5) connected OK!!!", "SM>> q0(0) : 5 <-- 5"}
        while awaited:
            line = server.err.next_line()
            self.assertIsNotNone(line, awaited)
            awaited.discard(line)

    def test_quiet_tells_nothing_but_that_it_listens(self):
        server, port = self.start_server("--quiet")
        self.connect(port, 5).round_trip()
        self.assertEqual(server.stop(), 0)
        self.assertEqual(server.err.text(), f"jayd: listening on port {port}\n")
        self.assertEqual(server.out.text(), "")


class JaydStart(Case):
    def test_a_port_that_another_jayd_has_is_told_in_one_line(self):
        _, port = self.start_server()
        status, out, err = self.run_program("jayd", "--port", port)
        self.assertEqual((status, out), (1, ""))
        self.assert_one_line(err, f"jayd: port {port} is in use", "--port")
        self.connect(port, 5).round_trip()  # the first one has not noticed

    def test_a_port_that_another_program_has_on_one_address_is_in_use(self):
        port = self.closed_port()
        with socket.socket() as other:
            other.bind(("127.0.0.1", port))
            other.listen()
            status, _, err = self.run_program("jayd", "--port", port)
        self.assertEqual(status, 1)
        self.assert_one_line(err, "is in use")

    def test_a_port_that_needs_privileges_is_told_in_one_line(self):
        if int(Path("/proc/sys/net/ipv4/ip_unprivileged_port_start").read_text()) < 2:
            self.skipTest("every user may listen on every port of this machine")
        options = {"user": 65534, "group": 65534} if os.getuid() == 0 else {}
        try:
            status = self.run_program("jayd", "--version", **options)[0]
        except OSError:
            status = -1
        if status != 0:
            self.skipTest(f"only root may start the programs in {BUILD_DIR}")
        status, _, err = self.run_program("jayd", "--port", "1", **options)
        self.assertEqual(status, 1)
        self.assert_one_line(err, "not allowed", "port 1", "--port")

    def test_a_port_can_be_had_again_at_once_after_a_kill(self):
        server, port = self.start_server()
        clients = [self.connect_attached(port, number) for number in (0, 5, 7)]
        server.kill()
        again = self.start("jayd", "--port", port)
        again.err.wait_for(f"listening on port {port}")
        self.connect(port, 5).round_trip()
        self.assertEqual(clients[0].receive_all(), b"")

    def test_closed_standard_descriptors_are_never_taken_for_a_connection(self):
        def close_all():
            for descriptor in (0, 1, 2):
                os.close(descriptor)

        port = self.closed_port()
        server = self.start("jayd", "--port", port, stdin=None, stdout=None, stderr=None, preexec_fn=close_all)
        eventually(lambda: self.can_connect(port) or not server.is_running())
        client = self.connect_attached(port, 5)
        client.send(5, b"hello")
        self.assertEqual(client.receive().payload, b"hello")
        self.assertEqual(server.stop(), 0)
        self.assertEqual(client.receive_all(), b"")  # no line of the debug output

    @staticmethod
    def can_connect(port):
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", port)) == 0


class JaydEnd(Case):
    def end(self, server, number=signal.SIGTERM):
        """It ends, well and in time, and in order if anybody reads what it says."""
        started = time.monotonic()
        self.assertEqual(server.stop(number), 0)
        self.assertLess(time.monotonic() - started, STOP_LIMIT)
        self.assertNotIn(WITHOUT_THREADS, server.err.text() if server.err else "")

    def end_both_ways(self, prepare):
        for number in (signal.SIGTERM, signal.SIGINT):
            server, port = self.start_server("--quiet")
            clients = prepare(port)
            self.end(server, number)
            for client in clients:
                client.receive_all()  # up to the end of the connection, or this fails
                client.close()

    def test_without_clients(self):
        self.end_both_ways(lambda port: [])

    def test_with_one_client(self):
        self.end_both_ways(lambda port: [self.connect_attached(port, 5)])

    def test_with_all_clients_there_can_be(self):
        self.end_both_ways(lambda port: [self.connect_attached(port, number) for number in range(32)])

    def test_with_31_clients_that_do_not_read(self):
        self.end_both_ways(self.stalled)

    def stalled(self, port):
        """31 clients whose connections are full, and their sender."""
        clients = [self.connect_attached(port, number, receive_buffer=4096) for number in range(1, 32)]
        sender = self.connect_attached(port, 0)
        count = largest_send_buffer() // 60000 + 4
        for _ in range(count):
            for client in clients:
                sender.send(client.number, bytes(60000))
        sender.round_trip()
        self.sent_to_each = count * 60016
        return [sender, *clients]

    def test_clients_that_do_not_read_are_really_behind(self):
        """The preparation of the test before: in the end the server still holds what the system would not take."""
        server, port = self.start_server("--quiet")
        for client in self.stalled(port)[1:]:
            # Bytes that have arrived and are not acknowledged yet count twice, for a moment.
            eventually(lambda client=client: queued_by_the_system(port, client) < self.sent_to_each)
        self.end(server)

    def test_with_a_client_that_has_not_greeted(self):
        self.end_both_ways(lambda port: [self.connect(port)])

    def test_with_a_client_in_the_middle_of_its_greeting(self):
        def prepare(port):
            client = self.connect(port)
            client.socket.sendall(b"\x10\x00\x00")
            return [client]
        self.end_both_ways(prepare)

    def test_with_a_client_in_the_middle_of_a_message(self):
        def prepare(port):
            client = self.connect_attached(port, 5)
            client.socket.sendall(b"\xff\xff\x07\x00")
            return [client]
        self.end_both_ways(prepare)

    def test_with_a_client_that_is_being_replaced(self):
        def prepare(port):
            return [self.connect_attached(port, 5), self.connect(port, 5)]
        self.end_both_ways(prepare)

    def test_with_messages_for_clients_that_never_came(self):
        def prepare(port):
            client = self.connect_attached(port, 5)
            for dest in range(32):
                client.send(dest, b"nobody")
            return [client]
        self.end_both_ways(prepare)

    def test_a_signal_before_it_listens_is_not_lost(self):
        def hold():
            signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGTERM})

        server = self.start("jayd", "--port", self.closed_port(), preexec_fn=hold)
        self.end(server)

    def test_a_hang_up_does_not_end_it(self):
        server, port = self.start_server()
        client = self.connect_attached(port, 5)
        for _ in range(20):
            server.send_signal(signal.SIGHUP)
            client.round_trip()
        self.end(server)

    def test_it_serves_on_when_nobody_reads_what_it_says_any_more(self):
        reading, writing = os.pipe()
        port = self.closed_port()
        server = self.start("jayd", "--port", port, stderr=writing)
        os.close(writing)
        with open(reading, "rb") as err:
            self.assertIn(b"listening", err.readline())
        client = self.connect_attached(port, 5)
        for _ in range(20):
            client.round_trip()
        self.end(server)

    @unittest.skipIf("-fsanitize=thread" in os.environ.get("JAY_CXX", ""),
                     "ThreadSanitizer's own _exit() flushes standard error, which waits for the thread that hangs there")
    def test_it_ends_although_what_it_says_has_filled_a_pipe(self):
        reading, writing = os.pipe()
        port = self.closed_port()
        server = self.start("jayd", "--port", port, stderr=writing)
        os.close(writing)
        self.addCleanup(os.close, reading)
        with open(reading, "rb", buffering=0, closefd=False) as err:
            self.assertIn(b"listening", err.read(100))
        client = self.connect(port, 5)
        client.socket.settimeout(0.5)
        with self.assertRaises(TimeoutError):
            for _ in range(100000):  # until its threads hang in their writes
                client.round_trip()
        self.end(server)


def largest_send_buffer():
    """How much the system takes at most from the server for a client that does not read."""
    return int(Path("/proc/sys/net/ipv4/tcp_wmem").read_text().split()[2])


def queued_by_the_system(port, client):
    """Bytes on the way between the server and a client: sent by the one, and not yet read by the other."""
    near = client.socket.getsockname()[1]
    return sum(c.sending if (c.local, c.remote) == (port, near) else
               c.receiving if (c.local, c.remote) == (near, port) else 0 for c in tcp_connections())


if __name__ == "__main__":
    main()
