#!/usr/bin/env python3
"""Runs the benchmarks of a build in rounds and prints the medians; scripts/bench.sh builds what this needs.

With a second build to compare with, the same benchmark program runs with the library of either in turn.
"""
import argparse
import json
import os
import re
import statistics
import subprocess
import sys
import tempfile
from collections import defaultdict
from pathlib import Path

from processes import Programs, TimeUp

BUS_SIZES = (16, 256, 4096, 60000)


def number_of_rounds(text):
    if not re.fullmatch(r"\d{1,3}", text) or not 1 <= int(text) <= 100:
        raise argparse.ArgumentTypeError(f"'{text}' is no number from 1 to 100")
    return int(text)


def parse_arguments():
    parser = argparse.ArgumentParser(description="Runs the benchmarks of a build and prints the medians of some rounds.")
    parser.add_argument("--build", type=Path, required=True, help="build folder with jay_bench, jayd and jay")
    parser.add_argument("--against", type=Path, help="build folder with another libjay and jayd, for ratios")
    parser.add_argument("--rounds", type=number_of_rounds, default=5, metavar="1..100")
    parser.add_argument("--filter", default="", help="only benchmarks whose names match this expression")
    parser.add_argument("--json", type=Path, help="also write the medians here")
    parser.add_argument("--check", action="store_true", help="only look whether these options are right")
    arguments = parser.parse_args()
    if arguments.json and not arguments.json.absolute().parent.is_dir():
        parser.error(f"--json: there is no folder for '{arguments.json}'")
    try:
        re.compile(arguments.filter)
    except re.error as error:
        parser.error(f"--filter is no expression: {error}")
    return arguments


def run_benchmarks(build, library, *options):
    environment = dict(os.environ, LD_LIBRARY_PATH=str(library))
    return subprocess.run([build / "bench" / "jay_bench", *options], env=environment, capture_output=True, text=True)


def benchmark_names(build, library, pattern):
    return run_benchmarks(build, library, "--benchmark_list_tests", f"--benchmark_filter={pattern or '.'}").stdout.split()


def runs_with(build, library, name):
    """False if the library lacks a function that the benchmark calls, as a former one may."""
    return run_benchmarks(build, library, "--benchmark_min_time=0", exactly([name])).returncode == 0


def exactly(names):
    return f"--benchmark_filter=^({'|'.join(re.escape(name) for name in names)})$"


def measure_classes(build, library, names):
    """Nanoseconds of the processor per operation, by name."""
    if not names:
        return {}
    done = run_benchmarks(build, library, "--benchmark_format=json", "--benchmark_min_time=0.1", exactly(names))
    if done.returncode != 0:
        sys.exit(f"bench.py: the benchmarks failed: {done.stderr.strip()}")
    measured = json.loads(done.stdout)["benchmarks"]
    return {one["name"]: (one["cpu_time"], "ns") for one in measured if not one.get("error_occurred")}


def measure_bus(build, server_build, pattern):
    """What `jay bench` tells of a server, by name."""
    names = {size: (f"bus/throughput/{size}", f"bus/latency/{size}") for size in BUS_SIZES}
    sizes = [size for size in BUS_SIZES if any(re.search(pattern, name) for name in names[size])]
    if not sizes:
        return {}
    programs = Programs(server_build)
    try:
        _, port = programs.start_server("--quiet")
        command = [build / "tools" / "jay", "bench", "--json", "--quiet", "--port", str(port),
                   "--size", ",".join(map(str, sizes))]
        done = subprocess.run(command, capture_output=True, text=True, timeout=300)
        if done.returncode != 0:
            sys.exit(f"bench.py: {done.stderr.strip()}")
    except (TimeUp, subprocess.TimeoutExpired) as error:
        sys.exit(f"bench.py: the bus does not answer: {error}")
    finally:
        programs.kill_all()
    result = {}
    for line in done.stdout.splitlines():
        one = json.loads(line)
        throughput, latency = names[one["size"]]
        result[throughput] = (one["messages_per_second"], "msg/s")
        result[latency] = (one["latency_us"]["median"], "us")
    return {name: value for name, value in result.items() if re.search(pattern, name)}


def library_folder(folder, build):
    """A folder that holds the library of a build alone."""
    folder.mkdir()
    (folder / "libjay.so.1").symlink_to((build / "libjay.so.1").resolve())
    return folder


def measure(arguments, scratch):
    """All rounds: values by side and name, and the unit of each name."""
    sides = {"here": arguments.build}
    if arguments.against:
        sides["there"] = arguments.against
    libraries = {side: library_folder(Path(scratch) / side, build) for side, build in sides.items()}
    names = {"here": benchmark_names(arguments.build, libraries["here"], arguments.filter)}
    if arguments.against:
        names["there"] = [name for name in names["here"] if runs_with(arguments.build, libraries["there"], name)]
    values = {side: defaultdict(list) for side in sides}
    units = {}
    for number in range(1, arguments.rounds + 1):
        for side, build in sides.items():
            print(f"round {number} of {arguments.rounds}: {build}", file=sys.stderr)
            measured = measure_classes(arguments.build, libraries[side], names[side])
            measured.update(measure_bus(arguments.build, build, arguments.filter))
            for name, (value, unit) in measured.items():
                values[side][name].append(value)
                units[name] = unit
    return values, units


def number(value):
    return f"{value:,.0f}" if value >= 100 else f"{value:.3g}"


def ratios(now, then):
    """Of the medians, and the smallest and the largest of the rounds."""
    rounds = [one / other for one, other in zip(now, then)]
    return statistics.median(now) / statistics.median(then), min(rounds), max(rounds)


def print_table(values, units):
    compared = "there" in values
    width = max(len(name) for name in units)
    print(f"{'benchmark':{width}} {'median':>12} unit" + (f"  {'then':>12} {'ratio':>6}  spread" if compared else ""))
    for name, unit in units.items():
        now, then = values["here"].get(name), values["there"].get(name) if compared else None
        line = f"{name:{width}} {number(statistics.median(now)) if now else '-':>12} {unit:5}"
        if now and then:
            ratio, least, most = ratios(now, then)
            line += f" {number(statistics.median(then)):>12} {ratio:6.2f}  {least:.2f} to {most:.2f}"
        print(line)
    if compared:
        print("ratio: now / then; smaller is better for ns and us, greater for msg/s. spread: the ratios of the rounds")


def main():
    arguments = parse_arguments()
    if arguments.check:
        return
    with tempfile.TemporaryDirectory() as scratch:
        values, units = measure(arguments, scratch)
    if not units:
        sys.exit(f"bench.py: no benchmark matches '{arguments.filter}'")
    print_table(values, units)
    if arguments.json:
        medians = {side: {name: statistics.median(seen) for name, seen in of.items()} for side, of in values.items()}
        arguments.json.write_text(json.dumps({"unit": units, **medians}, indent=1) + "\n")


if __name__ == "__main__":
    main()
