"""jay ping and jay echo: round trips."""
import json
import os
import signal

from cases import SYNC, JayCase, main

SUMMARY = r"round trip min/median/p99/max = (\S+)/(\S+)/(\S+)/(\S+) ms"


class EchoCase(JayCase):
    def echo(self, *arguments, ids="7"):
        """An echo that the server has attached."""
        process = self.start("jay", "echo", "--id", ids, "--port", self.port, *arguments)
        self.assertIn("answering as client", process.err.next_line())
        return process


class JayEcho(EchoCase):
    def test_every_message_comes_back_to_its_sender(self):
        echo = self.echo()
        for number in (5, 6):
            client = self.connect_attached(self.port, number)
            client.send(7, bytes(range(256)), priority=3, section=2**32 - 2)
            m = client.receive()
            self.assertEqual((m.src, m.dest, m.flag, m.priority, m.section, m.payload),
                             (7, number, 0, 3, 2**32 - 2, bytes(range(256))))
        self.assertEqual((echo.stop(signal.SIGINT), echo.out.text()), (130, ""))
        self.assertIn("2 messages answered", echo.err.text())

    def test_it_answers_as_the_one_that_was_asked(self):
        self.echo(ids="7,8")
        five = self.connect_attached(self.port, 5)
        for number in (8, 7):
            five.send(number, b"x")
            self.assertEqual(five.receive().src, number)

    def test_the_servers_requests_and_its_own_messages_are_not_answered(self):
        echo = self.echo("--json", ids="0")
        five = self.connect_attached(self.port, 5)
        five.send(9, b"for one who is absent")  # the server asks client 0 to wake it up
        shown = json.loads(echo.out.next_line())
        self.assertEqual((shown["answered"], shown["flag"], shown["destination"]), (False, SYNC, 9))
        five.send(0, b"x")
        self.assertEqual(five.receive().payload, b"x")

    def test_it_ends_after_count_answers_which_arrive(self):
        echo = self.echo("--count", "2", "--verbose")
        five = self.connect_attached(self.port, 5)
        for text in (b"one", b"two"):
            five.send(7, text)
            self.assertEqual(five.receive().payload, text)
        self.assertEqual(echo.wait(), 0)
        self.assertEqual([line[-8:] for line in echo.out.text().splitlines()], ["text one", "text two"])

    def test_a_lost_server_is_status_3(self):
        echo = self.echo()
        self.server.kill()
        self.assertEqual(echo.wait(), 3)


class JayPing(EchoCase):
    def ping(self, *arguments):
        return self.jay("ping", "--id", "5", "--to", "7", *arguments)

    def test_each_answer_is_a_line_and_a_summary_follows(self):
        self.echo()
        status, out, err = self.ping("--count", "3", "--interval", "10", "--size", "100")
        self.assertEqual((status, err), (0, ""))
        lines = out.splitlines()
        for i in range(3):
            self.assertRegex(lines[i], rf"^100 bytes from client 7: seq={i + 1} time=\d+\.\d{{3}} ms$")
        self.assertEqual(lines[3], "--- client 7 ---")
        self.assertRegex(lines[4], r"^3 sent, 3 answered, 0\.0% lost, \d+ ms$")
        self.assertRegex(lines[5], SUMMARY)

    def test_the_figures_are_in_order(self):
        self.echo()
        status, out, _ = self.ping("--count", "200", "--interval", "0", "--quiet", "--json")
        self.assertEqual((status, out.count("\n")), (0, 1))
        shown = json.loads(out)
        self.assertEqual((shown["sent"], shown["answered"], shown["lost"], shown["loss_percent"]), (200, 200, 0, 0))
        self.assertTrue(0 < shown["min_ms"] <= shown["median_ms"] <= shown["p99_ms"] <= shown["max_ms"], shown)

    def test_the_longest_and_the_shortest_come_back(self):
        self.echo()
        for size in (0, 65519):
            self.assertIn(f"{size} bytes from client 7: seq=1", self.ping("--count", "1", "--size", size)[1])

    def test_losses_are_told(self):
        seven = self.connect_attached(self.port, 7)
        process = self.start("jay", "ping", "--id", "5", "--to", "7", "--port", self.port, "--count", "2", "--interval", "0",
                             "--timeout", "300")
        seven.receive()
        question = seven.receive()  # which is sent when the first is given up
        seven.send(5, question.payload, section=question.section)
        self.assertEqual(process.wait(), 0)
        out = process.out.text()
        for part in ("nothing from client 7: seq=1 within 300 ms\n", "bytes from client 7: seq=2", "2 sent, 1 answered, 50.0% lost"):
            self.assertIn(part, out)

    def test_no_answer_at_all_is_status_1(self):
        status, out, err = self.ping("--count", "1", "--timeout", "100", "--json")
        self.assertEqual(status, 1)
        self.assert_one_line(err, "'jay echo --id 7'")
        self.assertEqual([json.loads(line).get("lost") for line in out.splitlines()], [True, 1])

    def test_an_interrupt_ends_with_the_summary(self):
        self.echo()
        process = self.start("jay", "ping", "--id", "5", "--to", "7", "--port", self.port, "--interval", "60000")
        self.assertIn("seq=1", process.out.next_line())
        self.assertEqual(process.stop(signal.SIGINT), 130)
        self.assertIn("1 sent, 1 answered, 0.0% lost", process.out.text())

    def test_a_signal_before_any_answer_is_status_128_and_its_number(self):
        seven = self.connect_attached(self.port, 7)
        process = self.start("jay", "ping", "--id", "5", "--to", "7", "--port", self.port, "--timeout", "60000")
        seven.receive()
        self.assertEqual(process.stop(signal.SIGTERM), 143)
        self.assertIn("1 sent, 0 answered", process.out.text())

    def test_a_lost_server_is_status_3_behind_the_summary(self):
        self.echo()
        process = self.start("jay", "ping", "--id", "5", "--to", "7", "--port", self.port, "--interval", "60000")
        process.out.next_line()
        self.server.kill()
        self.assertEqual(process.wait(), 3)
        self.assertIn("1 sent, 1 answered", process.out.text())

    def test_it_ends_quietly_when_the_reader_of_its_output_goes(self):
        self.echo()
        reading, writing = os.pipe()
        process = self.start("jay", "ping", "--id", "5", "--to", "7", "--port", self.port, "--interval", "10", stdout=writing)
        os.close(writing)
        os.read(reading, 1)
        os.close(reading)
        self.assertEqual((process.wait(), process.err.text()), (0, ""))

    def test_numbers_that_do_not_fit_are_refused(self):
        for option, value in (("--size", "65520"), ("--count", "0"), ("--interval", "-1"), ("--timeout", "x"), ("--to", "32")):
            status, out, err = self.ping(option, value)
            self.assertEqual((status, out), (2, ""))
            self.assert_one_line(err, option)


if __name__ == "__main__":
    main()
