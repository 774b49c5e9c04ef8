"""What the tests of the commands that work on files share."""
import json
import os
import shutil
import struct
import subprocess
import tempfile
from pathlib import Path

from cases import LIMIT, Case
from processes import runner_of


def record(number, text, slack=b""):
    """A record as it is in a database's file."""
    size = bytes([len(text)]) if len(text) < 254 else b"\xfe" + struct.pack("<H", len(text))
    body = struct.pack("<i", number) + size + text + slack
    return struct.pack("<i", len(body)) + body


def database(*records, count=None, end=None):
    """The file of a database, whole unless told otherwise."""
    body = b"".join(records)
    return struct.pack("<ii", len(records) if count is None else count, 8 + len(body) if end is None else end) + body


# As docs/database-format.md has it: "abc" was moved, "tomatoes" became "salt".
EXAMPLE = database(record(-1, b"abc"), record(2, b"salt", b"toes"), record(3, b"abcdef"))


class FileCase(Case):
    """Has a directory of its own, in which the tool is run."""

    def setUp(self):
        super().setUp()
        self.folder = Path(tempfile.mkdtemp(prefix="jay-test-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def as_somebody(self):
        """Options for jay(), which is then run by a user who may do little. In a coverage build it writes its counts elsewhere."""
        place = tempfile.mkdtemp(prefix="jay-test-")
        self.addCleanup(shutil.rmtree, place)
        os.chmod(place, 0o777)
        return {"preexec_fn": give_up_rights, "env": {**os.environ, "GCOV_PREFIX": place}}

    def file(self, name, content):
        (self.folder / name).write_bytes(content)
        return name

    def jay(self, *arguments, given=b"", **options):
        """Runs the tool to its end: status, standard output, standard error."""
        path = self.programs.path("jay")
        command = [*runner_of(path), str(path), *(os.fsencode(str(word)) for word in arguments)]
        options = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
        done = subprocess.run(command, input=given, cwd=self.folder, timeout=LIMIT, check=False, **options)
        return done.returncode, (done.stdout or b"").decode(), (done.stderr or b"").decode()

    def refuse(self, *arguments, status=2, **options):
        """It says in one line what is wrong, which is returned, and shows nothing."""
        done, out, err = self.jay(*arguments, **options)
        self.assertEqual((done, out), (status, ""), err)
        self.assert_one_line(err, "jay: ")
        return err

    def objects(self, *arguments, status=0, **options):
        """What it shows as JSON."""
        done, out, err = self.jay(*arguments, "--json", **options)
        self.assertEqual(done, status, err)
        return [json.loads(line) for line in out.splitlines()]

    def assert_harmless(self, text):
        """Nothing in it but line ends, tabs and what can be printed."""
        harmful = [c for c in text if not c.isprintable() and c not in "\n\t"]
        self.assertEqual(harmful, [], text[:1000])


def give_up_rights():
    """Makes a child that may do anything one that may not: for subprocess's preexec_fn."""
    if os.geteuid() == 0:
        os.setgroups([])
        os.setgid(65534)
        os.setuid(65534)
