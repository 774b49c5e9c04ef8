"""jay bench: throughput and latency."""
import json
import re
import signal

from cases import JayCase, Terminal, main

HEADING = "bytes messages per sec MB/s min us median us p99 us max us"
VALUES = 8


class JayBench(JayCase):
    def bench(self, *arguments, **options):
        return self.jay("bench", "--count", "50", *arguments, **options)

    def test_a_table_has_a_row_for_each_size(self):
        status, out, err = self.bench("--size", "0,1000")
        self.assertEqual(status, 0)
        self.assert_one_line(err, "measuring between clients 31 and 30")
        heading, *rows = out.splitlines()
        self.assertEqual(" ".join(heading.split()), HEADING)
        figures = [[float(word) for word in row.split()] for row in rows]
        self.assertEqual([row[:2] for row in figures], [[0, 50], [1000, 50]])
        for row in figures:
            self.assertGreater(row[2], 0)
            self.assertEqual(row[4:], sorted(row[4:]))

    def test_the_usual_sizes(self):
        _, out, _ = self.bench()
        self.assertEqual([row.split()[0] for row in out.splitlines()[1:]], ["16", "256", "4096", "60000"])

    def test_json_is_an_object_for_each_size(self):
        status, out, _ = self.bench("--size", "10", "--size", "65519", "--json")
        self.assertEqual(status, 0)
        results = [json.loads(line) for line in out.splitlines()]
        self.assertEqual([(r["size"], r["messages"]) for r in results], [(10, 50), (65519, 50)])
        for r in results:
            self.assertAlmostEqual(r["messages_per_second"] * r["seconds"], 50, places=3)
            self.assertAlmostEqual(r["megabytes_per_second"], r["messages_per_second"] * r["size"] / 1e6, places=3)
            us = r["latency_us"]
            self.assertTrue(0 < us["min"] <= us["median"] <= us["p99"] <= us["max"], us)

    def test_its_ids_can_be_told(self):
        self.assertIn("clients 3 and 4", self.bench("--id", "3,4", "--size", "1")[2])

    def test_two_different_ids_are_wanted(self):
        for ids in ("3", "3,3", "3,4,5", "3,40"):
            status, out, err = self.bench("--id", ids)
            self.assertEqual((status, out), (2, ""))
            self.assert_one_line(err, "--id")

    def test_numbers_that_do_not_fit_are_refused(self):
        for option, value in (("--size", "65520"), ("--size", "1,x"), ("--count", "0")):
            status, out, err = self.jay("bench", option, value)
            self.assertEqual((status, out), (2, ""))
            self.assert_one_line(err, option)

    def test_quiet_says_nothing_but_the_table(self):
        self.assertEqual(self.bench("--size", "1", "--quiet")[2], "")

    def test_an_output_that_is_full_is_told(self):
        for options in ([], ["--json"]):
            with open("/dev/full", "wb") as full:
                process = self.start("jay", "bench", "--port", self.port, "--count", "10", "--quiet", *options, stdout=full)
            self.assertEqual(process.wait(), 1)
            self.assert_one_line(process.err.text(), "cannot write", "No space left")

    def test_what_waited_for_its_ids_does_not_disturb(self):
        five = self.connect_attached(self.port, 5)
        for number in (30, 31):
            five.send(number, b"waits", section=7)
        five.round_trip()
        self.assertEqual(self.bench("--size", "1")[0], 0)

    def test_an_interrupt_ends_it_with_status_130(self):
        process = self.start("jay", "bench", "--port", self.port, "--count", "10000000", "--size", "1")
        process.err.next_line()
        self.assertEqual((process.stop(signal.SIGINT), process.out.text()), (130, ""))

    def test_a_lost_server_is_status_3(self):
        process = self.start("jay", "bench", "--port", self.port, "--count", "10000000", "--size", "1")
        process.err.next_line()
        self.server.kill()
        self.assertEqual(process.wait(), 3)
        self.assertIn("lost the connection", process.err.text())

    def test_a_server_that_halts_is_status_1(self):
        process = self.start("jay", "bench", "--port", self.port, "--count", "10000000", "--size", "1", "--timeout", "300")
        process.err.next_line()
        self.server.send_signal(signal.SIGSTOP)
        self.assertEqual(process.wait(), 1)
        self.server.send_signal(signal.SIGCONT)
        self.assertIn("did not arrive within 300 ms", process.err.text())


class JayBenchTerminal(JayCase):
    def run_on_terminals(self, width, *arguments, stdout=None):
        """What it draws on standard error, a terminal of that width."""
        screen = Terminal(width)
        process = self.start("jay", "bench", "--port", self.port, "--count", "300", "--size", "60000", *arguments,
                             stderr=screen.slave, **({"stdout": stdout} if stdout else {}))
        self.assertEqual(process.wait(), 0)
        return screen.read_all()

    def bars(self, drawn):
        """What stood on the line of the bar, one after the other; the note before it is left out."""
        return [part for part in re.split(r"\r\x1b\[K|\r?\n", drawn) if "%" in part]

    def test_a_bar_is_drawn_and_taken_away(self):
        drawn = self.run_on_terminals(80)
        bars = self.bars(drawn)
        self.assertRegex(bars[0], r"^60000 bytes \[#*-+\] +\d+%$")
        self.assertTrue(drawn.endswith("\r\x1b[K"), drawn)

    def test_the_bar_stays_on_one_line_of_any_terminal(self):
        for width in (200, 40, 26, 20, 12, 6, 5):
            for bar in self.bars(self.run_on_terminals(width)):
                self.assertLess(len(bar), width)

    def test_a_terminal_of_a_few_columns_gets_no_bar(self):
        for width in (4, 1):
            self.assertEqual(self.bars(self.run_on_terminals(width)), [])

    def test_quiet_draws_nothing(self):
        self.assertEqual(self.run_on_terminals(80, "--quiet"), "")

    def test_a_table_wider_than_the_terminal_is_written_line_by_line(self):
        for width in (200, 40):
            screen = Terminal(width)
            process = self.start("jay", "bench", "--port", self.port, "--count", "10", "--size", "1", stdout=screen.slave)
            self.assertEqual(process.wait(), 0)
            lines = screen.read_all().splitlines()
            self.assertTrue(lines[0].lstrip().startswith("bytes"))
            self.assertLess(max(map(len, lines)), width)
            self.assertEqual(len(lines), 2 if width == 200 else VALUES)


if __name__ == "__main__":
    main()
