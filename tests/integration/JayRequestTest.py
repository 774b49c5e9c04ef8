"""jay request: a question and its answer."""
import base64
import json
import signal

from cases import JayCase, main, message_fields


class JayRequest(JayCase):
    def setUp(self):
        super().setUp()
        self.seven = self.connect_attached(self.port, 7)

    def ask(self, *arguments):
        return self.start("jay", "request", "--id", "5", "--to", "7", "--port", self.port, *arguments)

    def answered(self, process):
        """Its end, and what it printed: the time and the fields of the answer."""
        self.assertEqual(process.wait(), 0, process.err.text())
        line = process.out.text().rstrip("\n")
        self.assertRegex(line, r"^\d+\.\d{3} ms  \d")
        return message_fields(line[line.index(" ms  ") + 5:])

    def test_the_answer_with_the_same_section_is_printed(self):
        process = self.ask("--section", "-9", "--priority", "3", "are you there?")
        question = self.seven.receive()
        self.assertEqual((question.src, question.priority, question.section, question.payload),
                         (5, 3, 2**32 - 9, b"are you there?"))
        self.seven.send(5, b"yes", section=question.section)
        self.assertEqual(self.answered(process), ("7", "5", "none", "0", "-9", "19", "text yes"))

    def test_other_messages_are_passed_over_and_counted(self):
        eight = self.connect_attached(self.port, 8)
        process = self.ask("hello")
        section = self.seven.receive().section
        self.seven.send(5, b"something else", section=(section + 1) % 2**32)
        self.seven.round_trip()
        eight.send(5, b"me too", section=section)
        eight.round_trip()
        self.seven.send(5, b"yes", section=section)
        self.assertEqual(self.answered(process)[6], "text yes")
        self.assert_one_line(process.err.text(), "2 messages for client 5 came meanwhile and are lost")

    def test_without_a_section_each_question_has_its_own(self):
        sections = set()
        for _ in range(3):
            process = self.ask("hello")
            section = self.seven.receive().section
            sections.add(section)
            self.seven.send(5, section=section)
            self.answered(process)
        self.assertEqual(len(sections), 3)

    def test_json_holds_the_time_and_the_answer(self):
        process = self.ask("--json", "--decode", "--items", "int:5")
        question = self.seven.receive()
        self.assertEqual(question.payload, b"\x05\0\0\0")
        self.seven.send(5, b"\x05hello", section=question.section)
        self.assertEqual(process.wait(), 0)
        shown = json.loads(process.out.text())
        self.assertGreater(shown["ms"], 0)
        self.assertEqual((base64.b64decode(shown["base64"]), shown["items"]), (b"\x05hello", [{"type": "str", "value": "hello"}]))

    def test_verbose_shows_a_hex_dump(self):
        process = self.ask("--verbose", "hello")
        self.seven.send(5, b"yes", section=self.seven.receive().section)
        self.assertEqual(process.wait(), 0)
        self.assertIn("79 65 73", process.out.text())

    def test_no_answer_in_time_is_status_1(self):
        status, out, err = self.jay("request", "--id", "5", "--to", "7", "--timeout", "100", "hello")
        self.assertEqual((status, out), (1, ""))
        self.assert_one_line(err, "no answer from client 7 within 100 ms")

    def test_an_interrupt_ends_the_wait(self):
        process = self.ask("hello")
        self.seven.receive()
        self.assertEqual((process.stop(signal.SIGINT), process.out.text()), (130, ""))

    def test_a_server_lost_meanwhile_is_status_3(self):
        process = self.ask("hello")
        self.seven.receive()
        self.server.kill()
        self.assertEqual((process.wait(), process.out.text()), (3, ""))
        self.assert_one_line(process.err.text(), "lost the connection")

    def test_what_is_wrong_is_refused(self):
        for arguments in (["--to", "7"], ["--to", "40", "x"], ["x"], ["--to", "7", "-"], ["--to", "7", "--hex", "0x0"]):
            status, out, err = self.jay("request", "--id", "5", *arguments)
            self.assertEqual((status, out), (2, ""), err)
            self.assert_one_line(err, "jay: ")


if __name__ == "__main__":
    main()
