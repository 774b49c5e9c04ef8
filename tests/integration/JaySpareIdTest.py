"""jay: commands to which no id is given."""
import json

from cases import JayCase, main


class JaySpareId(JayCase):
    def test_a_command_without_an_id_takes_the_highest_spare_one(self):
        seven = self.connect_attached(self.port, 7)
        self.send("--to", "7", "hello")
        self.assertEqual(seven.receive().src, 31)

    def test_an_id_that_another_jay_uses_is_not_taken_from_it(self):
        seven = self.connect_attached(self.port, 7)
        listeners = [self.listen(number) for number in (31, 29)]
        for _ in range(2):
            sender = self.start("jay", "send", "--to", "7", "--port", self.port, "-")
            sender.write_line("hello")
            self.assertEqual(seven.receive().src, 30)
            question = self.start("jay", "request", "--to", "7", "--port", self.port, "hello")
            message = seven.receive()
            self.assertEqual(message.src, 28)
            seven.send(28, b"yes", section=message.section)
            self.assertEqual(question.wait(), 0, question.err.text())
            sender.close_input()
            self.assertEqual((sender.wait(), sender.err.text()), (0, ""))
        for listener in listeners:
            self.assertTrue(listener.is_running())

    def test_the_benchmark_takes_two(self):
        self.listen(31)
        status, _, err = self.jay("bench", "--count", "20", "--size", "1")
        self.assertEqual(status, 0)
        self.assertIn("measuring between clients 30 and 29 at ", err)

    def test_it_is_told_when_none_is_left(self):
        listener = self.start("jay", "listen", "--id", ",".join(map(str, range(24, 32))), "--port", self.port)
        self.assertIn("listening as clients 24, 25", listener.err.next_line())
        status, out, err = self.jay("send", "--to", "7", "hello")
        self.assertEqual((status, out), (1, ""))
        self.assert_one_line(err, "use all spare ids, 24 to 31; choose an id with --id")

    def test_messages_that_waited_for_the_id_are_counted(self):
        seven = self.connect_attached(self.port, 7)
        for _ in range(3):
            seven.send(31, b"waits")
        seven.round_trip()
        status, _, err = self.jay("send", "--to", "7", "hello")
        self.assertEqual((status, err), (0, "jay: 3 messages for client 31 came meanwhile and are lost\n"))

    def test_other_messages_are_counted_by_ping_and_bench(self):
        self.start("jay", "echo", "--id", "7", "--port", self.port).err.next_line()
        eight = self.connect_attached(self.port, 8)
        eight.send(31, b"waits")
        eight.round_trip()
        _, out, err = self.jay("ping", "--to", "7", "--count", "1", "--json", "--quiet")
        self.assertEqual((json.loads(out)["answered"], err), (1, ""))
        eight.send(31, b"waits")
        eight.round_trip()
        self.assertIn("jay: 1 message for client 31 came meanwhile and is lost\n", self.jay("ping", "--to", "7", "--count", "1")[2])
        eight.send(31, b"waits")
        eight.round_trip()
        self.assertIn("jay: 1 message for clients 31, 30 came meanwhile and is lost\n", self.jay("bench", "--count", "10", "--size", "1")[2])


if __name__ == "__main__":
    main()
