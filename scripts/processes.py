"""Programs that run beside the one that started them: the demonstration and the integration tests are made of these.

A Process gets lines on its standard input; waiting for its output has always a limit. It is ended by its process id, never by name.
A Bus is a real jayd on a port of its own.
"""
import os
import random
import shlex
import signal
import subprocess
import threading
import time
from pathlib import Path

# How often longer everything may take: in builds with sanitizers, and under emulation.
SLOWNESS = float(os.environ.get("JAY_SLOWNESS", "1"))

# What a program of another machine is run with.
EMULATOR = shlex.split(os.environ.get("JAY_EMULATOR", ""))

# Nothing here ever waits longer for what should come at once.
LIMIT = 20 * SLOWNESS


class TimeUp(Exception):
    """What was waited for did not come."""


class Stream:
    """The lines of a pipe, collected by a thread so that no process ever waits for us to read."""

    def __init__(self, pipe):
        self._lines = []
        self._taken = 0
        self._ended = False
        self._changed = threading.Condition()
        self._thread = threading.Thread(target=self._collect, args=(pipe,), daemon=True)
        self._thread.start()

    def _collect(self, pipe):
        with pipe:
            for line in pipe:
                self._add(line.decode(errors="backslashreplace").rstrip("\n"))
        with self._changed:
            self._ended = True
            self._changed.notify_all()

    def _add(self, line):
        with self._changed:
            self._lines.append(line)
            self._changed.notify_all()

    def next_line(self, limit=LIMIT):
        """The next line not taken yet; None at the end of the stream."""
        with self._changed:
            if not self._changed.wait_for(lambda: self._taken < len(self._lines) or self._ended, limit):
                raise TimeUp(f"no line within {limit:g} s; so far: {self._lines}")
            if self._taken == len(self._lines):
                return None
            self._taken += 1
            return self._lines[self._taken - 1]

    def wait_for(self, text, limit=LIMIT):
        """Takes lines up to the first that holds the text, and returns that one."""
        deadline = time.monotonic() + limit
        while (line := self.next_line(max(0, deadline - time.monotonic()))) is not None:
            if text in line:
                return line
        raise TimeUp(f"ended without a line with '{text}': {self._lines}")

    def is_empty(self):
        """Whether no line waits to be taken."""
        with self._changed:
            return self._taken == len(self._lines)

    def text(self):
        """All that was written, once the process has ended, and every other process that holds the pipe."""
        self._thread.join(LIMIT)
        with self._changed:
            if not self._ended:
                raise TimeUp(f"a process still holds the pipe after {LIMIT:g} s; so far: {self._lines}")
            return "".join(line + "\n" for line in self._lines)


class Process:
    """A running program. In a session of its own: Ctrl-C reaches only us, and we end it."""

    def __init__(self, *command, **options):
        self.command = [str(word) for word in command]
        pipes = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options}
        self._popen = subprocess.Popen(self.command, start_new_session=True, **pipes)
        self.out = Stream(self._popen.stdout) if self._popen.stdout else None
        self.err = Stream(self._popen.stderr) if self._popen.stderr else None

    @property
    def pid(self):
        return self._popen.pid

    def is_running(self):
        return self._popen.poll() is None

    def write_line(self, line):
        self._popen.stdin.write(line.encode() + b"\n")
        self._popen.stdin.flush()

    def close_input(self):
        self._popen.stdin.close()

    def send_signal(self, number):
        """Sends a signal if the process has not ended: its id may be somebody else's by then."""
        if self.is_running():
            os.kill(self.pid, number)

    def wait(self, limit=LIMIT):
        """The exit status, negative for the signal that ended it."""
        try:
            return self._popen.wait(limit)
        except subprocess.TimeoutExpired:
            raise TimeUp(f"'{' '.join(self.command)}' has not ended within {limit:g} s") from None

    def stop(self, number=signal.SIGTERM, limit=LIMIT):
        self.send_signal(number)
        return self.wait(limit)

    def kill(self):
        """Ends it whatever it does, also one that is stopped."""
        self.send_signal(signal.SIGKILL)
        self.wait()
        if self._popen.stdin:
            try:
                self._popen.stdin.close()
            except BrokenPipeError:
                pass  # it had not read everything


class Programs:
    """Starts programs of a build, and sees to it that none outlives the scope."""

    def __init__(self, build_dir):
        self.build_dir = Path(build_dir)
        self._processes = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kill_all()

    def path(self, name):
        """The program, wherever the build has put it."""
        for folder in ("tools", "examples", "."):
            if (self.build_dir / folder / name).is_file():
                return self.build_dir / folder / name
        raise FileNotFoundError(f"no {name} in {self.build_dir}: is it built?")

    def start(self, name, *arguments, **options):
        path = self.path(name)
        process = Process(*runner_of(path), path, *arguments, **options)
        self._processes.append(process)
        return process

    def start_server(self, *arguments, **options):
        """A jayd that listens, on a port that was free, which is returned with it."""
        for _ in range(20):
            port = random_port()
            server = self.start("jayd", "--port", port, *arguments, **options)
            line = server.err.next_line()
            if line == f"jayd: listening on port {port}":
                return server, port
            server.kill()
            if "is in use" not in (line or ""):
                raise RuntimeError(f"jayd does not start: {line}")
        raise RuntimeError("found no free port")

    def kill_all(self):
        for process in self._processes:
            process.kill()


def runner_of(path):
    """What a file of the build is run with: a script needs nothing."""
    with open(path, "rb") as file:
        return EMULATOR if file.read(4) == b"\x7fELF" else []


def random_port():
    """Most likely free, and not among those that the system gives to the near end of connections."""
    return random.randrange(10000, 32000)
