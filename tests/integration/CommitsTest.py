"""scripts/check-commits.sh: the form of commit messages."""
import subprocess

from cases import ROOT, main
from files import FileCase


class Commits(FileCase):
    def check(self, message):
        """Exit status and output for one message."""
        self.file("message", message.encode())
        command = [ROOT / "scripts" / "check-commits.sh", "--message", self.folder / "message"]
        done = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=False)
        return done.returncode, done.stdout

    def test_messages_of_the_right_form_pass(self):
        for message in ("bus: deliver before logging\n", "jay db: count\n\nBecause.\n", "core: JString keeps its hash",
                        "tools/jay, man: x", "a: " + "x" * 69, "a: b\n\n" + "x " * 50, "a: b\n\n" + "x" * 300,
                        "a: " + "\u00e9" * 69, "a: b\n# a comment of git, which may be as long as it likes" + " x" * 60):
            self.assertEqual(self.check(message), (0, ""), message)

    def test_each_fault_is_named(self):
        for message, fault in (("a: " + "x" * 70, "73 characters"), ("no area", "begin with an area"), ("A: b", "area"),
                               ("a:b", "area"), ("a: Add", "capital"), ("a: add.", "period"), ("", "empty"),
                               ("a: b\nbody", "empty line"), ("a: b\n\n" + "x " * 50 + "x", "101 characters")):
            status, out = self.check(message)
            self.assertEqual(status, 1, message)
            self.assertIn(fault, out)

    def test_wrong_use_is_status_2(self):
        for arguments in (["--message"], ["--nonsense"]):
            command = [ROOT / "scripts" / "check-commits.sh", *arguments]
            self.assertEqual(subprocess.run(command, stderr=subprocess.DEVNULL, check=False).returncode, 2)


if __name__ == "__main__":
    main()
