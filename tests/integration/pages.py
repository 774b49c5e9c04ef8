"""Runs the code blocks in pages of documentation. docs/testing.md describes the rules."""
import json
import os
import re
import shlex
import signal
import subprocess
import tempfile
import time
from collections import namedtuple
from pathlib import Path

from processes import LIMIT, Stream, TimeUp

# number: the line of the opening fence; before: what an HTML comment "<!-- before: ... -->" just above it holds.
Block = namedtuple("Block", "number language words text before")

# Blocks in these languages are not run.
SHOWN = {"text", "bytes", "mermaid", "ini", "lua"}
RUN = {"sh", "console", "c", "cpp", "cmake", "python"}

FENCE = re.compile(r"^```(.*)$")
BEFORE = re.compile(r"<!-- before:\s(.*?)-->\s*\Z", re.DOTALL)
LINK = re.compile(r"\]\(([^)#\s]*)(?:#([^)\s]+))?[^)]*\)")
HEADING = re.compile(r"^#+ (.*)$", re.MULTILINE)
PRESETS = ("debug", "release")
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Werror"]


class PageError(AssertionError):
    """A block that does not do what the page says, or that would not be run."""


def parse(text):
    """The fenced blocks of a page, in their order. A block that is only indented has no language, and is refused."""
    blocks, opening, above, lines = [], None, "", text.splitlines()
    for number, line in enumerate(lines, 1):
        fence = FENCE.match(line)
        if opening is None and fence:
            opening = (number, fence.group(1).strip())
        elif opening is not None and line == "```":
            start, info = opening
            words = info.split()
            before = BEFORE.search(above)
            blocks.append(Block(start, words[0] if words else "", words[1:], "\n".join(lines[start:number - 1]) + "\n",
                                before.group(1) if before else ""))
            opening, above = None, ""
        elif opening is None:
            if line.startswith("    ") and is_indented_code(lines, number - 1):
                raise PageError(f"line {number}: an indented block is not run; put it between ``` and name its language")
            above += line + "\n"
    if opening:
        raise PageError(f"line {opening[0]}: this block has no end")
    return blocks


def is_indented_code(lines, index):
    """Indented behind an empty line, and not the continuation of a list."""
    if index == 0 or lines[index - 1].strip():
        return False
    before = next((line for line in reversed(lines[:index]) if line.strip()), "")
    return not re.match(r"\s|[-*] |\d+\. ", before)


def prose_of(text):
    """The page without its fenced blocks."""
    return re.sub(r"^```.*?^```", "", text, flags=re.DOTALL | re.MULTILINE)


def anchors_of(text):
    """The names that links give to the headings of a page."""
    return {re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-") for heading in HEADING.findall(prose_of(text))}


def missing_links(page, text):
    """Links of a page to files or headings that are not there."""
    missing = []
    for link, anchor in LINK.findall(prose_of(text)):
        if re.match(r"[a-z]+:", link):
            continue
        target = page.parent / link if link else page
        if not target.exists() or (anchor and anchor not in anchors_of(target.read_text(encoding="utf-8") if link else text)):
            missing.append(f"{link}#{anchor}" if anchor else link)
    return missing


class Folder:
    """A scratch folder that looks like a checkout whose build is installed: the build's tools come first on its PATH."""

    prefix = []  # what starts a shell there
    runs_sources = False  # whether the commands of 'sh sources' are run

    def __init__(self, root, build_dir, port, other_port):
        self.ports = {"23117": str(port), "7000": str(other_port)}
        self._temporary = tempfile.TemporaryDirectory()
        top = Path(self._temporary.name)
        self.path, self._bin = top / "jay", top / "bin"
        self.path.mkdir()
        self._bin.mkdir()
        for name in subprocess.run(["git", "-C", root, "ls-files"], check=True, capture_output=True,
                                   text=True).stdout.splitlines():
            first = name.split("/")[0]
            if not (self.path / first).exists() and (root / first).exists():
                (self.path / first).symlink_to(root / first)
        (self.path / "build").mkdir()
        for preset in PRESETS:
            (self.path / "build" / preset).symlink_to(build_dir)
        self._add_tools(build_dir, port)
        self.environment = {**os.environ, "PATH": f"{self._bin}:{os.environ['PATH']}", "HOME": str(top), "LC_ALL": "C.UTF-8",
                            **self._install(build_dir, top / "installed")}

    @staticmethod
    def _install(build_dir, prefix):
        """Installs the library; what a system finds by itself in /usr/local, the variables name that are returned."""
        subprocess.run(["cmake", "--install", build_dir, "--prefix", prefix], check=True, capture_output=True)
        (description,) = prefix.glob("**/jay.pc")
        return {"PKG_CONFIG_PATH": str(description.parent), "LD_LIBRARY_PATH": str(description.parents[1]),
                "CMAKE_PREFIX_PATH": str(prefix)}

    def _add_tools(self, build_dir, port):
        """Makes commands for the tools, which use the port of this folder instead of the default, and for the compilers of the build."""
        given = 'case " $* " in *" --port"*|*" -p "*) exec "$real" "$@" ;; esac\n'
        self._add_tool("jayd", f'real={shlex.quote(str(build_dir / "tools/jayd"))}\n{given}exec "$real" --port {port} "$@"\n')
        self._add_tool("jay", f'real={shlex.quote(str(build_dir / "tools/jay"))}\n{given}'
                       'case ${1:-} in send|listen|request|ping|echo|bench|wake) ;; *) exec "$real" "$@" ;; esac\n'
                       f'command=$1; shift\nexec "$real" "$command" --port {port} "$@"\n')
        self._add_tool("c++", f'exec {os.environ.get("JAY_CXX", "g++")} "$@"\n')
        self._add_tool("cc", f'exec {os.environ.get("JAY_CC", "gcc")} "$@"\n')

    def _add_tool(self, name, text):
        (self._bin / name).write_text("#!/bin/sh\n" + text)
        (self._bin / name).chmod(0o755)

    def outside(self, path):
        """Where the file is that a shell there calls by this path."""
        return Path(path)

    def with_ports(self, text):
        """The text with the ports of this folder in place of those that pages name."""
        return re.sub(r"\b(23117|7000)\b", lambda match: self.ports[match.group()], text)

    def remove(self):
        self._temporary.cleanup()


class Sessions:
    """Shells, each in a session of its own, so that the programs they leave running can be ended with them."""

    def __init__(self, folder):
        self.folder = folder
        self._shells = []

    def start(self, command, **options):
        shell = subprocess.Popen([*self.folder.prefix, *command], cwd=self.folder.path, env=self.folder.environment, start_new_session=True, **options)
        self._shells.append(shell)
        return shell

    def end(self):
        for shell in self._shells:
            try:
                os.killpg(shell.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass  # nothing of it is left
            shell.wait()


class Transcript:
    """A shell that is typed into, and whose output, with that of its background jobs, is read line by line."""

    # Descriptor 9 brings the commands, so that no program reads them as its input.
    LOOP = ('exec 2>&1; was=0; back() { return "$1"; }; while IFS= read -r -d "" -u 9 typed; do '
            'back "$was"; eval "$typed" 9<&- </dev/null; was=$?; echo "@done $was"; done')

    def __init__(self, sessions):
        commands, self._commands = os.pipe()
        self._shell = sessions.start(["bash", "-c", f"exec 9<&{commands}; exec {commands}<&-; " + self.LOOP],
                                     stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, pass_fds=[commands])
        os.close(commands)
        self._out = Stream(self._shell.stdout)
        self.last = ""  # what the last command printed

    def close(self):
        os.close(self._commands)

    def folder(self):
        """The folder in which the shell stands."""
        return self._ask("pwd")[-1]

    def jobs(self):
        """What the shell has running in the background, one job a line."""
        return self._ask("jobs -r")

    def _ask(self, command):
        """The lines that a command prints."""
        os.write(self._commands, command.encode() + b"\0")
        lines = []
        while not (line := self._out.next_line()).startswith("@done "):
            lines.append(line)
        return lines

    def type(self, command, expected, limit=3 * LIMIT):
        """Runs a command and waits for what it should print, itself or through a job in the background; its status."""
        os.write(self._commands, command.encode() + b"\0")
        pattern, seen, status = pattern_of(expected), "", None
        deadline = time.monotonic() + limit
        while status is None or not pattern.fullmatch(seen):
            try:
                line = self._out.next_line(min(LIMIT if status is not None else limit, max(0, deadline - time.monotonic())))
            except TimeUp:
                self._fail(command, expected, seen, "the command has not ended" if status is None else "nothing more came")
            if line is None:
                self._fail(command, expected, seen, "the shell has ended")
            text, done, number = line.partition("@done ")
            if done:
                status = int(number)
            if text or not done:
                seen += text + "\n"
        self.last = seen
        return status

    @staticmethod
    def _fail(command, expected, seen, why):
        shown = "\n".join(expected)
        raise PageError(f"$ {command}\n{why}; the page shows\n{shown}\n--- and it printed\n{seen}---")


def pattern_of(expected):
    """'...' alone on a line stands for any lines, within a line for any characters."""
    parts = []
    for line in expected:
        if line.strip() in ("...", "…"):
            parts.append(r"(?:.*\n)*?")
        else:
            parts.append(".*?".join(re.escape(piece) for piece in re.split(r"\.\.\.|…", line.rstrip())) + r"[ \t]*\n")
    return re.compile("".join(parts))


def steps_of(text):
    """The commands of a transcript, each with the lines shown behind it."""
    steps = []
    for line in text.splitlines():
        if line.startswith("$ "):
            steps.append([line[2:], []])
        elif line.startswith("> ") and steps and not steps[-1][1]:
            steps[-1][0] += "\n" + line[2:]
        elif steps:
            steps[-1][1].append(line)
        else:
            raise PageError(f"a transcript begins with '$ ' and a command, not with '{line}'")
    return steps


class Page:
    """A page whose blocks are run in their order: in one folder, and its transcripts in one shell."""

    def __init__(self, text, folder, root, build_dir, transcript=None):
        self.blocks = parse(text)
        self.folder, self.root, self.build_dir = folder, root, build_dir
        self.sessions = Sessions(folder)
        self.transcript = transcript or Transcript(self.sessions)
        self._owns_transcript = transcript is None

    def run(self):
        try:
            for index, block in enumerate(self.blocks):
                try:
                    self._run_block(block, self.blocks[index + 1:])
                except (PageError, TimeUp) as error:
                    raise PageError(f"line {block.number}: {error}") from None
        finally:
            self.sessions.end()
            if self._owns_transcript:
                self.transcript.close()

    def _run_block(self, block, following):
        if block.language not in SHOWN | RUN:
            raise PageError(f"'```{block.language}': name the language; known are {', '.join(sorted(SHOWN | RUN))}")
        if block.words[:1] in (["no-run"], ["no-run:"]):
            if block.words[0] == "no-run" or len(block.words) < 3:
                raise PageError("'no-run' needs a reason after a colon, as in 'sh no-run: it would fill the disk'")
            return
        if block.language == "sh" and block.words[:1] == ["sources"]:
            check_commands(block.text, self.root, self.build_dir)
            if self.folder.runs_sources and block.words == ["sources"]:
                self._run_sources(block.text)
        elif block.language == "sh":
            self._run_script(block.text)
        elif block.language == "console":
            self._run_transcript(block.text)
        else:
            name = self._write_file(block)
            if block.language in ("c", "cpp"):
                self._compile(block, name, following)
            elif block.language == "python":
                check_python(block, name, following)

    def _run_script(self, text):
        with tempfile.TemporaryFile() as output:
            shell = self.sessions.start(["bash", "-eu", "-o", "pipefail", "-c", self.folder.with_ports(text)],
                                        stdin=subprocess.DEVNULL, stdout=output, stderr=output)
            try:
                status = shell.wait(6 * LIMIT)
            except subprocess.TimeoutExpired:
                status = "no end"
            if status != 0:
                output.seek(0)
                raise PageError(f"the script ends with {status}:\n{text}---\n{output.read().decode(errors='backslashreplace')}")

    def _run_sources(self, text):
        """In the shell of the transcripts, which the page may have told of folders; installing and building take their time."""
        start = time.monotonic()
        status = self.transcript.type(f"(set -e\n{text})", ["..."], limit=3600)
        print(f"{time.monotonic() - start:.0f} s for\n{text}", flush=True)
        if status != 0:
            raise PageError(f"the commands end with {status}:\n{text}---\n{last_lines(self.transcript.last)}")

    def _run_transcript(self, text):
        steps = steps_of(self.folder.with_ports(text))
        for index, (command, expected) in enumerate(steps):
            status = self.transcript.type(command, expected)
            told = index + 1 < len(steps) and steps[index + 1][0] == "echo $?"
            if status != 0 and not told:
                raise PageError(f"$ {command}\nends with status {status}, and the page does not show it with 'echo $?'")

    def _write_file(self, block):
        """What has a name is a file in the folder in which the shell stands."""
        if not block.words:
            return None
        name = block.words[0]
        path = self.folder.outside(self.transcript.folder()) / name
        if len(block.words) > 1 or path.is_symlink() or not re.fullmatch(r"[\w.-]+", name):
            raise PageError(f"'{' '.join(block.words)}' is no name for a new file")
        path.write_text(self.folder.with_ports(block.text), encoding="utf-8")
        return name

    def _compile(self, block, name, following):
        if re.search(r"\bmain\(", block.text):
            if not name:
                raise PageError(f"a program needs a file name, as in '```{block.language} hello.{block.language}'")
            started = f"./{Path(name).stem}"
            if not any(b.language in ("sh", "console") and started in b.text.split() for b in following):
                raise PageError(f"nothing below starts {started}")
        compiler = (os.environ.get("JAY_CXX", "g++") + " -std=c++17" if block.language == "cpp"
                    else os.environ.get("JAY_CC", "gcc") + " -std=c99")
        done = subprocess.run([*shlex.split(compiler), *WARNINGS, f"-I{self.root}", "-fsyntax-only", "-x",
                               "c++" if block.language == "cpp" else "c", "-"],
                              input=block.before + block.text, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise PageError(f"does not compile:\n{done.stderr}")


def last_lines(text, count=40):
    return "\n".join(text.splitlines()[-count:])


def run_in_order(pages, folder, root, build_dir):
    """Follows pages, each with its name, one after the other in one shell, as a reader does."""
    sessions = Sessions(folder)
    transcript = Transcript(sessions)
    sources = transcript.folder()
    try:
        for name, text in pages:
            transcript.type(f"cd {shlex.quote(sources)}", [])
            try:
                Page(text, folder, root, build_dir, transcript).run()
            except PageError as error:
                raise PageError(f"{name}, {error}") from None
        if left := transcript.jobs():
            raise PageError(f"the pages leave running: {left}")
    finally:
        sessions.end()
        transcript.close()


def check_python(block, name, following):
    """A program must be started further down, and a piece of code be Python."""
    try:
        compile(block.text, name or "piece", "exec")
    except SyntaxError as error:
        raise PageError(f"is no Python: {error}") from None
    if name and not any(b.language in ("sh", "console") and f"python3 {name}" in b.text for b in following):
        raise PageError(f"nothing below starts python3 {name}")


def check_commands(text, root, build_dir):
    """Checks commands that would install packages or build everything: what they name must exist."""
    syntax = subprocess.run(["bash", "-n", "-c", text], capture_output=True, text=True, check=False)
    if syntax.returncode != 0:
        raise PageError(syntax.stderr)
    lines = re.sub(r"\\\n", " ", text).splitlines()
    for command in (part for line in lines for part in re.split(r"&&|\|\|?|;", re.sub(r"(^|\s)#.*", "", line))):
        words = shlex.split(command)
        while words and (re.fullmatch(r"\w+=.*", words[0]) or words[0] == "sudo"):
            words.pop(0)
        if words:
            check_command(words, root, build_dir)


def check_command(words, root, build_dir):
    program = root / words[0]
    if words[0].startswith("scripts/"):
        if not os.access(program, os.X_OK):
            raise PageError(f"there is no {words[0]}")
        source = program.read_text(encoding="utf-8")
        for option in (word for word in words if word.startswith("--")):
            if option.partition("=")[0] not in source:
                raise PageError(f"{words[0]} knows no {option}")
    elif words[0] == "cmake":
        check_cmake(words, root)
    elif "/" in words[0] and not is_built(words[0], root, build_dir):
        raise PageError(f"no build makes {words[0]}")
    for word in (word.rpartition("=")[2].removeprefix("./") for word in words[1:]):
        first = word.split("/")[0]
        if "/" in word and not word.startswith("/") and first != "build" and (root / first).is_dir() and not (root / word).exists():
            raise PageError(f"there is no {word}")


def check_cmake(words, root):
    presets = json.loads((root / "CMakePresets.json").read_text(encoding="utf-8"))
    kind = "buildPresets" if "--build" in words else "configurePresets"
    known = {preset["name"] for preset in presets[kind] if not preset.get("hidden")}
    lists = "".join(path.read_text(encoding="utf-8") for path in [root / "CMakeLists.txt", *root.glob("*/CMakeLists.txt")])
    for word, value in zip(words, words[1:] + [""]):
        if word == "--preset" and value not in known:
            raise PageError(f"there is no preset {value}")
        variable = re.match(r"-D(JAY_\w+)=", word)
        if variable and variable.group(1) not in lists:
            raise PageError(f"nothing reads {variable.group(1)}")


def is_built(path, root, build_dir):
    """build/PRESET/x/y: there, or a fuzz target, which other builds make."""
    build, _, inside = path.split("/", 2) if path.count("/") >= 2 else (path, "", "")
    return build == "build" and ((build_dir / inside).exists() or (root / f"{inside}.cpp").exists())
