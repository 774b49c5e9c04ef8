#!/usr/bin/env python3
"""Measures how large the library and the programs are on a 32-bit ARM device.

usage: scripts/sizes.py [--write]

Builds for 32-bit ARM twice, optimised for speed (Release) and for size (MinSizeRel), in build/arm and build/arm-small, and
prints the sizes as a table. --write puts the table into docs/porting.md. Needs "scripts/deps.sh build arm".
"""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
PAGE = ROOT / "docs" / "porting.md"
TOOLCHAIN = ROOT / "cmake" / "armhf.cmake"
CROSS = "arm-linux-gnueabihf-"
BUILDS = {"Release": ROOT / "build" / "arm", "MinSizeRel": ROOT / "build" / "arm-small"}
OPTIMISATION = {"Release": "-O2", "MinSizeRel": "-Os"}
PROGRAMS = {"libjay.so.1": "libjay.so.1", "jayd": "tools/jayd", "jay": "tools/jay"}
TARGETS = ("jay", "jayd", "jay_tool")

BEGIN, END = "<!-- sizes: written by scripts/sizes.py -->", "<!-- end of sizes -->"


def run(*command):
    return subprocess.run([str(word) for word in command], cwd=ROOT, check=True, stdout=subprocess.PIPE, text=True).stdout


def build(build_type, folder):
    run("cmake", "--preset", "release", "-B", folder, f"-DCMAKE_TOOLCHAIN_FILE={TOOLCHAIN}", f"-DCMAKE_BUILD_TYPE={build_type}",
        "-DJAY_TESTS=OFF")
    run("cmake", "--build", folder, "--target", *TARGETS)


def stripped_size(path):
    with tempfile.NamedTemporaryFile() as stripped:
        run(CROSS + "strip", "-o", stripped.name, path)
        return Path(stripped.name).stat().st_size


def row(name, build_type, folder):
    path = (folder / PROGRAMS[name]).resolve()
    text, data, bss = (int(word) for word in run(CROSS + "size", path).splitlines()[1].split()[:3])
    return f"| `{name}`, `{build_type}` (`{OPTIMISATION[build_type]}`) | {text} | {data + bss} | {stripped_size(path)} |"


def table():
    rows = [row(name, build_type, folder) for name in PROGRAMS for build_type, folder in BUILDS.items()]
    return "\n".join(["| | code | data + bss | file |", "|---|---|---|---|", *rows]) + "\n"


def write(text):
    page = PAGE.read_text(encoding="utf-8")
    changed, count = re.subn(f"({re.escape(BEGIN)}\n).*?({re.escape(END)})", lambda match: match[1] + text + match[2], page,
                             flags=re.DOTALL)
    if count != 1:
        sys.exit(f"sizes.py: {PAGE} has no lines '{BEGIN}' and '{END}'")
    PAGE.write_text(changed, encoding="utf-8")


def main(arguments):
    if arguments in (["--help"], ["-h"]):
        print(__doc__.strip())
        return 0
    if arguments not in ([], ["--write"]):
        print(f"sizes.py: unknown argument '{' '.join(arguments)}'; see --help", file=sys.stderr)
        return 2
    for build_type, folder in BUILDS.items():
        build(build_type, folder)
    text = table()
    print(text, end="")
    if arguments:
        write(text)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
