"""Reads the help text of a tool: its options with their values and descriptions, and its commands."""
import re
import subprocess
from collections import namedtuple

# names: ["-p", "--port"]; value: what stands behind them, as in "1..65535", or ""; text: the first line of what it does.
Option = namedtuple("Option", "names value text")

# words: ["jay", "send"]; arguments: {"TEXT...": "The payload"}; commands: {"send": "Send messages"}.
Help = namedtuple("Help", "words options arguments commands")

HEADING = re.compile(r"^(\[?[A-Z][\w ]*):\s*\w*\]?$")
OPTION = re.compile(r"^ +(-[\w?]|--[\w-]+)((?:, ?(?:-[\w?]|--[\w-]+))*)(?: (\S.*?))?(?:  +(\S.*))?$")
ENTRY = re.compile(r"^  (\S+)(?: \S.*?)?(?:  +(\S.*))?$")
# What the help adds to a value; where the column is too narrow, the description follows behind a single blank.
REMARK = re.compile(r"\s*\((?:required|default[^)]*|needs[^)]*|not with[^)]*)\)(?: (.*))?$", re.IGNORECASE)


def read_help(program, *words):
    """Asks the program; words are those of a command."""
    text = subprocess.run([program, *words, "--help"], check=True, capture_output=True, text=True).stdout
    return parse_help([str(program).rsplit("/", maxsplit=1)[-1], *words], text)


def parse_help(words, text):
    described = Help(words, [], {}, {})
    heading = ""
    for line in text.splitlines():
        if match := HEADING.match(line):
            heading = match.group(1)
        elif match := OPTION.match(line):
            described.options.append(option_of(*match.groups()))
        elif heading in ("Positionals", "Subcommands") and (match := ENTRY.match(line)):
            entries = described.arguments if heading == "Positionals" else described.commands
            entries[match.group(1)] = match.group(2) or ""
        elif line.startswith(" " * 10) and described.options and not described.options[-1].text:
            described.options[-1] = described.options[-1]._replace(text=line.strip())
        elif not line.startswith(" ") and heading != "Options":
            heading = heading if not line else ""
    return described


def option_of(first, others, value, text):
    names = [first, *re.findall(r"--?[\w?-]+", others)]
    value = value or ""
    if remark := REMARK.search(value):
        value, text = value[:remark.start()], text or remark.group(1)
    return Option(names, value, text or "")


def all_helps(program):
    """That of the program and of each of its commands, theirs included."""
    found = []
    waiting = [()]
    while waiting:
        words = waiting.pop(0)
        described = read_help(program, *words)
        found.append(described)
        waiting += [(*words, command) for command in described.commands]
    return found
