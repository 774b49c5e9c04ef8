"""The demonstration: it must show what it says, and must not say so when it is not so."""
import os
import signal
import sys
import tempfile
from pathlib import Path

from cases import BUILD_DIR, LIMIT, ROOT, Case, eventually, main
from processes import Process


class Demo(Case):
    def perform(self, build_dir):
        process = Process(sys.executable, "-B", ROOT / "scripts" / "demo.py", build_dir)
        self.addCleanup(process.kill)
        return process

    def test_every_message_arrives_as_said(self):
        demo = self.perform(BUILD_DIR)
        self.assertEqual(demo.wait(3 * LIMIT), 0, demo.out.text())
        self.assertIn("Every message arrived as announced", demo.out.text())
        self.assertNotIn("FAILED", demo.out.text())
        self.assertEqual(demo.err.text(), "")

    def test_one_wrong_byte_is_a_failure(self):
        with tempfile.TemporaryDirectory() as folder:
            self.spoil(Path(folder), "demo_client_c", "s/fdfeff$/fdfefe/")
            demo = self.perform(folder)
            self.assertEqual(demo.wait(3 * LIMIT), 1)
            self.assertIn("FAILED: client 7 got", demo.out.text())
            self.assertNotIn("arrived as announced", demo.out.text())

    def test_a_missing_program_is_a_failure(self):
        with tempfile.TemporaryDirectory() as folder:
            demo = self.perform(folder)
            self.assertEqual(demo.wait(), 1)
            self.assertIn("FAILED: no jayd", demo.out.text())

    def test_an_interrupt_ends_all_its_processes(self):
        demo = self.perform(BUILD_DIR)
        server = Path("/proc", demo.out.wait_for("jayd runs on port").split()[-1].rstrip("."))
        self.assertTrue(server.exists())
        demo.out.wait_for("An urgent message")
        self.assertEqual(demo.stop(signal.SIGINT), 130)
        eventually(lambda: not server.exists())

    @staticmethod
    def spoil(folder, program, expression):
        """A build whose programs are the real ones, but for one whose output is edited."""
        for part in ("tools", "examples"):
            (folder / part).mkdir()
            for path in (BUILD_DIR / part).iterdir():
                if path.is_file() and os.access(path, os.X_OK):
                    (folder / part / path.name).symlink_to(path)
        target = folder / "examples" / program
        target.unlink()
        emulator = os.environ.get("JAY_EMULATOR", "")
        target.write_text(f'#!/bin/sh\n{emulator} "{BUILD_DIR}/examples/{program}" "$@" | sed -u "{expression}"\n')
        target.chmod(0o755)


if __name__ == "__main__":
    main()
