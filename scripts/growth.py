#!/usr/bin/env python3
"""Measures how the cost of the bus server grows with clients, message sizes and waiting messages.

Starts jayd on a free port of this machine and drives it with plain sockets. Measures the CPU time of the server's process, which depends
less on other programs than elapsed time does, and its resident memory. Prints tables for docs/performance.md, which explains them, and
writes plots as SVG. Takes less than a minute.
"""
import argparse
import math
import statistics
import sys
import time
from html import escape
from pathlib import Path

from memory import HEADER, Client, kilobytes, message
from processes import Programs, TimeUp

ROOT = Path(__file__).resolve().parents[1]
BROADCAST = 2  # flag of a message
SMALL = 64  # bytes of a message where the size is not what varies
CHUNK = 256 * 1024  # bytes that are under way at once
SAMPLE = 0.6  # seconds that a sample takes
ROUNDS = 3
CLIENTS = (1, 2, 4, 8, 16, 24, 31)
SIZES = (16, 64, 256, 1024, 4096, 16384, 65535)
WAITING = (0, 1000, 10000, 100000, 300000, 1000000)


def cpu_seconds(pid):
    """CPU time of a process, user and system, in nanosecond steps: /proc/PID/stat counts in steps of 10 ms."""
    return time.clock_gettime(~pid << 3 | 2)  # what clock_getcpuclockid() returns for the process


def resident_mib(pid):
    return kilobytes(pid, "Rss") / 1024


def chunk_of(one):
    """As many copies of a message as fit into what is under way at once; how many, and their bytes."""
    count = max(1, CHUNK // len(one))
    return count, one * count


def settled_mib(pid, still=0.3, limit=5):
    """Resident memory once it has not changed for some time: the server gives memory back after the last delivery."""
    end, since, before = time.monotonic() + limit, time.monotonic(), resident_mib(pid)
    while time.monotonic() < min(since + still, end):
        time.sleep(0.01)
        now = resident_mib(pid)
        if now != before:
            before, since = now, time.monotonic()
    return before


def receive(client, left, buffer=bytearray(1 << 20)):
    while left > 0:
        n = client.socket.recv_into(buffer, min(left, len(buffer)))
        if n == 0:
            raise TimeUp("the server has closed a connection")
        left -= n


def cpu_per_message(server, sender, receivers, one):
    """Microseconds of the server for each message sent; all receivers have got all messages when it returns."""
    count, chunk = chunk_of(one)
    sent, end, before = 0, time.monotonic() + SAMPLE, cpu_seconds(server.pid)
    while time.monotonic() < end:
        sender.socket.sendall(chunk)
        for receiver in receivers:
            receive(receiver, len(chunk))
        sent += count
    return 1e6 * (cpu_seconds(server.pid) - before) / sent


def fan_out(server, port, count):
    """A broadcast to so many clients: microseconds per broadcast, and per message delivered."""
    receivers = [Client(port, number) for number in range(count)]
    sender = Client(port, 31)
    each = cpu_per_message(server, sender, receivers, message(31, 0, b"x" * (SMALL - HEADER.size), BROADCAST))
    return each, each / count


def stream(server, port, size):
    """Messages of a size from one client to another: microseconds per message, and per KiB."""
    receiver, sender = Client(port, 7), Client(port, 5)
    each = cpu_per_message(server, sender, [receiver], message(5, 7, b"x" * (size - HEADER.size)))
    return each, each * 1024 / size


def flood(server, port, count):
    """Messages that wait for a client: MiB before, meanwhile and afterwards; microseconds to enqueue and to deliver a message."""
    sender = Client(port, 5)
    memory, cpu = [resident_mib(server.pid)], [cpu_seconds(server.pid)]
    sender.socket.sendall(message(5, 7, b"x" * (SMALL - HEADER.size)) * count)
    sender.round_trip()
    memory.append(settled_mib(server.pid))
    cpu.append(cpu_seconds(server.pid))
    receiver = Client(port, 7)  # has received all messages when it is made: its own message comes last
    memory.append(settled_mib(server.pid))
    cpu.append(cpu_seconds(server.pid))
    receiver.socket.close()
    steps = [1e6 * (cpu[i + 1] - cpu[i]) / count if count else math.nan for i in (0, 1)]
    return (*memory, *steps)


def measure(build, what, values):
    """A row for each value: the medians of some rounds, each with a server of its own."""
    rows = {value: [] for value in values}
    for number in range(1, ROUNDS + 1):
        print(f"growth.py: {what.__name__}, round {number} of {ROUNDS}", file=sys.stderr)
        for value in values:
            with Programs(build) as programs:
                rows[value].append(what(*programs.start_server("--quiet"), value))
    return [(value, *map(statistics.median, zip(*rows[value]))) for value in values]


def number_text(value):
    if isinstance(value, int):
        return f"{value:,}"
    if math.isnan(value):
        return "–"
    return f"{value:.3f}" if value < 1 else f"{value:.3g}"


def print_table(headings, rows):
    print("| " + " | ".join(headings) + " |")
    print("|" + "---|" * len(headings))
    for row in rows:
        print("| " + " | ".join(map(number_text, row)) + " |")
    print(flush=True)


class Axis:
    """Values on a line between two pixels, from 0 on or in logarithmic steps, with the marks that it shows."""

    def __init__(self, values, first, last, logarithmic):
        self.first, self.last = first, last
        self.scale = math.log10 if logarithmic else float
        if logarithmic:
            least, most = (round_to(math.log10(value)) for round_to, value in ((math.floor, min(values)), (math.ceil, max(values))))
            self.marks = [10.0 ** power for power in range(least, most + 1)]
        else:
            step = next(step for step in steps() if 5 * step >= max(values))
            self.marks = [step * i for i in range(math.ceil(max(values) / step) + 1)]

    def pixel(self, value):
        least, most = self.scale(self.marks[0]), self.scale(self.marks[-1])
        return self.first + (self.last - self.first) * (self.scale(value) - least) / (most - least)


def steps():
    """Round distances between the marks of an axis: 0.001, 0.002, 0.005, 0.01, ..."""
    return (digit * 10.0 ** power for power in range(-3, 12) for digit in (1, 2, 5))


WIDTH, HEIGHT = 640, 320
LEFT, RIGHT, TOP, BOTTOM = 70, 590, 60, 270
COLOURS = ("#1f5fa8", "#b4451f")


def text_at(x, y, text, anchor="middle", colour="#333"):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}">{escape(text)}</text>'


def line_at(x1, y1, x2, y2):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="#ccc"/>'


def grid(x_axis, y_axis, x_title):
    lines = [text_at((LEFT + RIGHT) / 2, HEIGHT - 12, x_title)]
    for mark in x_axis.marks:
        x = x_axis.pixel(mark)
        lines += [line_at(x, TOP, x, BOTTOM), text_at(x, BOTTOM + 18, f"{mark:,.0f}")]
    for mark in y_axis.marks:
        y = y_axis.pixel(mark)
        lines += [line_at(LEFT, y, RIGHT, y), text_at(LEFT - 8, y + 4, f"{mark:,.10g}", "end")]
    return lines


def curve(x_axis, y_axis, points, colour):
    at = [(x_axis.pixel(x), y_axis.pixel(y)) for x, y in points]
    joined = " ".join(f"{x:.1f},{y:.1f}" for x, y in at)
    dots = [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in at]
    return [f'<polyline points="{joined}" fill="none" stroke="{colour}" stroke-width="2"/>', *dots]


def plot(path, title, x_title, rows, lines, logarithmic=False):
    """Writes an SVG. lines: the column of each line, and its name."""
    rows = [row for row in rows if not any(math.isnan(row[column]) for column in lines)]
    x_axis = Axis([row[0] for row in rows], LEFT, RIGHT, logarithmic)
    y_axis = Axis([row[column] for row in rows for column in lines], BOTTOM, TOP, logarithmic)
    body = [text_at(LEFT, 22, title, "start"), *grid(x_axis, y_axis, x_title)]
    for index, (column, name) in enumerate(lines.items()):
        body += curve(x_axis, y_axis, [(row[0], row[column]) for row in rows], COLOURS[index])
        body.append(text_at(LEFT + 270 * index, 44, "● " + name, "start", COLOURS[index]))
    path.write_text(f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="13">\n'
                    f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#fff"/>\n' + "\n".join(body) + "\n</svg>\n", encoding="utf-8")


def show_fan_out(build, out):
    rows = measure(build, fan_out, CLIENTS)
    print_table(("receivers", "CPU per broadcast, µs", "CPU per delivered message, µs"), rows)
    plot(out / "growth-clients.svg", "CPU time of the server for a broadcast of 64 bytes, µs", "receivers", rows,
         {1: "per broadcast", 2: "per delivered message"})


def show_stream(build, out):
    rows = measure(build, stream, SIZES)
    print_table(("message, bytes", "CPU per message, µs", "CPU per KiB, µs"), rows)
    plot(out / "growth-sizes.svg", "CPU time of the server for a message from client to client, µs", "bytes of a message", rows,
         {1: "per message", 2: "per KiB"}, logarithmic=True)


def show_flood(build, out):
    rows = measure(build, flood, WAITING)
    print_table(("waiting messages", "memory before, MiB", "memory while they wait, MiB", "memory after delivery, MiB",
                 "CPU to enqueue one, µs", "CPU to deliver one, µs"), rows)
    plot(out / "growth-waiting-memory.svg", "Resident memory of the server, MiB", "waiting messages of 64 bytes", rows,
         {2: "while they wait", 3: "after delivery"})
    plot(out / "growth-waiting-time.svg", "CPU time of the server for each waiting message, µs", "waiting messages of 64 bytes", rows,
         {4: "to enqueue it", 5: "to deliver it"})


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=Path, nargs="?", default=ROOT / "build" / "release", metavar="BUILD_DIR",
                        help="a build folder that contains jayd; default: build/release")
    parser.add_argument("--out", type=Path, default=ROOT / "docs" / "images", metavar="DIR",
                        help="folder for the plots, growth-*.svg; default: docs/images")
    arguments = parser.parse_args()
    if not arguments.out.is_dir():
        parser.error(f"--out: there is no folder '{arguments.out}'")
    return arguments


def main():
    arguments = parse_arguments()
    try:
        for show in (show_fan_out, show_stream, show_flood):
            show(arguments.build, arguments.out)
    except (OSError, TimeUp) as error:
        sys.exit(f"growth.py: {error}")


if __name__ == "__main__":
    main()
