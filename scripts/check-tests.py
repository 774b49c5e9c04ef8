#!/usr/bin/env python3
"""Checks that tests exist and run: no source without a test, no test outside the build, none switched off silently.

usage: scripts/check-tests.py BUILD_DIR [ROOT]     BUILD_DIR holds compile_commands.json
Prints each problem and what to do about it; the exit status is 1 if there is any.
"""
import json
import re
import sys
from pathlib import Path

FOLDERS = ["core", "system", "thread", "net", "bus", "containers", "database", "ui"]

# Classes inside the library that are tested through the class that uses them.
COVERED_BY = {
    "system/detail/KoreanTable": "tests/system/JSystemEncodingTest.cpp",
    "thread/detail/CancelOff": "tests/thread/JThreadTest.cpp",
    "thread/detail/MutexGuard": "tests/thread/JEventTest.cpp",
    "thread/detail/ScopedLock": "tests/thread/JLockTest.cpp",
    "net/detail/Resolver": "tests/net/JSocketTest.cpp",
    "bus/detail/Burst": "tests/bus/OutboxTest.cpp",
    "database/detail/FileBytes": "tests/database/JDatabaseTest.cpp",
    "database/detail/RecordWalk": "tests/database/JDatabaseTest.cpp",
}

# Parts of the programs without a unit test: what they do is visible from outside, and the integration tests cover it.
TESTED_AS_PROGRAMS = {
    "tools/common/Startup", "tools/jay/Client", "tools/jay/Console", "tools/jay/Files", "tools/jay/Mailbox", "tools/jay/Output",
    "tools/jay/PayloadSource", "tools/jay/Progress", "tools/jay/Session", "tools/jayd/Help", "tools/jayd/Housekeeper",
    "tools/jayd/Serve", "tools/jayd/ServiceManager", "tools/jayd/Signals",
}

SUITE = re.compile(r"^TEST(?:_F|_P)?\((\w+)", re.MULTILINE)
NAMESPACE = re.compile(r"^namespace ([\w:]+) \{", re.MULTILINE)

SWITCHED_OFF = re.compile(r"\bDISABLED_\w+|\bGTEST_SKIP\s*\(\s*\)|^\s*#\s*if\s+0\b")
CMAKE_SWITCHED_OFF = re.compile(r"\bDISABLED\s+(TRUE|ON|YES|1)\b")
COMMENT = re.compile(r"//|/\*|\*/|#\s")


def built_sources(build_dir):
    """The files that the build compiles."""
    commands = json.loads((build_dir / "compile_commands.json").read_text())
    return {(Path(c["directory"]) / c["file"]).resolve() for c in commands}


def sources_below(folder):
    return sorted(p for p in folder.rglob("*") if p.suffix in (".c", ".cpp"))


def has_own_project(path, root):
    """True below a folder with a project of its own, which a test configures and builds from outside."""
    return any("project(" in (folder / "CMakeLists.txt").read_text() for folder in path.parents
               if folder != root and root in folder.parents and (folder / "CMakeLists.txt").exists())


def check_everything_is_built(root, build_dir, report):
    built = built_sources(build_dir)
    fuzz = root / "tests" / "fuzz"
    for folder in FOLDERS + ["tests"]:
        for path in sources_below(root / folder):
            name = path.relative_to(root)
            if path.parent == fuzz:
                # The fuzz preset builds these, all that are named so.
                if not path.name.endswith("Fuzz.cpp"):
                    report(f"{name}: no build compiles it; a fuzz target is named <Class>Fuzz.cpp")
            elif path.resolve() not in built and not has_own_project(path, root):
                report(f"{name}: no build compiles it; name a test tests/<folder>/<Class>Test.cpp, or add the file to a "
                       "CMakeLists.txt, or remove it")


def check_python_tests_run(root, report):
    """They are taken from tests/integration/*Test.py, tests/conformance/*Test.py and bindings/python/tests/test_*.py alone."""
    for path in sorted((root / "tests").rglob("*.py")):
        runs = path.parent.name in ("integration", "conformance") and path.name.endswith("Test.py")
        if not runs and re.search(r"^\s+def test_", path.read_text(), re.MULTILINE):
            report(f"{path.relative_to(root)}: nothing runs its tests; name it tests/integration/<Subject>Test.py")
    for path in sorted((root / "bindings").rglob("*.py")):
        runs = path.parent.name == "tests" and path.name.startswith("test_")
        if not runs and re.search(r"^\s*def test_", path.read_text(), re.MULTILINE):
            report(f"{path.relative_to(root)}: nothing runs its tests; name it bindings/python/tests/test_<subject>.py")


def needs_test(header):
    """A class, or functions with a source of their own; a header of constants or macros needs no test."""
    declares_class = re.search(rf"^class (\w+ )?{re.escape(header.stem)}\b[^;]*$", header.read_text(), re.MULTILINE)
    return declares_class or header.with_suffix(".cpp").exists()


def check_every_class_has_a_test(root, report):
    for folder in FOLDERS:
        for header in sorted([*(root / folder).glob("*.h"), *(root / folder / "detail").glob("*.h")]):
            name = header.relative_to(root)
            test = COVERED_BY.get(str(name.with_suffix("")), f"tests/{folder}/{header.stem}Test.cpp")
            if needs_test(header) and not (root / test).exists():
                report(f"{name}: has no test; write {test}")


def check_parts_of_the_programs_have_tests(root, report):
    if not (root / "tests" / "tools").is_dir():
        return
    for source in sorted((root / "tools").rglob("*.cpp")):
        part = source.relative_to(root).with_suffix("")
        test = root / "tests" / "tools" / f"{part.name}Test.cpp"
        if source.with_suffix(".h").exists() and not test.exists() and str(part) not in TESTED_AS_PROGRAMS:
            report(f"{part}.cpp: has no test; write {test.relative_to(root)}, or list it in TESTED_AS_PROGRAMS of "
                   "scripts/check-tests.py")


def check_names_have_one_form(root, report):
    """A suite is named after its subject and ends in Test; helpers are in the namespace of their folder."""
    for path in sorted((root / "tests").rglob("*")):
        folder = path.relative_to(root / "tests").parts[0]
        if path.suffix not in (".cpp", ".h"):
            continue
        text = path.read_text()
        for suite in sorted(set(SUITE.findall(text))):
            if not suite.endswith("Test"):
                report(f"{path.relative_to(root)}: the suite {suite} is named {suite}Test")
        for namespace in sorted(set(NAMESPACE.findall(text))):
            if namespace not in (folder, "jay::detail"):
                report(f"{path.relative_to(root)}: the namespace {namespace} is named {folder}")


EXPORTED_CLASS = re.compile(r"^ *class JAY_API ((?:\w+::)*\w+)[^;]*\{", re.MULTILINE)


def check_layout_table_is_complete(root, report):
    """Every exported class has a row in the layout table; a nested class is named there with its class or alone."""
    table = root / "tests" / "layout" / "Classes.cpp"
    rows = {name.split("::")[-1] for name in re.findall(r'row<[^"]*>\("([\w:]+)"', table.read_text())}
    for folder in FOLDERS:
        for header in sorted((root / folder).glob("*.h")):
            for name in EXPORTED_CLASS.findall(header.read_text()):
                if name.split("::")[-1] not in rows:
                    report(f"{header.relative_to(root)}: {name} has no row in {table.relative_to(root)}")


def has_reason(lines, index, match):
    """A comment on the line or just above it, or a text behind GTEST_SKIP() <<."""
    line = lines[index]
    above = lines[index - 1] if index > 0 else ""
    if match.group(0).startswith("GTEST_SKIP") and re.search(r'<<\s*"[^"]{8,}', " ".join(lines[index:index + 3])):
        return True
    return bool(COMMENT.search(line[match.end():]) or COMMENT.match(above.strip()))


def check_nothing_is_switched_off(root, report):
    for path in sorted((root / "tests").rglob("*")):
        if path.suffix in (".c", ".cpp", ".h"):
            pattern = SWITCHED_OFF
        elif path.name == "CMakeLists.txt" or path.suffix == ".cmake":
            pattern = CMAKE_SWITCHED_OFF
        else:
            continue
        lines = path.read_text(errors="replace").splitlines()
        for index, line in enumerate(lines):
            match = pattern.search(line)
            if match and not has_reason(lines, index, match):
                report(f"{path.relative_to(root)}:{index + 1}: {match.group(0).strip()} without a reason; say why in a "
                       "comment next to it, or let the test run")


def main():
    if len(sys.argv) < 2:
        print(__doc__)
        return 2
    build_dir = Path(sys.argv[1]).resolve()
    root = Path(sys.argv[2] if len(sys.argv) > 2 else Path(__file__).parent.parent).resolve()
    problems = []
    check_everything_is_built(root, build_dir, problems.append)
    check_python_tests_run(root, problems.append)
    check_every_class_has_a_test(root, problems.append)
    check_parts_of_the_programs_have_tests(root, problems.append)
    check_layout_table_is_complete(root, problems.append)
    check_names_have_one_form(root, problems.append)
    check_nothing_is_switched_off(root, problems.append)
    print("\n".join(problems) or "tests: all there, all built, none switched off")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
