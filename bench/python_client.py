#!/usr/bin/env python3
"""Measures the Python clients beside those in C and C++, at the same server, in turns; prints medians and ratios.

    send      messages a second, from the first one until the server has read the last; the client in C receives
    receive   messages a second, from the first one to the last; the client in C sends
    request   requests a second, each after the answer to the one before; the client in C++ answers

Payloads have 4 to 64 bytes. A ratio of 0.5 says: half as many as the client in C (request: in C++).
"""
from __future__ import annotations

import argparse
import asyncio
import statistics
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path[:0] = [str(ROOT / "scripts"), str(ROOT / "bindings" / "python")]

from jaybus import BlockingClient, Client  # noqa: E402  (the path comes first)
from processes import Process, Programs  # noqa: E402

PATIENCE = 120  # seconds for one measurement
OURS, THEIRS = 5, 7
NATIVE = {"send": "peer_c", "receive": "peer_c", "request": "peer_cpp"}
PARTNER = {"send": ("peer_c", "receive"), "receive": ("peer_c", "send", OURS), "request": ("peer_cpp", "answer")}


# ---- the clients: this script runs itself as one of them ----

def payload(number):
    """What the peers expect: see tests/bindings/workload.h."""
    return number.to_bytes(4, "little") + bytes((number * 7 + i) & 0xFF for i in range(4, 4 + number % 61))


async def be_asyncio(port, task, payloads):
    async with Client(OURS, port=port) as bus:
        await bus.request(OURS)
        print("ready", flush=True)
        if task == "receive":
            await bus.receive()
        begin = time.monotonic()
        for one in payloads:
            if task == "send":
                await bus.send(THEIRS, one, priority=1)
            elif task == "receive":
                await bus.receive()
            else:
                await bus.request(THEIRS, one)
        if task == "send":
            await bus.request(OURS, priority=1)
        print("ok", time.monotonic() - begin, flush=True)


def be_blocking(port, task, payloads):
    with BlockingClient(OURS, port=port) as bus:
        bus.request(OURS)
        print("ready", flush=True)
        if task == "receive":
            bus.receive()
        begin = time.monotonic()
        for one in payloads:
            if task == "send":
                bus.send(THEIRS, one, priority=1)
            elif task == "receive":
                bus.receive()
            else:
                bus.request(THEIRS, one)
        if task == "send":
            bus.request(OURS, priority=1)
        print("ok", time.monotonic() - begin, flush=True)


def be_client(kind, port, task, count):
    payloads = [payload(number) for number in range(count - (task == "receive"))]
    if kind == "asyncio":
        asyncio.run(be_asyncio(port, task, payloads))
    else:
        be_blocking(port, task, payloads)


# ---- the measurement ----

def start_client(programs, kind, port, task, count):
    if kind != "native":
        return Process(sys.executable, __file__, "--client", kind, port, task, count)
    words = {"send": ("send", THEIRS), "receive": ("receive",), "request": ("ask", THEIRS)}[task]
    return programs.start(f"tests/bindings/{NATIVE[task]}", OURS, port, *words, count)


def wait_for(process, begin):
    """The next line that begins so, without its beginning."""
    while (line := process.out.next_line(PATIENCE)) is not None:
        if line.startswith(begin):
            return line[len(begin):]
    sys.exit(f"python_client.py: '{' '.join(process.command)}' has failed: {process.err.text()}")


def measure(build, kind, task, count):
    """Operations a second of one kind of client, at a server of its own."""
    with Programs(build) as programs:
        _, port = programs.start_server("--quiet")
        program, *words = PARTNER[task]

        def start_partner():
            return programs.start(f"tests/bindings/{program}", THEIRS, port, *words, count)

        if task != "receive":
            wait_for(start_partner(), "ready")
        client = start_client(programs, kind, port, task, count)
        try:
            if task == "receive":
                wait_for(client, "ready")
                start_partner()
            return count / float(wait_for(client, "ok "))
        finally:
            client.kill()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=Path, default=ROOT / "build" / "release", help="build folder with jayd and the peers")
    parser.add_argument("--count", type=int, default=200_000, help="messages (default 200000); a tenth as many requests")
    parser.add_argument("--rounds", type=int, default=5, help="(default 5)")
    parser.add_argument("--client", nargs=4, help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.client:
        kind, port, task, count = options.client
        be_client(kind, int(port), task, int(count))
        return
    print(f"{'':8} {'C or C++':>12} {'Client':>12} {'ratio':>6} {'BlockingClient':>15} {'ratio':>6}")
    for task in NATIVE:
        count = options.count // 10 if task == "request" else options.count
        rates = {"native": [], "asyncio": [], "blocking": []}
        for _ in range(options.rounds):
            for kind, measured in rates.items():
                measured.append(measure(options.build, kind, task, count))
        native, ours, blocking = (statistics.median(measured) for measured in rates.values())
        print(f"{task:8} {native:10.0f}/s {ours:10.0f}/s {ours / native:6.2f} {blocking:13.0f}/s {blocking / native:6.2f}")


if __name__ == "__main__":
    main()
