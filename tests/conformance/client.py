#!/usr/bin/env python3
"""The client of the conformance tests in Python: reads what to send from standard input, and writes what comes to standard
output. The lines are those of examples/demo/client.cpp; besides, it writes

    connected    a connection has come about (with --reconnect only)
    not sent     a message could not be sent

Usage: client.py asyncio|blocking ID PORT [--reconnect]. With --reconnect it does not end when the connection is lost.
"""
from __future__ import annotations

import asyncio
import sys
import threading
from pathlib import Path
from typing import Any

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "bindings" / "python"))

from jaybus import BlockingClient, Client, ConnectionLost, Flag, Message, NotSent, Reconnect  # noqa: E402  (the path comes first)


def say(*words: object) -> None:
    print(*words, flush=True)


def show(message: Message) -> None:
    say("got", message.source, message.destination, int(message.flag), message.priority, message.section, message.stamp,
        16 + len(message.payload), message.payload.hex() or "-")


def parse(line: str) -> tuple[int, bytes, dict[str, Any]]:
    """The arguments of send()."""
    _, destination, flag, priority, section, stamp, payload = line.split()
    return int(destination), bytes.fromhex(payload.strip("-")), {
        "flag": int(flag), "priority": int(priority), "section": int(section),
        "stamp": int(stamp) if int(flag) & Flag.TIMED else None}


def options(reconnect: bool) -> dict[str, Any]:
    if not reconnect:
        return {}
    return {"reconnect": Reconnect(first=0.01, longest=0.1), "on_connected": lambda: say("connected"),
            "on_lost": lambda _: say("lost")}


def run_blocking(number: int, port: int, reconnect: bool) -> None:
    with BlockingClient(number, port=port, **options(reconnect)) as bus:
        threading.Thread(target=show_all, args=(bus,), daemon=True).start()
        for line in sys.stdin:
            destination, payload, header = parse(line)
            try:
                bus.send(destination, payload, **header)
            except NotSent:
                say("not sent")


def show_all(bus: BlockingClient) -> None:
    try:
        for message in bus:
            show(message)
    except ConnectionLost:
        say("lost")


async def run_asyncio(number: int, port: int, reconnect: bool) -> None:
    async with Client(number, port=port, **options(reconnect)) as bus:
        showing = asyncio.ensure_future(show_all_asyncio(bus))
        while line := await asyncio.get_running_loop().run_in_executor(None, sys.stdin.readline):
            destination, payload, header = parse(line)
            try:
                await bus.send(destination, payload, **header)
            except NotSent:
                say("not sent")
    await showing


async def show_all_asyncio(bus: Client) -> None:
    try:
        async for message in bus:
            show(message)
    except ConnectionLost:
        say("lost")


def main() -> None:
    kind, number, port, *rest = sys.argv[1:]
    if kind == "asyncio":
        asyncio.run(run_asyncio(int(number), int(port), bool(rest)))
    else:
        run_blocking(int(number), int(port), bool(rest))


if __name__ == "__main__":
    main()
