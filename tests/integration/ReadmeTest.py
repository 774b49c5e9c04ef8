"""The programs in README.md, compiled and run as they stand there; only the port is another one."""
import os
import re
import shlex
import signal
import subprocess
import tempfile
from pathlib import Path

from cases import BUILD_DIR, ROOT, Case, main
from processes import Process, runner_of

COMPILERS = {"cpp": shlex.split(os.environ.get("JAY_CXX", "c++")) + ["-std=c++17"],
             "c": shlex.split(os.environ.get("JAY_CC", "cc")) + ["-std=c99"]}
PORT_IN_THE_TEXT = "7000"


def programs_in_the_text():
    """Language and source of each, in their order."""
    page = (ROOT / "README.md").read_text(encoding="utf-8")
    return re.findall(r"^```(\w+)\n(.*?)^```", page, re.DOTALL | re.MULTILINE)


class Readme(Case):
    def build(self, number, port):
        """One of the page's programs, linked with the library of the build."""
        language, text = programs_in_the_text()[number]
        self.assertIn(PORT_IN_THE_TEXT, text)
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        source = Path(folder.name) / f"program.{language}"
        source.write_text(text.replace(PORT_IN_THE_TEXT, str(port)), encoding="utf-8")
        program = Path(folder.name) / "program"
        subprocess.run([*COMPILERS[language], "-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Werror", f"-I{ROOT}", source,
                        f"-L{BUILD_DIR}", "-ljay", f"-Wl,-rpath,{BUILD_DIR}", "-pthread", "-o", program], check=True)
        return program

    def start_program(self, number, port):
        program = self.build(number, port)
        process = Process(*runner_of(program), program)
        self.addCleanup(process.kill)
        return process

    def test_each_program_has_a_test_here(self):
        self.assertEqual([language for language, _ in programs_in_the_text()], ["cpp", "cpp", "c"])

    def test_server_and_two_clients_in_cpp(self):
        program = self.start_program(0, self.closed_port())
        self.assertEqual((program.wait(), program.out.text()), (0, "client 5 says hello\n"))

    def test_client_0_in_cpp_is_told_who_is_missing(self):
        _, port = self.start_server()
        zero = self.start_program(1, port)
        self.connect_attached(port, 5).send(7, b"are you there?")
        self.assertEqual(zero.out.next_line(), "client 7 is wanted by client 5")
        zero.stop(signal.SIGTERM)

    def test_client_0_in_cpp_gives_up_without_a_server(self):
        self.assertEqual(self.start_program(1, self.closed_port()).wait(), 1)

    def test_the_client_in_c_sends_its_message(self):
        _, port = self.start_server()
        seven = self.connect_attached(port, 7)
        five = self.start_program(2, port)
        self.assertEqual((five.wait(), five.out.text()), (0, "sent\n"))
        message = seven.receive()
        self.assertEqual((message.src, message.dest, message.payload), (5, 7, b"\x05hello"))

    def test_the_client_in_c_gives_up_without_a_server(self):
        five = self.start_program(2, self.closed_port())
        self.assertEqual((five.wait(), five.out.text()), (1, "no server has answered\n"))


if __name__ == "__main__":
    main()
