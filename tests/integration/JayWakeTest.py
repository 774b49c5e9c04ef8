"""jay wake: the launcher of the other clients."""
import json
import os
import signal
import time

from cases import SYNC, main
from files import FileCase

QUICK = ["--backoff", "100", "--backoff-most", "400"]


class WakeTable(FileCase):
    """The table, which is read before anything else."""

    def refuse_table(self, content):
        name = self.file("table", content)
        err = self.refuse("wake", name)
        self.assert_harmless(err)
        return err

    def test_a_wrong_line_is_told_by_its_number(self):
        for line, part in ((b"seven true", "'seven' is not an id"), (b"0 true", "'0' is not an id"), (b"32 true", "'32' is not an id"),
                           (b"-1 true", "'-1' is not an id"), (b"7", "command for client 7 is missing"),
                           (b"7   ", "command for client 7 is missing"), (b"5 false", "client 5 has a command already"),
                           (b"7 tr\0ue", "zero byte"), (b"\x1b[2J x", "is not an id"), (b"9" * 5000, "is not an id"),
                           (b"9 " + b"x" * 200000, "too long for a shell")):
            err = self.refuse_table(b"# comment\n\n5 true\n" + line + b"\n")
            for text in ("'table', line 4: ", part):
                self.assertIn(text, err)

    def test_what_other_editors_leave_in_a_text_is_no_part_of_it(self):
        self.assertIn("line 2: ", self.refuse_table(b"\xef\xbb\xbf5 true\r\n6\r\n"))

    def test_a_table_without_clients_is_told(self):
        for content in (b"", b"\n \n", b"# 5 true\n  # 7 true\n"):
            self.assertIn("names no client", self.refuse_table(content))

    def test_a_table_that_cannot_be_read_is_told(self):
        self.assertIn("No such file", self.refuse("wake", "nothing"))
        self.assertIn("directory", self.refuse("wake", ".").lower())
        self.assertIn("--help", self.refuse("wake"))
        name = self.file("table", b"5 true\n")
        (self.folder / name).chmod(0)
        self.folder.chmod(0o755)
        self.assertIn("Permission denied", self.refuse("wake", name, **self.as_somebody()))

    def test_options_that_are_wrong_are_told(self):
        name = self.file("table", b"5 true\n")
        for option, value in (("--backoff", "-1"), ("--backoff-most", "x"), ("--steady", ""), ("--port", "0")):
            self.assertIn(option, self.refuse("wake", name, option, value))

    def test_without_a_server_it_is_status_3(self):
        name = self.file("table", b"5 true\n")
        port = self.closed_port()
        self.assertIn(f"127.0.0.1:{port}", self.refuse("wake", name, "--port", port, status=3))


class JayWake(FileCase):
    def setUp(self):
        super().setUp()
        self.server, self.port = self.start_server()
        self.ran = self.folder / "ran"  # a line for each start of a command
        self.started = []
        self.addCleanup(self.end_started)

    def end_started(self):
        """What jay wake has started outlives it."""
        for pid in self.started:
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass

    def wake(self, table, *options, **more):
        """A launcher that is ready. In the table, RAN notes a start."""
        self.file("table", table.replace("RAN", f"echo ran >> {self.ran}").encode())
        process = self.start("jay", "wake", "--port", self.port, *options, self.folder / "table", **more)
        self.assertRegex(process.err.next_line(), r"^jay: waking \d+ clients? as client 0 at 127.0.0.1:\d+$")
        return process

    def event(self, process, name):
        """The next thing of that name that it tells."""
        while (line := process.out.next_line()) is not None:
            event = json.loads(line)
            if event["event"] == "started":
                self.started.append(event["pid"])
            if event["event"] == name:
                return event
        self.fail(f"ended without '{name}': {process.err.text()}")

    def ask(self, client, number):
        """What the server sends client 0 when messages wait."""
        client.send(number, flag=SYNC)

    def starts(self):
        return self.ran.read_text().count("ran") if self.ran.exists() else 0

    def test_an_absent_client_is_started_and_gets_its_message(self):
        jay = self.programs.path("jay")
        launcher = self.wake(f"# the only one\n\n 7 \t exec {jay} listen --id 7 --port {self.port} --count 1\n", "--json")
        self.connect_attached(self.port, 5).send(7, b"hello")
        self.assertEqual(self.event(launcher, "request")["source"], 5)
        event = self.event(launcher, "started")
        self.assertEqual(event["client"], 7)
        launcher.err.wait_for("5 -> 7  length")  # what it prints is for the user
        ended = self.event(launcher, "ended")
        self.assertEqual((ended["client"], ended["pid"], ended["status"]), (7, event["pid"], 0))

    def test_it_says_what_it_does(self):
        launcher = self.wake("7 exit 3\n", *QUICK)
        five = self.connect_attached(self.port, 5)
        self.ask(five, 7)
        for text in ("client 7: messages wait, the first from client 5", "client 7: started its command, process ",
                     "has ended with status 3; not started again within"):
            launcher.err.wait_for(text)
        self.ask(five, 9)
        launcher.err.wait_for("client 9: no command for it in the table")
        five.send(0, b"hello")
        launcher.err.wait_for("a message from client 5, which is not a request")
        self.assertEqual(launcher.stop(signal.SIGTERM), 143)
        self.assertEqual(launcher.out.text(), "")

    def test_quiet_says_nothing(self):
        self.file("table", b"7 true\n")
        launcher = self.start("jay", "wake", "--port", self.port, "--quiet", "--json", self.folder / "table")
        self.ask(self.connect_attached(self.port, 5), 7)
        self.event(launcher, "ended")
        launcher.stop(signal.SIGINT)
        self.assertEqual(launcher.err.text(), "")

    def test_a_command_that_runs_is_not_started_again(self):
        launcher = self.wake("7 RAN; exec sleep 100\n", "--json")
        five = self.connect_attached(self.port, 5)
        self.ask(five, 7)
        pid = self.event(launcher, "started")["pid"]
        for _ in range(3):
            self.ask(five, 7)
            self.assertEqual(self.event(launcher, "running")["pid"], pid)
        self.assertEqual(self.starts(), 1)

    def test_a_command_that_has_ended_well_is_started_again_at_once(self):
        launcher = self.wake("7 RAN\n", "--json", "--backoff", "100000")
        five = self.connect_attached(self.port, 5)
        for i in range(3):
            self.ask(five, 7)
            self.assertEqual(self.event(launcher, "ended")["status"], 0)
            self.assertEqual(self.starts(), i + 1)

    def test_a_command_that_fails_is_left_alone_longer_and_longer(self):
        launcher = self.wake("7 exit 3\n", "--json", *QUICK)
        five = self.connect_attached(self.port, 5)
        waits = []
        for i in range(5):
            before = time.monotonic()
            self.ask(five, 7)  # kept while the command is left alone
            ended = self.event(launcher, "ended")
            self.assertEqual((ended["status"], ended["failures"]), (3, i + 1))
            if waits:
                self.assertGreaterEqual(time.monotonic() - before, waits[-1] / 1000 - 0.15)  # it asks a little late
            waits.append(ended["wait"])
        self.assertEqual(waits, [100, 200, 400, 400, 400])

    def test_a_request_in_the_meantime_is_kept(self):
        launcher = self.wake("7 RAN; exit 1\n", "--json", "--backoff", "300")
        five = self.connect_attached(self.port, 5)
        self.ask(five, 7)
        self.event(launcher, "ended")
        self.ask(five, 7)
        waiting = self.event(launcher, "waiting")
        self.assertLessEqual(waiting["wait"], 300)
        self.event(launcher, "started")
        self.event(launcher, "ended")
        self.assertEqual(self.starts(), 2)

    def test_without_a_request_nothing_is_started_again(self):
        launcher = self.wake("7 RAN; exit 1\n8 true\n", "--json", "--backoff", "0")
        five = self.connect_attached(self.port, 5)
        self.ask(five, 7)
        self.event(launcher, "ended")
        for _ in range(3):  # several looks of the launcher later
            self.ask(five, 8)
            self.event(launcher, "ended")
        self.assertEqual(self.starts(), 1)

    def test_a_command_that_ran_long_enough_begins_anew(self):
        launcher = self.wake("7 exit 1\n", "--json", "--steady", "0", *QUICK)
        five = self.connect_attached(self.port, 5)
        for _ in range(3):
            self.ask(five, 7)
            ended = self.event(launcher, "ended")
            self.assertEqual((ended["failures"], ended["wait"]), (1, 100))

    def test_a_signal_is_a_failure(self):
        launcher = self.wake("7 kill -KILL $$\n", "--json", *QUICK)
        self.ask(self.connect_attached(self.port, 5), 7)
        killed = self.event(launcher, "killed")
        self.assertEqual((killed["client"], killed["failures"]), (7, 1))

    def test_clients_are_left_alone_separately(self):
        launcher = self.wake("7 exit 1\n8 true\n", "--json", "--backoff", "100000")
        five = self.connect_attached(self.port, 5)
        self.ask(five, 7)
        self.event(launcher, "ended")
        self.ask(five, 7)
        self.event(launcher, "waiting")
        self.ask(five, 8)
        self.assertEqual(self.event(launcher, "ended")["client"], 8)

    def test_a_command_that_is_not_there_fails_like_any_other(self):
        launcher = self.wake("7 /nowhere/at/all\n", "--json", *QUICK)
        self.ask(self.connect_attached(self.port, 5), 7)
        self.assertEqual(self.event(launcher, "ended")["status"], 127)

    def test_commands_have_nothing_to_read_and_may_use_pipes(self):
        launcher = self.wake(f"7 cat > {self.folder}/in; (yes; echo $? > {self.folder}/status) | head -1 >&2\n", "--json")
        self.ask(self.connect_attached(self.port, 5), 7)
        self.assertEqual(self.event(launcher, "ended")["status"], 0)
        self.assertEqual((self.folder / "in").read_bytes(), b"")
        self.assertEqual((self.folder / "status").read_text(), "141\n")  # SIGPIPE: it is not ignored there

    def test_requests_that_waited_are_taken_or_left_out(self):
        five = self.connect_attached(self.port, 5)
        self.ask(five, 7)
        for _ in range(2):  # this request, and the server's own for client 0, which is away
            self.server.err.wait_for(" : 0 <-- 5")
        launcher = self.wake("7 true\n8 true\n", "--json", "--skip-old")
        launcher.err.wait_for("ignored 2 messages")
        self.ask(five, 8)
        self.assertEqual(self.event(launcher, "request")["client"], 8)
        launcher.stop()
        self.server.err.wait_for("SA(0)>> disconnected!!!")
        self.ask(five, 7)
        five.round_trip(priority=2)
        launcher = self.wake("7 true\n8 true\n", "--json")
        self.assertEqual(self.event(launcher, "request")["client"], 7)

    def test_a_request_about_itself_is_nothing(self):
        launcher = self.wake("7 true\n", "--json")
        five = self.connect_attached(self.port, 5)
        self.ask(five, 0)
        self.ask(five, 7)
        self.assertEqual(self.event(launcher, "request")["client"], 7)

    def test_a_hang_up_reads_the_table_again(self):
        launcher = self.wake("7 true\n", "--json")
        self.file("table", b"8 true\n9 true\n")
        launcher.send_signal(signal.SIGHUP)
        self.assertEqual(self.event(launcher, "reloaded")["clients"], 2)
        five = self.connect_attached(self.port, 5)
        self.ask(five, 7)
        self.event(launcher, "unknown")
        self.ask(five, 8)
        self.event(launcher, "started")

    def test_a_table_that_is_wrong_leaves_the_old_one(self):
        launcher = self.wake("7 true\n", "--json")
        self.file("table", b"8 true\nx\n")
        launcher.send_signal(signal.SIGHUP)
        launcher.err.wait_for("line 2: 'x' is not an id")
        self.ask(self.connect_attached(self.port, 5), 7)
        self.event(launcher, "started")

    def test_a_lost_server_is_status_3_and_commands_go_on(self):
        launcher = self.wake("7 exec sleep 100\n", "--json")
        self.ask(self.connect_attached(self.port, 5), 7)
        pid = self.event(launcher, "started")["pid"]
        self.server.kill()
        self.assertEqual(launcher.wait(), 3)
        for part in ("lost the connection", f"process {pid}, is left running"):
            launcher.err.wait_for(part)  # not all of the text: the command holds the pipe
        os.kill(pid, 0)

    def test_signals_end_it_with_status_128_and_their_number_and_commands_go_on(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            launcher = self.wake("7 exec sleep 100\n", "--json")
            five = self.connect_attached(self.port, 5)
            self.ask(five, 7)
            pid = self.event(launcher, "started")["pid"]
            self.assertEqual(launcher.stop(number), 128 + number)
            os.kill(pid, 0)

    def test_the_end_of_its_reader_ends_it(self):
        reading, writing = os.pipe()
        launcher = self.wake("7 true\n", "--json", stdout=writing)
        os.close(writing)
        os.close(reading)
        self.assertEqual(launcher.wait(), 0)

    def test_without_json_it_needs_no_reader(self):
        reading, writing = os.pipe()
        launcher = self.wake("7 true\n", stdout=writing)
        os.close(writing)
        os.close(reading)
        self.ask(self.connect_attached(self.port, 5), 7)
        launcher.err.wait_for("has ended with status 0")


if __name__ == "__main__":
    main()
