"""The bus between real processes: clients in C++ and C, clients that misbehave or die, a server that dies."""
import random
import signal
import threading

from cases import BROADCAST, SYNC, Case, eventually, main, pack, state_of, tcp_connections

EVERY_BYTE = bytes(range(256))


class ClientProcess:
    """demo_client or demo_client_c, told to send and asked what it has got."""

    def __init__(self, case, program, number, port):
        self.number = number
        self.process = case.start(program, number, port)

    def send(self, dest, payload, flag=0, priority=0, section=0, stamp=0):
        self.process.write_line(f"send {dest} {flag} {priority} {section} {stamp} {payload.hex() or '-'}")

    def receive(self):
        """Source, destination, flag, priority, section, payload."""
        words = self.process.out.next_line().split()
        assert words[0] == "got", words
        payload = b"" if words[8] == "-" else bytes.fromhex(words[8])
        assert int(words[7]) == 16 + len(payload), words
        return (*map(int, words[1:6]), payload)

    def round_trip(self):
        self.send(self.number, b"round trip")
        while self.receive()[5] != b"round trip":
            pass

    def halt(self):
        self.process.send_signal(signal.SIGSTOP)
        eventually(lambda: state_of(self.process) == "T")


class BusCase(Case):
    def setUp(self):
        super().setUp()
        self.server, self.port = self.start_server()

    def client(self, number, program="demo_client"):
        client = ClientProcess(self, program, number, self.port)
        client.round_trip()
        return client


class BusClients(BusCase):
    def exchange(self, first_program, second_program):
        first, second = self.client(5, first_program), self.client(7, second_program)
        longest = random.Random(1).randbytes(65519)
        for payload in (b"", b"\x00", EVERY_BYTE, longest):
            for sender, receiver in ((first, second), (second, first)):
                sender.send(receiver.number, payload, priority=255, section=-7)
                self.assertEqual(receiver.receive(), (sender.number, receiver.number, 0, 255, -7, payload))

    def test_cpp_and_cpp_exchange_every_byte(self):
        self.exchange("demo_client", "demo_client")

    def test_cpp_and_c_exchange_every_byte(self):
        self.exchange("demo_client", "demo_client_c")

    def test_c_and_c_exchange_every_byte(self):
        self.exchange("demo_client_c", "demo_client_c")

    def test_a_sync_message_from_c_goes_to_client_0(self):
        zero, five = self.client(0), self.client(5, "demo_client_c")
        five.send(9, b"look", flag=SYNC)
        self.assertEqual(zero.receive(), (5, 9, SYNC, 0, 0, b"look"))

    def test_a_broadcast_from_c_goes_to_all_others_that_are_connected(self):
        others = [self.client(number) for number in (0, 9, 31)]
        five = self.client(5, "demo_client_c")
        five.send(0, b"all", flag=BROADCAST, priority=1)
        for other in others:
            self.assertEqual(other.receive(), (5, other.number, 0, 1, 0, b"all"))
        five.send(5, b"own")
        self.assertEqual(five.receive()[5], b"own")

    def test_a_thousand_messages_each_way_at_once_all_arrive_in_order(self):
        pair = self.client(5), self.client(7)
        for i in range(1000):
            for sender, receiver in (pair, pair[::-1]):
                sender.send(receiver.number, b"%d" % i, priority=2, section=i)
        for receiver in pair:
            self.assertEqual([receiver.receive()[4] for _ in range(1000)], list(range(1000)))

    def test_a_client_that_takes_the_id_of_another_replaces_it(self):
        former, sender = self.client(7), self.client(5)
        latter = self.client(7)
        former.process.out.wait_for("lost")
        self.assertEqual(former.process.wait(), 0)
        sender.send(7, b"hello")
        self.assertEqual(latter.receive()[5], b"hello")

    def test_the_hello_programs_greet(self):
        receiver = self.start("hello_receiver", self.port)
        self.server.err.wait_for("CA(7) connected")
        self.assertEqual(self.run_program("hello_sender", self.port), (0, "client 5 said: hello from C++\n", ""))
        self.assertEqual(receiver.wait(), 0)
        self.assertEqual(receiver.out.text(), "client 5 says: hello from C++\n")

    def test_the_hello_sender_says_when_there_is_no_server(self):
        status, _, err = self.run_program("hello_sender", self.closed_port())
        self.assertEqual(status, 1)
        self.assert_one_line(err, "cannot reach a bus server")


class BusHardships(BusCase):
    def test_a_client_killed_while_the_server_writes_to_it_harms_nobody(self):
        victim, five, nine = self.client(7), self.client(5), self.client(9)
        victim.halt()
        for section in range(150):
            five.send(7, bytes(60000), priority=2, section=section)
        five.round_trip()
        victim.process.kill()
        self.server.err.wait_for("SA(7)>> disconnected!!!")
        five.send(9, b"life goes on")
        self.assertEqual(nine.receive()[5], b"life goes on")

        heir = ClientProcess(self, "demo_client", 7, self.port)
        five.send(7, b"last", priority=2, section=150)
        sections = []
        while not sections or sections[-1] != 150:
            sections.append(heir.receive()[4])
        # What was on the way when it died is lost, and what waited in the server is not: no gap but at the start.
        self.assertEqual(sections, list(range(sections[0], 151)))
        self.assertLess(sections[0], 150)

    def test_clients_killed_and_back_again_are_served_every_time(self):
        five = self.client(5)
        for round_number in range(10):
            seven = self.client(7, ("demo_client", "demo_client_c")[round_number % 2])
            five.send(7, b"round %d" % round_number)
            self.assertEqual(seven.receive()[5], b"round %d" % round_number)
            seven.process.kill()

    def test_a_killed_server_is_noticed_by_clients_in_cpp(self):
        clients = [self.client(number) for number in (0, 5, 31)]
        self.server.kill()
        for client in clients:
            client.process.out.wait_for("lost")
            self.assertEqual(client.process.wait(), 0)

    def test_a_killed_server_leaves_clients_in_c_unharmed(self):
        five = self.client(5, "demo_client_c")
        self.server.kill()
        for _ in range(20):
            five.send(7, bytes(1000))  # goes nowhere, as is said
        five.process.close_input()
        self.assertEqual(five.process.wait(), 0)
        self.assertEqual(five.process.err.text(), "")

    def test_a_server_killed_while_a_client_writes_to_it_is_noticed(self):
        five = self.client(5)
        self.server.send_signal(signal.SIGSTOP)
        eventually(lambda: state_of(self.server) == "T")
        writer = threading.Thread(target=self.send_until_it_ends, args=(five,))
        writer.start()
        eventually(lambda: self.bytes_not_read_by_the_server() > 60000)
        self.server.kill()
        five.process.out.wait_for("lost")
        self.assertEqual(five.process.wait(), 0)
        writer.join()

    @staticmethod
    def send_until_it_ends(client):
        try:
            while True:
                client.send(7, bytes(60000))
        except BrokenPipeError:
            pass

    def bytes_not_read_by_the_server(self):
        return sum(c.receiving for c in tcp_connections() if c.local == self.port)

    def test_messages_survive_the_client_that_sent_them(self):
        five = self.client(5)
        for section in range(100):
            five.send(7, EVERY_BYTE, priority=2, section=section)
        five.round_trip()
        five.process.kill()
        seven = ClientProcess(self, "demo_client", 7, self.port)
        for section in range(100):
            self.assertEqual(seven.receive()[4:], (section, EVERY_BYTE))

    def test_a_greeting_with_an_id_beyond_31_is_left_unused(self):
        stranger = self.connect(self.port, 40)
        self.server.err.wait_for("CM>> CA(40) connected OK!!!")
        stranger.send(7, b"from nobody")
        five = self.client(5)
        five.round_trip()
        self.assertFalse(self.has_bytes(stranger))
        self.assertEqual(self.server.stop(), 0)

    def test_a_connection_closed_before_its_greeting_is_told_and_the_next_one_is_served(self):
        self.connect(self.port).close()
        self.server.err.wait_for("CM>> error connect CA!!!")
        self.client(5)

    def test_a_message_for_an_id_beyond_31_is_told_and_dropped(self):
        five = self.connect_attached(self.port, 5)
        five.send(32, b"nobody")
        five.send(65535, b"nobody")
        self.server.err.wait_for("SM>> error dest id = 32")
        self.server.err.wait_for("SM>> error dest id = 65535")
        five.round_trip()

    def test_lengths_below_a_header_are_taken_as_a_header_alone(self):
        five = self.connect_attached(self.port, 5)
        for length in (0, 1, 8, 15, 16):
            five.socket.sendall(length.to_bytes(2, "little") + pack(5, 5, section=length)[2:])
            m = five.receive()
            self.assertEqual((m.length, m.section), (16, length))

    def test_a_message_in_pieces_is_one_message(self):
        five = self.connect_attached(self.port, 5)
        for byte in pack(5, 5, b"in pieces"):
            five.socket.sendall(bytes([byte]))
        self.assertEqual(five.receive().payload, b"in pieces")

    def test_noise_harms_nobody_else(self):
        noise = random.Random(2)
        for number in range(10, 20):
            client = self.connect_attached(self.port, number)
            try:
                client.socket.sendall(noise.randbytes(100000))
            except ConnectionError:
                pass
            client.close()
        five, seven = self.client(5), self.client(7)
        five.send(7, b"undisturbed")
        while seven.receive()[5] != b"undisturbed":
            pass  # the noise may hold messages for it
        self.assertEqual(self.server.stop(), 0)

    @staticmethod
    def has_bytes(client):
        client.socket.setblocking(False)
        try:
            client.socket.recv(1)
            return True  # or the end of the connection
        except BlockingIOError:
            return False


if __name__ == "__main__":
    main()
