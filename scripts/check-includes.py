#!/usr/bin/env python3
"""Checks the direction of includes: the folders are the layers, and an include goes only downwards.

usage: scripts/check-includes.py [ROOT]     (default: the checkout of this script)
Prints each wrong line and what to do about it; the exit status is 1 if there is any.
"""
import re
import sys
from pathlib import Path

# What the files of a folder may include: whole folders ("core/"), single headers, or folders of helpers.
ALLOWED = {
    "core": ["core/"],
    "thread": ["thread/", "core/"],
    "system": ["system/", "core/", "thread/"],
    "net": ["net/", "core/", "thread/", "system/"],
    "bus": ["bus/", "core/", "thread/", "system/", "net/"],
    "containers": ["containers/", "core/"],
    "database": ["database/", "core/", "system/", "thread/detail/", "bus/JMessage.h"],
    "ui": ["ui/", "core/", "system/"],
}
# Programs use the library as an application does: through its public headers.
PROGRAMS = ["tools", "examples"]
# Except for headers of constants, of which nothing is in the library.
SHARED_WITH_PROGRAMS = ["database/detail/RecordLayout.h"]

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def includes_of(path):
    """Yields (line number, opening bracket, name) for each include of a file."""
    for number, line in enumerate(path.read_text(errors="replace").splitlines(), 1):
        match = INCLUDE.match(line)
        if match:
            yield number, match.group(1), match.group(2)


def sources_below(folder):
    return sorted(p for p in folder.rglob("*") if p.suffix in (".h", ".hpp", ".c", ".cpp"))


def is_library_header(name):
    return name == "jay.h" or name.split("/")[0] in ALLOWED


def check_layer(root, folder, report):
    for path in sources_below(root / folder):
        for number, bracket, name in includes_of(path):
            where = f"{path.relative_to(root)}:{number}"
            if bracket == "<":
                if is_library_header(name) and (root / name).exists():
                    report(f'{where}: includes <{name}>; write "{name}"')
            elif not (root / name).exists():
                report(f'{where}: includes "{name}", which is no file counted from the root; '
                       'write the path from the root, as in "core/JString.h"')
            elif not any(name == a or (a.endswith("/") and name.startswith(a)) for a in ALLOWED[folder]):
                report(f'{where}: {folder}/ may not include "{name}" (it may include '
                       f'{", ".join(ALLOWED[folder])}); move the code to a higher folder, or what it needs to a lower one')


def check_programs(root, folder, report):
    for path in sources_below(root / folder):
        for number, _, name in includes_of(path):
            if is_library_header(name) and "/detail/" in name and name not in SHARED_WITH_PROGRAMS:
                report(f'{path.relative_to(root)}:{number}: includes "{name}", which is not installed; '
                       "use the public headers only")


def check_umbrella(root, report):
    """jay.h includes, directly or through another header, every public header."""
    umbrella = root / "jay.h"
    if not umbrella.exists():
        report("jay.h: missing; it includes every public header")
        return
    reached, todo = set(), ["jay.h"]
    while todo:
        name = todo.pop()
        if name in reached or not (root / name).exists():
            continue
        reached.add(name)
        todo += [included for _, bracket, included in includes_of(root / name) if bracket == '"']
    for folder in ALLOWED:
        for header in sorted((root / folder).glob("*.h")):
            name = str(header.relative_to(root))
            if name not in reached:
                report(f'jay.h: does not include "{name}"; add it (or move the header to {folder}/detail/)')


def main():
    root = Path(sys.argv[1] if len(sys.argv) > 1 else Path(__file__).parent.parent).resolve()
    problems = []
    for folder in ALLOWED:
        check_layer(root, folder, problems.append)
    for folder in PROGRAMS:
        check_programs(root, folder, problems.append)
    check_umbrella(root, problems.append)
    print("\n".join(problems) or "includes: all go downwards")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
