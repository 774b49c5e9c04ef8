"""The programs in README.md, compiled and run as they stand there; only the port is another one."""
import os
import re
import shlex
import subprocess
import tempfile
from pathlib import Path

from cases import BUILD_DIR, ROOT, Case, main

COMPILERS = {"cpp": shlex.split(os.environ.get("JAY_CXX", "c++")) + ["-std=c++17"],
             "c": shlex.split(os.environ.get("JAY_CC", "cc")) + ["-std=c99"]}
PORT_IN_THE_TEXT = "7000"


class Readme(Case):
    def build(self, language, port):
        """The page's one program in a language, linked with the library of the build."""
        page = (ROOT / "README.md").read_text(encoding="utf-8")
        blocks = re.findall(rf"^```{language}\n(.*?)^```", page, re.DOTALL | re.MULTILINE)
        self.assertEqual(len(blocks), 1, f"programs in {language}")
        self.assertIn(PORT_IN_THE_TEXT, blocks[0])
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        source = Path(folder.name) / f"program.{language}"
        source.write_text(blocks[0].replace(PORT_IN_THE_TEXT, str(port)), encoding="utf-8")
        program = Path(folder.name) / "program"
        subprocess.run([*COMPILERS[language], "-Wall", "-Wextra", "-Werror", f"-I{ROOT}", source, f"-L{BUILD_DIR}", "-ljay",
                        f"-Wl,-rpath,{BUILD_DIR}", "-pthread", "-o", program], check=True)
        return program

    def test_the_program_in_cpp_sends_its_message(self):
        program = self.build("cpp", self.closed_port())
        emulator = shlex.split(os.environ.get("JAY_EMULATOR", ""))
        done = subprocess.run([*emulator, program], check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=100)
        self.assertEqual(done.stdout, b"client 5 says hello\n")

    def test_the_program_in_c_sends_its_message(self):
        _, port = self.start_server()
        seven = self.connect_attached(port, 7)
        program = self.build("c", port)
        emulator = shlex.split(os.environ.get("JAY_EMULATOR", ""))
        subprocess.run([*emulator, program], check=True, timeout=100)
        message = seven.receive()
        self.assertEqual((message.src, message.dest, message.payload), (5, 7, b"\x05hello"))


if __name__ == "__main__":
    main()
