"""The pages for a newcomer, followed on a bare Debian 12: packages are installed, everything is built, nothing is replaced.

It takes about ten minutes and downloads packages, so it runs only when asked for: ctest -C bare -R DocsBare
"""
import os
import shutil
import socket
import unittest

from bare import BareMachine
from cases import BUILD_DIR, ROOT, main
from pages import run_in_order
from DocsTest import ROAD


class DocsBare(unittest.TestCase):
    def setUp(self):
        if os.geteuid() != 0 or not all(shutil.which(name) for name in ("debootstrap", "unshare")):
            self.skipTest("it takes root and debootstrap to make a bare machine")

    def test_the_road_of_a_newcomer_can_be_followed(self):
        with socket.socket() as listener:
            listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            listener.bind(("127.0.0.1", 23117))  # the pages take the default port, and this machine's network is shared
        machine = BareMachine(ROOT)
        self.addCleanup(machine.remove)
        run_in_order([(str(page.relative_to(ROOT)), page.read_text(encoding="utf-8")) for page in ROAD], machine, ROOT, BUILD_DIR)


if __name__ == "__main__":
    main()
