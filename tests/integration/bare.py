"""A bare Debian 12: a root folder with its smallest set of packages, in which a shell sees nothing else of this machine."""
import os
import shutil
import subprocess
import tempfile
from pathlib import Path

MIRROR = os.environ.get("JAY_DEBIAN_MIRROR", "http://deb.debian.org/debian")
HOME = "root"

# Runs "$@" in the folder "$1", with the processes of this root alone in /proc.
ENTER = 'mount -t proc proc /proc && cd "$1" && shift && exec "$@"'


class BareMachine:
    """Looks to a page as a Folder does. The files of the sources are in ~/jay, and nothing is built or installed."""

    runs_sources = True

    def __init__(self, root):
        self._temporary = tempfile.TemporaryDirectory(prefix="jay-bare-")
        self.root = Path(self._temporary.name) / "debian"
        self._install()
        self.path = self.root / HOME / "jay"
        self._copy_sources(root)
        self.prefix = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "chroot", str(self.root),
                       "sh", "-c", ENTER, "sh", f"/{HOME}/jay"]
        self.environment = {"PATH": "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "HOME": f"/{HOME}",
                            "LC_ALL": "C.UTF-8", "TERM": "dumb"}

    def _install(self):
        """A ready root that JAY_BARE_ROOT names is copied; otherwise debootstrap makes one, which takes a minute or two."""
        if ready := os.environ.get("JAY_BARE_ROOT"):
            subprocess.run(["cp", "-a", ready, self.root], check=True)
        else:
            subprocess.run(["debootstrap", "--variant=minbase", "bookworm", self.root, MIRROR], check=True, capture_output=True)
        shutil.copy("/etc/resolv.conf", self.root / "etc/resolv.conf")

    def _copy_sources(self, root):
        names = subprocess.run(["git", "-C", root, "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                               check=True, capture_output=True, text=True).stdout
        for name in filter(None, names.split("\0")):
            (self.path / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(root / name, self.path / name, follow_symlinks=False)

    def outside(self, path):
        """Where the file is that a shell there calls by this path."""
        return self.root / path.lstrip("/")

    def with_ports(self, text):
        """Nothing stands between the programs and the ports that the pages name."""
        return text

    def remove(self):
        self._temporary.cleanup()
