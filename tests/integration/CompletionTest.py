"""The completions for bash and zsh: what the tools' help says, and what the shells make of it."""
import os
import pty
import re
import select
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

from cases import BUILD_DIR, LIMIT, ROOT, main

sys.path.insert(0, str(ROOT / "scripts"))
from tool_help import all_helps, read_help  # noqa: E402  (the path comes first)

COMPLETIONS = ROOT / "completions"
TOOLS = BUILD_DIR / "tools"


def helps():
    return [*all_helps(TOOLS / "jay"), read_help(TOOLS / "jayd")]


def options_in_the_text(words):
    """The options that begin a line of the help, found without the reader that the completions are made with."""
    text = subprocess.run([TOOLS / words[0], *words[1:], "--help"], check=True, capture_output=True, text=True).stdout
    return set(re.findall(r"--[a-z][a-z-]+", "\n".join(re.findall(r"^ {2,6}(?:-\w, ?)?--[\w-]+", text, re.MULTILINE))))


class Completion(unittest.TestCase):
    def in_bash(self, *words):
        """What bash offers for the last word."""
        script = f'source {COMPLETIONS}/bash/{words[0]}; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _{words[0]}; echo "${{COMPREPLY[*]}}"'
        done = subprocess.run(["bash", "--norc", "-c", script, "bash", *words], check=True, capture_output=True, text=True, cwd=ROOT)
        self.assertEqual(done.stderr, "")
        return done.stdout.split()

    def test_the_files_are_what_the_help_says(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([ROOT / "scripts" / "make-completions.py", BUILD_DIR, folder], check=True)
            for path in Path(folder).glob("*/*"):
                kept = COMPLETIONS / path.relative_to(folder)
                self.assertEqual(path.read_text(), kept.read_text(), f"{kept} is not up to date: scripts/make-completions.py writes it")

    def test_every_option_of_the_help_is_offered(self):
        for described in helps():
            expected = options_in_the_text(described.words)
            self.assertIn("--help", expected)
            self.assertEqual(expected - set(self.in_bash(*described.words, "--")), set(), described.words)

    def test_bash_offers_what_fits(self):
        for words, expected in ((["jay", "se"], ["send"]),
                                (["jay", "send", "--enc"], ["--encoding"]),
                                (["jay", "send", "--encoding", "e"], ["euc-kr"]),
                                (["jay", "send", "--encoding", "=", "r"], ["raw"]),
                                (["jay", "send", "--encoding", "="], ["utf-8", "euc-kr", "raw"]),
                                (["jay", "listen", "--id", "3"], ["3", "30", "31"]),
                                (["jay", "send", "--id", "5", "--to", "7", "--file", "LICEN"], ["LICENSE"]),
                                (["jay", "send", "--port", ""], []),
                                (["jay", "dump", "LICEN"], ["LICENSE"]),
                                (["jayd", "--loc"], ["--local-only"]),
                                (["jayd", "--pid-file", "LICEN"], ["LICENSE"])):
            self.assertEqual(self.in_bash(*words), expected, words)

    def test_zsh_offers_what_fits(self):
        for typed, expected in (("jay se", "jay send "), ("jay send --enc", "--encoding"), ("jay send --encoding eu", "euc-kr"),
                                ("jay dump --form", "--format"), ("jay dump LICEN", "LICENSE"), ("jayd --loc", "--local-only")):
            self.assert_zsh_completes(typed, expected)

    def assert_zsh_completes(self, typed, expected):
        """Types into a real zsh, and waits until it shows the rest."""
        with tempfile.TemporaryDirectory() as home:
            (Path(home) / ".zshrc").write_text(
                f"PS1='ready>'; fpath=({COMPLETIONS}/zsh $fpath); autoload -Uz compinit; compinit -u -D\n")
            process, terminal = pty.fork()
            if process == 0:
                os.chdir(ROOT)
                os.execvpe("zsh", ["zsh", "-i"], {"HOME": home, "ZDOTDIR": home, "TERM": "dumb", "PATH": os.environ["PATH"]})
            try:
                self.read_until(terminal, "ready>")
                os.write(terminal, typed.encode() + b"\t")
                self.read_until(terminal, expected)
            finally:
                os.close(terminal)  # the shell is hung up
                os.waitpid(process, 0)

    def read_until(self, terminal, text):
        seen, deadline = "", time.monotonic() + LIMIT
        while text not in seen:
            ready, _, _ = select.select([terminal], [], [], max(0, deadline - time.monotonic()))
            self.assertTrue(ready, f"no '{text}' in {seen!r}")
            seen += os.read(terminal, 4096).decode(errors="replace").replace("\r", "")


if __name__ == "__main__":
    main()
