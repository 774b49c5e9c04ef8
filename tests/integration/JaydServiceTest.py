"""jayd as a service: its log, its pid file, its service manager, its status, its unit, and who may connect."""
import grp
import os
import pwd
import re
import shutil
import signal
import socket
import stat
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from cases import LIMIT, ROOT, STOP_LIMIT, Case, eventually, main, pack

UNIT_FOLDER = ROOT / "tools" / "jayd" / "systemd"


class ServiceCase(Case):
    """A case with a folder of its own, and with servers that may write their lines to a file."""

    def setUp(self):
        super().setUp()
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)
        self.log = self.folder / "jayd.log"
        self.pid_file = self.folder / "jayd.pid"

    def logged(self, text, file=None):
        file = file or self.log
        return file.exists() and text in file.read_text()

    def expect_logged(self, text, file=None):
        eventually(lambda: self.logged(text, file))

    def start_logging(self, *arguments, **options):
        """A jayd that listens, and writes to the log."""
        port = self.closed_port()
        server = self.start("jayd", "--port", port, "--log", self.log, *arguments, **options)
        eventually(lambda: self.logged(f"listening on port {port}") or not server.is_running())
        self.assertTrue(server.is_running(), server.err.text() if server.err and not server.is_running() else "")
        return server, port

    def refuse(self, *arguments, status=1, **options):
        """It does not start, and tells why in one line, which is returned."""
        found, out, err = self.run_program("jayd", "--port", self.closed_port(), *arguments, **options)
        self.assertEqual((found, out), (status, ""), err)
        self.assert_one_line(err, "jayd: ")
        return err

    def end(self, server):
        self.assertEqual(server.stop(), 0)

    def end_in_time(self, server):
        started = time.monotonic()
        self.end(server)
        self.assertLess(time.monotonic() - started, STOP_LIMIT)


def outer_address():
    """An address of this machine that is not one of loopback, None if it has none. Asking sends nothing."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        try:
            probe.connect(("203.0.113.1", 9))
        except OSError:
            return None
        address = probe.getsockname()[0]
        return None if address.startswith("127.") else address


class JaydLocalOnly(ServiceCase):
    """Another machine is played by another address of this one: the server sees the addresses of the two ends only."""

    def connect_from(self, address, port):
        if address is None:
            self.skipTest("this machine has loopback addresses only")
        return socket.create_connection(("127.0.0.1", port), LIMIT, source_address=(address, 0))

    def assert_closed(self, address, port):
        try:
            with self.connect_from(address, port) as connection:
                self.assertEqual(connection.recv(1), b"")
        except ConnectionResetError:
            pass  # closed faster than that

    def assert_served(self, address, port):
        with self.connect_from(address, port) as connection:
            connection.sendall(pack(9, 0) + pack(9, 9, b"hello"))
            self.assertEqual(connection.recv(21, socket.MSG_WAITALL)[16:], b"hello")

    def test_clients_on_this_machine_are_served(self):
        for options in ([], ["--local-only"]):
            _, port = self.start_server(*options)
            self.connect_attached(port, 5)
            self.assert_served("127.0.0.2", port)

    def test_a_connection_from_another_machine_is_closed_before_it_greets(self):
        server, port = self.start_server()
        address = outer_address()
        self.assert_closed(address, port)
        server.err.wait_for(f"CM>> {address} is another machine, closed!!!")
        self.connect_attached(port, 5)

    def test_a_crowd_from_another_machine_does_not_keep_this_one_out(self):
        server, port = self.start_server("--quiet")
        here = self.connect_attached(port, 5)
        for _ in range(200):
            self.assert_closed(outer_address(), port)
        here.round_trip()
        self.connect_attached(port, 6)
        self.end(server)

    def test_every_machine_is_served_only_if_asked_for(self):
        _, port = self.start_server("--listen-all")
        self.assert_served(outer_address(), port)

    def test_it_takes_no_value(self):
        self.assertIn("'--local-only=yes' takes no value", self.refuse("--local-only=yes", status=2))

    def test_local_only_excludes_listen_all(self):
        for options in (["--local-only", "--listen-all"], ["--listen-all", "--local-only"]):
            self.assertIn("exclude each other", self.refuse(*options, status=2))


class JaydLog(ServiceCase):
    def test_everything_goes_to_the_file_and_nothing_elsewhere(self):
        server, port = self.start_logging()
        self.connect_attached(port, 5)
        self.end(server)
        self.assertTrue(self.log.read_text().startswith(f"jayd: listening on port {port}\n"))
        for line in ("CM>> CA(5) connected OK!!!\n", "SM>> q0(0) : 5 <-- 5\n", "SM>> stop SM(in:1, out:1)\n"):
            self.assertIn(line, self.log.read_text())
        self.assertEqual((server.out.text(), server.err.text()), ("", ""))

    def test_the_file_is_appended_to(self):
        self.log.write_text("before\n")
        server, port = self.start_logging("--quiet")
        self.end(server)
        self.assertEqual(self.log.read_text(), f"before\njayd: listening on port {port}\n")

    def test_a_new_file_is_not_for_everybody(self):
        server, _ = self.start_logging(umask=0)
        self.assertEqual(stat.S_IMODE(self.log.stat().st_mode), 0o640)

    def test_whoever_started_it_is_not_kept_waiting_for_the_end_of_its_standard_error(self):
        server, _ = self.start_logging()
        self.assertEqual(server.err.text(), "")  # up to its end, or this fails
        self.assertTrue(server.is_running())

    def test_a_folder_is_no_log(self):
        self.assertIn("Is a directory", self.refuse("--log", self.folder))

    def test_a_folder_that_is_not_there_is_told(self):
        line = self.refuse("--log", self.folder / "none" / "jayd.log")
        for part in ("cannot write the log", "none/jayd.log", "No such file", "--log"):
            self.assertIn(part, line)

    def test_a_file_that_cannot_be_made_is_told(self):
        self.assertIn("'/proc/jayd.log'", self.refuse("--log", "/proc/jayd.log"))

    def test_a_pipe_that_nobody_reads_is_refused_at_once(self):
        os.mkfifo(self.log)
        self.assertIn("cannot write the log", self.refuse("--log", self.log))

    def test_an_empty_name_is_wrong_use(self):
        self.assertIn("'--log' needs the name of a file", self.refuse("--log", "", status=2))
        self.assertIn("'--log' needs a value", self.refuse("--log", status=2))

    def test_a_log_on_a_full_disk_is_told_and_keeps_nobody_from_being_served(self):
        port = self.closed_port()
        server = self.start("jayd", "--port", port, "--log", "/dev/full")
        line = server.err.next_line()
        for part in ("cannot write to the log '/dev/full'", "No space left", "serving all the same"):
            self.assertIn(part, line)
        self.connect_attached(port, 5)

    def test_nothing_is_done_before_the_log_is_open(self):
        self.refuse("--log", self.folder, "--pid-file", self.pid_file)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_why_it_does_not_start_is_told_there_and_to_whoever_started_it(self):
        _, port = self.start_server()
        status, _, err = self.run_program("jayd", "--port", port, "--log", self.log)
        self.assertEqual(status, 1)
        self.assert_one_line(err, f"jayd: port {port} is in use")
        self.assertEqual(self.log.read_text(), err)


class JaydHangUp(ServiceCase):
    def rotate(self, server):
        """What a rotation of logs does. Returns the renamed file."""
        renamed = self.log.with_suffix(".1")
        self.log.rename(renamed)
        server.send_signal(signal.SIGHUP)
        return renamed

    def test_a_renamed_log_is_followed_by_a_new_one(self):
        server, port = self.start_logging()
        client = self.connect_attached(port, 5)
        renamed = self.rotate(server)
        eventually(self.log.exists)
        client.send(31, b"after")
        self.expect_logged("31 <-- 5")
        self.assertIn("CM>> CA(5) connected OK!!!", renamed.read_text())
        self.assertNotIn("31 <-- 5", renamed.read_text())
        self.end(server)

    def test_no_line_is_lost_in_between(self):
        server, port = self.start_logging()
        client = self.connect_attached(port, 5)
        files = []
        for turn in range(20):
            for _ in range(10):
                client.send(5, b"x")
            renamed = self.log.with_suffix(f".{turn}")
            self.log.rename(renamed)
            files.append(renamed)
            server.send_signal(signal.SIGHUP)
            eventually(self.log.exists)
        client.round_trip(priority=9)
        self.end(server)
        lines = "".join(file.read_text() for file in [*files, self.log])
        self.assertEqual(lines.count("5 <-- 5\n"), 1 + 20 * 10 + 1)

    def test_a_log_that_cannot_be_opened_anew_goes_on_in_the_old_one(self):
        server, port = self.start_logging()
        client = self.connect_attached(port, 5)
        renamed = self.log.with_suffix(".1")
        self.log.rename(renamed)
        self.log.mkdir()
        server.send_signal(signal.SIGHUP)
        self.expect_logged("going on in the old one", renamed)
        client.round_trip()
        self.log.rmdir()
        server.send_signal(signal.SIGHUP)
        eventually(self.log.is_file)
        self.end(server)
        self.assertIn("SM>> stop SM", self.log.read_text())

    def test_many_at_once_open_it_anew_and_leak_nothing(self):
        server, port = self.start_logging()
        client = self.connect_attached(port, 5)
        server.err.text()  # its end: the server has let go of it
        descriptors = Path(f"/proc/{server.pid}/fd")
        before = len(list(descriptors.iterdir()))
        for _ in range(200):
            server.send_signal(signal.SIGHUP)
        client.round_trip()
        eventually(lambda: len(list(descriptors.iterdir())) == before)
        self.end(server)


class JaydPidFile(ServiceCase):
    def start_with_pid_file(self, *arguments):
        server, port = self.start_server("--pid-file", self.pid_file, *arguments)
        return server, port

    def files(self):
        return sorted(path.name for path in self.folder.iterdir())

    def refuse_pid_file(self, path, *parts):
        line = self.refuse("--pid-file", path)
        for part in (f"the pid file '{path}'", *parts):
            self.assertIn(part, line)

    def test_it_holds_the_process_id_from_when_it_listens_until_it_ends(self):
        server, _ = self.start_with_pid_file()
        self.assertEqual(self.pid_file.read_text(), f"{server.pid}\n")
        self.assertEqual(stat.S_IMODE(self.pid_file.stat().st_mode), 0o644)
        self.assertEqual(self.files(), ["jayd.pid"])
        self.end(server)
        self.assertEqual(self.files(), [])

    def test_it_is_there_as_a_whole_or_not_at_all(self):
        for _ in range(10):
            server = self.start("jayd", "--quiet", "--port", self.closed_port(), "--pid-file", self.pid_file)
            while not self.pid_file.exists():  # without a pause: the first moment counts
                self.assertTrue(server.is_running())
            self.assertEqual(self.pid_file.read_text(), f"{server.pid}\n")
            self.end(server)

    def test_a_folder_that_is_not_there_is_told_before_anything_is_served(self):
        self.refuse_pid_file(self.folder / "none" / "jayd.pid", "cannot be written: No such file", "folder")

    def test_a_folder_that_cannot_be_written_to_is_told(self):
        self.refuse_pid_file("/proc/jayd.pid", "cannot be written")

    def test_an_empty_name_is_wrong_use(self):
        self.assertIn("'--pid-file' needs the name of a file", self.refuse("--pid-file", "", status=2))

    def test_what_is_no_pid_file_is_never_touched(self):
        for text in ("precious\n", "12 13\n", "1" * 30, "-5\n"):
            self.pid_file.write_text(text)
            self.refuse_pid_file(self.pid_file, "does not hold a process id", "remove it")
            self.assertEqual(self.pid_file.read_text(), text)
        self.assertEqual(self.files(), ["jayd.pid"])

    def test_a_folder_a_pipe_and_a_link_are_no_pid_files(self):
        self.refuse_pid_file(self.folder, "does not hold a process id")
        os.mkfifo(self.folder / "pipe")
        self.refuse_pid_file(self.folder / "pipe", "does not hold a process id")
        (self.folder / "link").symlink_to("target")
        self.refuse_pid_file(self.folder / "link", "cannot be examined")
        self.assertEqual(self.files(), ["link", "pipe"])

    def test_a_file_that_a_running_jayd_uses_is_left_to_it(self):
        server, _ = self.start_with_pid_file()
        self.refuse_pid_file(self.pid_file, f"in use by the jayd with process id {server.pid}")
        self.assertEqual(self.pid_file.read_text(), f"{server.pid}\n")

    def test_a_file_that_a_killed_jayd_has_left_is_replaced(self):
        first, _ = self.start_with_pid_file()
        first.kill()
        self.assertEqual(self.pid_file.read_text(), f"{first.pid}\n")
        second, _ = self.start_with_pid_file()
        self.assertEqual(self.pid_file.read_text(), f"{second.pid}\n")

    def test_a_stale_file_is_replaced_also_when_its_process_id_is_taken_by_now(self):
        for text in (f"{os.getpid()}\n", ""):
            self.pid_file.write_text(text)
            server, _ = self.start_with_pid_file()
            self.assertEqual(self.pid_file.read_text(), f"{server.pid}\n")
            self.end(server)

    def test_a_jayd_that_cannot_listen_leaves_none_behind(self):
        _, port = self.start_server()
        status, _, err = self.run_program("jayd", "--port", port, "--pid-file", self.pid_file)
        self.assertEqual(status, 1)
        self.assertIn("is in use", err)
        self.assertEqual(self.files(), [])

    def test_a_file_that_somebody_else_has_put_there_meanwhile_stays(self):
        server, _ = self.start_with_pid_file()
        self.pid_file.unlink()
        self.pid_file.write_text("1\n")
        self.end(server)
        self.assertEqual(self.pid_file.read_text(), "1\n")


class JaydServiceManager(ServiceCase):
    def manager(self, address):
        """A service manager's socket, and the environment that names it."""
        listening = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(listening.close)
        listening.settimeout(LIMIT)
        listening.bind(address)
        return listening, {**os.environ, "NOTIFY_SOCKET": address.replace("\0", "@")}

    def summary(self, server, manager):
        server.send_signal(signal.SIGUSR1)
        return manager.recv(1000)

    def follow(self, address):
        manager, environment = self.manager(address)
        server, port = self.start_server("--quiet", env=environment)
        self.assertEqual(manager.recv(1000), f"READY=1\nSTATUS=listening on port {port}".encode())
        self.connect_attached(port, 5)
        expected = f"STATUS=listening on port {port}, 1 clients connected, 0 messages waiting".encode()
        eventually(lambda: self.summary(server, manager) == expected)
        self.end(server)
        self.assertEqual(manager.recv(1000), b"STOPPING=1\nSTATUS=ending")

    def test_it_is_told_at_a_path(self):
        self.follow(str(self.folder / "notify"))

    def test_it_is_told_at_an_abstract_name(self):
        self.follow(f"\0jay-test-{os.getpid()}")

    def test_it_is_told_at_the_longest_names_there_are(self):
        folder = str(self.folder)
        self.follow(folder + "/" + "n" * (107 - len(folder) - 1))
        self.follow(f"\0jay-test-{os.getpid()}-".ljust(107, "x"))

    def test_when_it_is_told_clients_can_connect(self):
        manager, environment = self.manager(str(self.folder / "notify"))
        for _ in range(5):
            port = self.closed_port()
            server = self.start("jayd", "--quiet", "--port", port, "--pid-file", self.pid_file, env=environment)
            self.assertTrue(manager.recv(1000).startswith(b"READY=1"))
            self.assertEqual(self.pid_file.read_text(), f"{server.pid}\n")
            self.connect(port, 5).round_trip()
            self.end(server)
            self.assertTrue(manager.recv(1000).startswith(b"STOPPING=1"))

    def test_a_jayd_that_cannot_serve_is_never_ready(self):
        manager, environment = self.manager(str(self.folder / "notify"))
        _, port = self.start_server()
        self.assertEqual(self.run_program("jayd", "--port", port, env=environment)[0], 1)
        manager.setblocking(False)
        with self.assertRaises(BlockingIOError):
            manager.recv(1000)

    def test_without_a_socket_of_that_name_nothing_is_said_about_it(self):
        gone = str(self.folder / "gone")
        for name in ("", "@", "/", "relative", "vsock:2:1", gone, "@" + gone, "/" + "x" * 200, "@" + "x" * 200, "\x01"):
            server, port = self.start_server("--quiet", env={**os.environ, "NOTIFY_SOCKET": name})
            self.connect(port, 5).round_trip()
            server.send_signal(signal.SIGUSR1)
            server.err.wait_for("end of status")
            self.end(server)
            self.assertEqual(server.err.text().count("jayd: listening"), 1)
            self.assertNotIn("socket", server.err.text().lower())

    def test_a_manager_that_does_not_read_does_not_hold_up_the_end(self):
        manager, environment = self.manager(str(self.folder / "notify"))
        server, _ = self.start_server("--quiet", env=environment)
        self.assertTrue(manager.recv(1000).startswith(b"READY=1"))
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as filler:
            filler.setblocking(False)
            with self.assertRaises(BlockingIOError):
                while True:
                    filler.sendto(b"x", str(self.folder / "notify"))
        server.send_signal(signal.SIGUSR1)
        self.end_in_time(server)


class JaydStatus(ServiceCase):
    ROW = re.compile(r"^jayd: +(\d+)  (\S+) +(\d+) +(\d+)  (\S+)$")
    MESSAGES = re.compile(r"^jayd: messages: (\d+) in, (\d+) routed, (\d+) to be routed, (\d+) waiting for their clients$")

    def ask(self, server):
        server.send_signal(signal.SIGUSR1)
        return self.next_table(server)

    def next_table(self, server):
        """The table's lines; other threads' lines are passed over up to its beginning, and none may be inside."""
        lines = [server.err.wait_for("jayd: status: ")]
        while lines[-1] != "jayd: end of status":
            lines.append(server.err.next_line())
            self.assertTrue(lines[-1].startswith("jayd: "), lines)
        return lines

    def rows(self, table):
        found = {}
        for line in table[3:-1]:
            number, state, queued, came, where = self.ROW.match(line).groups()
            found[int(number)] = (state, int(queued), int(came), where)
        return found

    def expect_row(self, server, number, *row):
        """In the end: a message counts as queued until the server has seen that the system took it."""
        eventually(lambda: self.rows(self.ask(server)).get(number) == row)

    def near_end(self, client):
        return "127.0.0.1:%d" % client.socket.getsockname()[1]

    def test_a_new_server_shows_its_port_and_no_clients(self):
        server, port = self.start_server("--quiet")
        table = self.ask(server)
        self.assertRegex(table[0], rf"^jayd: status: port {port}, up 0 d 00:00:\d\d, 0 of 32 clients connected$")
        self.assertEqual(self.MESSAGES.match(table[1]).groups(), ("0", "0", "0", "0"))
        self.assertEqual(table[2], "jayd:   id  state        queued         in  connected from")
        self.assertEqual(self.rows(table), {})

    def test_each_client_is_a_row(self):
        server, port = self.start_server("--quiet")
        client = self.connect_attached(port, 5)
        for _ in range(3):
            client.send(7, b"for one that has not come yet")
        client.round_trip()
        self.expect_row(server, 7, "called", 3, 3, "-")
        self.expect_row(server, 5, "connected", 0, 2, self.near_end(client))
        table = self.ask(server)
        self.assertIn("1 of 32 clients connected", table[0])
        came, routed, to_be_routed, waiting = map(int, self.MESSAGES.match(table[1]).groups())
        self.assertGreaterEqual(came, 5)  # and what client 0 is asked
        self.assertLessEqual(routed + to_be_routed, came)
        self.assertEqual(waiting, sum(row[1] for row in self.rows(table).values()))

    def test_a_client_that_has_gone_keeps_its_row(self):
        server, port = self.start_server("--quiet")
        client = self.connect_attached(port, 5)
        client.close()
        self.expect_row(server, 5, "closed", 0, 1, "-")
        again = self.connect_attached(port, 5)
        self.expect_row(server, 5, "connected", 0, 2, self.near_end(again))

    def test_all_clients_there_can_be_have_a_row(self):
        server, port = self.start_server("--quiet")
        clients = [self.connect_attached(port, number) for number in range(32)]
        expected = {client.number: ("connected", 0, 1, self.near_end(client)) for client in clients}
        eventually(lambda: self.rows(self.ask(server)) == expected)

    def test_a_client_that_does_not_read_does_not_hold_it_up(self):
        server, port = self.start_server("--quiet")
        sender = self.connect_attached(port, 5)
        deaf = self.connect_attached(port, 7, receive_buffer=4096)
        for _ in range(200):
            sender.send(7, bytes(60000))
        sender.round_trip()
        started = time.monotonic()
        state, queued, came, where = self.rows(self.ask(server))[7]
        self.assertLess(time.monotonic() - started, STOP_LIMIT)
        self.assertEqual((state, came, where), ("connected", 201, self.near_end(deaf)))
        self.assertGreater(queued, 0)

    def test_it_goes_to_the_log(self):
        server, port = self.start_logging("--quiet")
        server.send_signal(signal.SIGUSR1)
        self.expect_logged("end of status")
        self.end(server)
        self.assertEqual(server.err.text(), "")

    def test_a_signal_before_it_listens_is_not_lost(self):
        def hold():
            signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGUSR1})

        server = self.start("jayd", "--quiet", "--port", self.closed_port(), preexec_fn=hold)
        server.send_signal(signal.SIGUSR1)
        self.next_table(server)
        self.end(server)

    def test_a_storm_of_signals_loses_no_message_and_mixes_no_lines(self):
        server, port = self.start_server()
        clients = [self.connect_attached(port, number) for number in range(4)]
        for turn in range(100):
            for client in clients:
                client.send((client.number + 1) % 4, b"%d" % turn)
            for number in (signal.SIGUSR1, signal.SIGHUP, signal.SIGUSR1):
                server.send_signal(number)
        for client in clients:
            self.assertEqual([client.receive().payload for _ in range(100)], [b"%d" % turn for turn in range(100)])
        self.assertEqual(len(self.rows(self.next_table(server))), 4)
        self.end(server)
        lines = server.err.text().splitlines()
        starts = [i for i, line in enumerate(lines) if line.startswith("jayd: status: ")]
        for start in starts:
            self.assertEqual(lines[start + 7], "jayd: end of status")  # no other thread's line in between
        self.assertEqual(lines.count("jayd: end of status"), len(starts))

    def test_a_reader_who_has_gone_does_not_end_it(self):
        reading, writing = os.pipe()
        port = self.closed_port()
        server = self.start("jayd", "--quiet", "--port", port, stderr=writing)
        os.close(writing)
        with open(reading, "rb") as err:
            self.assertIn(b"listening", err.readline())
        client = self.connect_attached(port, 5)
        for _ in range(20):
            server.send_signal(signal.SIGUSR1)
            client.round_trip()
        self.end(server)

    @unittest.skipIf("-fsanitize=thread" in os.environ.get("JAY_CXX", ""),
                     "ThreadSanitizer's own _exit() flushes standard error, which waits for the thread that hangs there")
    def test_it_ends_although_the_status_hangs_in_a_full_pipe(self):
        reading, writing = os.pipe()
        self.addCleanup(os.close, reading)
        port = self.closed_port()
        server = self.start("jayd", "--quiet", "--port", port, "--pid-file", self.pid_file, stderr=writing)
        os.close(writing)
        client = self.connect_until_attached(port, 5)
        eventually(lambda: self.status_hangs(server))
        client.round_trip()  # nobody but the status is held up
        self.end_in_time(server)
        self.assertFalse(self.pid_file.exists())

    def connect_until_attached(self, port, number):
        eventually(self.pid_file.exists)
        return self.connect_attached(port, number)

    def status_hangs(self, server):
        """Asks for the status, and sees whether the thread that writes it does not come back to take the next signal."""
        server.send_signal(signal.SIGUSR1)
        server.send_signal(signal.SIGUSR1)
        deadline = time.monotonic() + 0.5
        while time.monotonic() < deadline:
            if not self.is_pending(server, signal.SIGUSR1):
                return False
            time.sleep(0.005)
        return True

    def is_pending(self, server, number):
        status = Path(f"/proc/{server.pid}/status").read_text()
        return int(re.search(r"ShdPnd:\s+(\w+)", status).group(1), 16) >> (number - 1) & 1 == 1


class JaydUnit(ServiceCase):
    def unit_with_the_built_program(self):
        """The unit as it would be if the program of the build were installed."""
        text = (UNIT_FOLDER / "jayd.service").read_text()
        self.assertEqual(text.count("\nExecStart=jayd "), 1)
        unit = self.folder / "jayd.service"
        unit.write_text(text.replace("\nExecStart=jayd ", f"\nExecStart={self.programs.path('jayd').resolve()} "))
        return unit

    def run_if_there(self, program, *arguments):
        if shutil.which(program) is None:
            self.skipTest(f"{program} is not installed")
        done = subprocess.run([program, *map(str, arguments)], capture_output=True, text=True, timeout=LIMIT)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout + done.stderr

    def test_systemd_finds_nothing_wrong_with_the_unit(self):
        said = self.run_if_there("systemd-analyze", "verify", "--man=no", self.unit_with_the_built_program())
        self.assertEqual(said, "")

    def test_its_exposure_counts_as_low(self):
        report = self.run_if_there("systemd-analyze", "security", "--offline=yes", "--no-pager", "--threshold=20",
                                   self.unit_with_the_built_program())
        self.assertIn("Overall exposure level", report)

    def test_its_command_line_is_one_that_jayd_takes(self):
        unit = (UNIT_FOLDER / "jayd.service").read_text()
        options = re.search(r"^ExecStart=jayd (.*)$", unit, re.MULTILINE).group(1).replace("$JAYD_OPTIONS", "").split()
        self.assertNotIn("--listen-all", options)
        server, port = self.start_server(*options)
        self.connect_attached(port, 5)
        self.end(server)

    def test_its_limits_leave_room_for_every_client(self):
        unit = (UNIT_FOLDER / "jayd.service").read_text()
        server, port = self.start_server("--quiet")
        for number in range(32):
            self.connect_attached(port, number)
        server.send_signal(signal.SIGUSR1)
        server.err.wait_for("end of status")
        threads = len(os.listdir(f"/proc/{server.pid}/task"))
        descriptors = len(os.listdir(f"/proc/{server.pid}/fd"))
        self.assertLess(threads, int(re.search(r"^TasksMax=(\d+)$", unit, re.MULTILINE).group(1)))
        self.assertLess(descriptors, int(re.search(r"^LimitNOFILE=(\d+)$", unit, re.MULTILINE).group(1)))

    def test_the_user_can_be_made(self):
        self.run_if_there("systemd-sysusers", "--dry-run", UNIT_FOLDER / "jayd.sysusers")
        self.assertRegex((UNIT_FOLDER / "jayd.sysusers").read_text(), r"(?m)^u +jay ")
        self.assertIn("\nUser=jay\n", (UNIT_FOLDER / "jayd.service").read_text())

    def test_logrotate_takes_its_rules(self):
        text = (UNIT_FOLDER / "jayd.logrotate").read_text()
        self.assertEqual(text.count("/var/log/jay/jayd.log {") + text.count("su jay jay"), 2)
        self.log.write_text("something\n")
        rules = self.folder / "rules"  # with a log and a user that this machine has
        rules.write_text(text.replace("/var/log/jay/jayd.log {", f"{self.log} {{").replace("su jay jay", "su " + self.user()))
        rules.chmod(0o644)
        said = self.run_if_there("logrotate", "--debug", "--state", self.folder / "state", rules)
        self.assertIn(f"considering log {self.log}", said)
        self.assertNotIn("error:", said)

    @staticmethod
    def user():
        return f"{pwd.getpwuid(os.getuid()).pw_name} {grp.getgrgid(os.getgid()).gr_name}"


if __name__ == "__main__":
    main()
